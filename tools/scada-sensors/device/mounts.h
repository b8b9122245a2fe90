#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// The directory in the root of a file system where a repair puts the files that it finds. It belongs to root.
inline constexpr const char* LOST_AND_FOUND = "lost+found";

/// Whether a directory is the root of a mount, by this path or another one. An entry beside this path is not beside the
/// other paths, and a rename cannot replace the directory.
bool isMountRoot(const std::string& directory);

/// Returns a place below a directory where something is mounted, or nothing.
std::string mountBelow(const std::string& directory);

} // namespace Kelvra::SCADA::Tool
