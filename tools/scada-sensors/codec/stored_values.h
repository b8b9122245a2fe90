#pragma once

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A field of a sensor's hash, or a property without one.
struct StoredValue {
    enum class State {
        GOOD,
        BAD,        ///< it does not fit its property, as `fault` says
        MISSING,    ///< the property has no field
        UNDECLARED, ///< the field has no property
    };

    std::string property;
    State state = State::GOOD;
    std::string text; ///< its text in the database
    Json::Value value;
    std::string fault;
    const Json::Value* declaration; ///< the property; null for a field without one; valid as long as the definition
};

const char* wordOf(StoredValue::State state);

/// Judges the fields of a hash by the properties of the definition, ordered by name.
std::vector<StoredValue> storedValues(const std::map<std::string, std::string>& fields, const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
