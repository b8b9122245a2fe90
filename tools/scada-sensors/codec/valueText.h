#pragma once

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns a number with as few digits as tell it from all others; other values as JSON for people.
std::string shownValue(const Json::Value& value);

/// Returns a value as the database holds it: a text as it is, true and false as 1 and 0.
std::string storedValue(const Json::Value& value);

} // namespace Kelvra::SCADA::Tool
