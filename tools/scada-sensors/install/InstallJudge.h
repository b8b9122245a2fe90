#pragma once

#include "device/InstalledFiles.h"
#include "install/Preflight.h"

#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The result of an installation for each definition of its source.
struct InstallResult {
    std::vector<std::string> installed;
    std::vector<std::string> unchanged;    ///< already installed, byte for byte
    std::vector<std::string> notInstalled; ///< not installed byte for byte
};

/// Judges an installation by its files: the library stops at the first failure and reports one text.
class InstallJudge {
public:
    /// Notes the files to install and the state before it.
    explicit InstallJudge(const std::vector<PlannedDefinition>& definitions);

    /// Compares them with the present custom storage.
    InstallResult compare() const;

private:
    struct Files {
        InstalledFiles before;
        InstalledFiles wanted;
    };

    std::map<std::string, Files> files;
};

} // namespace Kelvra::SCADA::Tool
