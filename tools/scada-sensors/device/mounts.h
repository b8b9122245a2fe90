#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// The directory in the root of a file system where a repair of it puts what it finds. It is root's.
inline constexpr const char* LOST_AND_FOUND = "lost+found";

/// Whether a directory is the root of a mount, by this path or by another one. What stands beside its path does not
/// stand beside the others, and nothing can take its place by a rename.
bool isMountRoot(const std::string& directory);

/// Returns where something is mounted below a directory, or nothing.
std::string mountBelow(const std::string& directory);

} // namespace Kelvra::SCADA::Tool
