#pragma once

#include "codec/stored_values.h"

#include <json/value.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns a value of a sensor with the name and unit of its property, for programs.
Json::Value toJson(const StoredValue& stored, const Json::Value& properties);

/// Returns the same for people: property, value, unit, name, and the fault of the value.
std::vector<std::string> cellsOf(const StoredValue& stored, const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
