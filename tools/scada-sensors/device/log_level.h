#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Shows log messages of this level ("error", "warning", "debug", "trace", or "off" for none) and of more severe ones.
/// Returns false if the support library in use has no switch for it: the levels are then the device's own.
bool setLogLevel(const std::string& level);

} // namespace Kelvra::SCADA::Tool
