#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Makes log messages of this level ("error", "warning", "debug", "trace", or "off" for none) and of more severe ones
/// visible. Returns false when the support library in use has no switch for it: levels are then the device's own.
bool setLogLevel(const std::string& level);

} // namespace Kelvra::SCADA::Tool
