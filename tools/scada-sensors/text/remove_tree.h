#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Removes a directory with its content, or a file. Links are removed, not followed. Entries that cannot be removed
/// stay; returns the error number of the first one, or 0.
int removeTree(const std::string& path);

} // namespace Kelvra::SCADA::Tool
