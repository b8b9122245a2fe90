#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

using Bytes = std::vector<std::uint8_t>;

/// Reads bytes from pairs of hexadecimal digits, with or without blanks between them. Returns nothing if the text is
/// something else.
std::optional<Bytes> bytesFromHex(const std::string& text);

/// Reads bytes from such a text or from a list of numbers. Returns nothing if the value is something else.
std::optional<Bytes> bytesFromJson(const Json::Value& value);

} // namespace Kelvra::SCADA::Tool
