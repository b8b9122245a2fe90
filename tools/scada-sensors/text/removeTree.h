#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Removes a file, or a directory and all that is in it. Links are removed, not followed; what cannot be removed stays.
void removeTree(const std::string& path);

} // namespace Kelvra::SCADA::Tool
