#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns a value as JSON text for programs, in ASCII and without comments, which other readers refuse. A byte that is
/// not UTF-8 becomes the text \xNN, and a backslash before such a text becomes \x5c, so that different strings stay
/// different. With an empty indentation the text is one line.
std::string jsonText(const Json::Value& value, const std::string& indentation = "  ");

/// Returns a value as JSON text for people: printable, with its letters unchanged. With an empty indentation the text
/// is one line.
std::string readableJson(const Json::Value& value, const std::string& indentation);

/// Returns the same in one line, with the fewest digits that tell each number from others.
std::string shortJson(const Json::Value& value);

/// Returns a string, or null for the empty one.
Json::Value orNull(const std::string& text);

Json::Value toArray(const std::vector<std::string>& texts);

} // namespace Kelvra::SCADA::Tool
