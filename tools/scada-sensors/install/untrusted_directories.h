#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns who else could change or exchange a directory while the tool works in it, or nothing. `option` is its
/// option. A user who may write the directory or one above it could replace it by another one, which would then be
/// emptied.
Findings untrustedDirectory(const std::string& option, const std::string& path);

} // namespace Kelvra::SCADA::Tool
