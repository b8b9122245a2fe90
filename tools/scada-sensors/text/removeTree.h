#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Removes a directory and all that is in it, or a file. Links are removed, not followed. What cannot be removed stays;
/// returns the error number of the first such entry, or 0.
int removeTree(const std::string& path);

} // namespace Kelvra::SCADA::Tool
