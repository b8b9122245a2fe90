#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Removes a definition of the next generation, with its decoder if that is in the storage, and the directories that
/// are empty then. What the library does not remove is removed without it. Returns whether it is gone; `*error` has the
/// library's reason otherwise, or keeps its text. REQUIRES: the custom storage lists the name.
bool removeDefinition(const std::string& name, std::string* error);

} // namespace Kelvra::SCADA::Tool
