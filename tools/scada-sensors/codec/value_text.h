#pragma once

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns a number with the fewest digits that tell it from all others; other values as JSON for people.
std::string shownValue(const Json::Value& value);

/// Returns a value as the database stores it: a text unchanged, true and false as 1 and 0.
std::string storedValue(const Json::Value& value);

} // namespace Kelvra::SCADA::Tool
