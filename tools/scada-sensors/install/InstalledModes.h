#pragma once

#include "install/Preflight.h"

#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The modes of installed files and directories. Otherwise they would come from the uploaded files and the installer's
/// umask, and would decide who can read a definition or put another one in its place.
class InstalledModes {
public:
    /// Notes which directories of the custom storage the installation must make.
    explicit InstalledModes(const std::vector<PlannedDefinition>& definitions);

    /// Gives the files mode 0644, and the new directories the group and mode of the directory above, without write
    /// permission for all others. Returns why the first one could not be corrected, or nothing.
    std::string apply() const;

private:
    std::set<std::string> files;
    std::set<std::string> missingDirectories; ///< sorted, so that each one comes after the one above it
};

/// Gives a new directory the group and the mode of another one, without write permission for all others. Returns why
/// that failed, or nothing.
std::string inheritMode(const std::string& directory, const std::string& above);

} // namespace Kelvra::SCADA::Tool
