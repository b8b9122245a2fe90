#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Reads a time such as 2024-05-01T10:00:00.250Z or 2024-05-01T12:00:00+02:00, in milliseconds since 1970. Without a
/// zone it is UTC. Returns nothing if the text is something else.
std::optional<std::int64_t> millisecondsFromTime(const std::string& text);

} // namespace Kelvra::SCADA::Tool
