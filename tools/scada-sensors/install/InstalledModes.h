#pragma once

#include "install/Preflight.h"

#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The modes of what an installation writes. Left alone they would be those of the uploaded files and of the
/// installer's umask, and decide who can read a definition or put another one in its place.
class InstalledModes {
public:
    /// Notes which directories of the custom storage the installation will have to make.
    explicit InstalledModes(const std::vector<PlannedDefinition>& definitions);

    /// Makes the files 0644; gives the directories that were made the group and the mode of the directory above,
    /// without the right of all others to write. Returns why the first one could not be corrected, or nothing.
    std::string apply() const;

private:
    std::set<std::string> files;
    std::set<std::string> missingDirectories; ///< sorted, so that each comes after the one above it
};

/// Gives a directory that was made the group and the mode of another one, without the right of all others to write.
/// Returns why that could not be done, or nothing.
std::string inheritMode(const std::string& directory, const std::string& above);

} // namespace Kelvra::SCADA::Tool
