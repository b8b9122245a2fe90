#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the time in UTC, as in 2030-01-31T12:00:00Z.
std::string currentTime();

} // namespace Kelvra::SCADA::Tool
