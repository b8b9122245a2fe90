#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether a directory of definitions has something of a definition's name that nobody lists or reads, because it is no
/// regular file: a FIFO, a socket, a device or a link. A directory does not count.
bool hasSpecialFile(const std::string& dir, const std::string& name);

/// Removes a definition of the next generation, with its decoder if that is in the storage, and the directories that
/// are empty then. What the library does not remove is removed without it. Returns whether it is gone; `*error` has the
/// library's reason otherwise, or keeps its text. REQUIRES: the custom storage lists the name, or hasSpecialFile().
bool removeDefinition(const std::string& name, std::string* error);

} // namespace Kelvra::SCADA::Tool
