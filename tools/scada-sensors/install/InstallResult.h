#pragma once

#include "install/InstalledFiles.h"
#include "install/Preflight.h"

#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an installation made of each definition, judged by the files: the library stops at the first failure and
/// reports one text.
class InstallResult {
public:
    /// Notes what is to be installed and the state before it.
    explicit InstallResult(const std::vector<PlannedDefinition>& definitions);

    /// Compares with the custom storage as it is now.
    void refresh();

    const std::vector<std::string>& installed() const { return complete; }
    const std::vector<std::string>& unchanged() const { return sameAsBefore; } ///< installed before, to the byte
    const std::vector<std::string>& incomplete() const { return partial; }
    const std::vector<std::string>& notInstalled() const { return missing; }
    bool isComplete() const { return partial.empty() && missing.empty(); }
    /// Whether any file is another one than before.
    bool isChanged() const { return changed; }

private:
    struct Files {
        InstalledFiles before;
        InstalledFiles wanted;
    };

    std::map<std::string, Files> files;
    std::vector<std::string> complete;
    std::vector<std::string> sameAsBefore;
    std::vector<std::string> partial;
    std::vector<std::string> missing;
    bool changed = false;
};

} // namespace Kelvra::SCADA::Tool
