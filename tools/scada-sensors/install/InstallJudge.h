#pragma once

#include "install/InstalledFiles.h"
#include "install/Preflight.h"

#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an installation made of each definition of its source.
struct InstallResult {
    std::vector<std::string> installed;
    std::vector<std::string> unchanged;    ///< installed before, to the byte
    std::vector<std::string> incomplete;   ///< changed, but not to what was to be installed
    std::vector<std::string> notInstalled; ///< as before
    bool changed = false;                  ///< whether any file differs from before

    bool isComplete() const { return incomplete.empty() && notInstalled.empty(); }
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
