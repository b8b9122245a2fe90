#pragma once

#include "device/InstalledFiles.h"
#include "install/Preflight.h"

#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an installation made of each definition of its source.
struct InstallResult {
    std::vector<std::string> installed;
    std::vector<std::string> unchanged;    ///< installed before, to the byte
    std::vector<std::string> notInstalled; ///< not to the byte what was to be installed
};

/// Judges an installation by the files: the library stops at the first failure and reports one text.
class InstallJudge {
public:
    /// Notes what is to be installed and the state before it.
    explicit InstallJudge(const std::vector<PlannedDefinition>& definitions);

    /// Compares with the custom storage as it is now.
    InstallResult compare() const;

private:
    struct Files {
        InstalledFiles before;
        InstalledFiles wanted;
    };

    std::map<std::string, Files> files;
};

} // namespace Kelvra::SCADA::Tool
