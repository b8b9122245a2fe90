#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether a directory of definitions has an entry with a definition's name that is never listed or read because it is
/// not a regular file: a FIFO, a socket, a device or a link. A directory does not count.
bool hasSpecialFile(const std::string& dir, const std::string& name);

/// Removes a definition of the next generation, its decoder if that is in the storage, and the directories that are
/// then empty. The tool itself removes the files that the library does not remove. Returns whether the definition is
/// gone; otherwise `*error` gets the library's reason, or keeps its text. REQUIRES: the custom storage lists the name,
/// or hasSpecialFile().
bool removeDefinition(const std::string& name, std::string* error);

} // namespace Kelvra::SCADA::Tool
