#include <scada/SensorMapEntry.h>

#include "config/format_message.h"

#include <kelvra/Text.h>

namespace Kelvra::SCADA {

namespace {

// The possible faults of one member, in the order of the checks.
enum class Fault { NONE, MISSING, NOT_A_STRING, EMPTY };

Fault readMember(const Json::Value& element, const std::string& member, std::string* out) {
    const Json::Value* value = element.find(member.data(), member.data() + member.size());
    if (value == nullptr)
        return Fault::MISSING;
    if (!value->isString())
        return Fault::NOT_A_STRING;
    *out = Text::trim(value->asString());
    return out->empty() ? Fault::EMPTY : Fault::NONE;
}

bool readId(const Json::Value& element, std::string* id, std::string* error) {
    switch (readMember(element, SensorMapEntry::JSON_ATTR_ID, id)) {
    case Fault::MISSING:
        formatMessage(error, "Identifier of a managed sensor is not provided.");
        return false;
    case Fault::NOT_A_STRING:
        formatMessage(error, "Specified sensor identifier is not a string.");
        return false;
    case Fault::EMPTY:
        formatMessage(error, "Specified sensor identifier is empty.");
        return false;
    case Fault::NONE:
        break;
    }
    *id = Text::toLowerCase(*id);
    return true;
}

bool readSource(const Json::Value& element, const std::string& id, std::string* src, std::string* error) {
    switch (readMember(element, SensorMapEntry::JSON_ATTR_SRC, src)) {
    case Fault::MISSING:
        formatMessage(error, "Source value is not specified for the [%s] sensor.", id.c_str());
        return false;
    case Fault::NOT_A_STRING:
        formatMessage(error, "Specified source value is not a string for the [%s] sensor.", id.c_str());
        return false;
    case Fault::EMPTY:
        formatMessage(error, "Specified source value is empty for the [%s] sensor.", id.c_str());
        return false;
    case Fault::NONE:
        break;
    }
    return true;
}

bool readDefinition(const Json::Value& element, const std::string& id, std::string* sensor, std::string* error) {
    switch (readMember(element, SensorMapEntry::JSON_ATTR_SENSOR, sensor)) {
    case Fault::MISSING:
        formatMessage(error, "Sensor definition is not specified for the [%s] sensor.", id.c_str());
        return false;
    case Fault::NOT_A_STRING:
        formatMessage(error, "Sensor definition value is not a string for the [%s] sensor.", id.c_str());
        return false;
    case Fault::EMPTY:
        formatMessage(error, "Specified sensor definition value is empty for the [%s] sensor.", id.c_str());
        return false;
    case Fault::NONE:
        break;
    }
    return true;
}

// "@" separates source and identifier in a sensor key.
bool isSeparatorFree(const std::string& value) {
    return value.find('@') == std::string::npos;
}

} // namespace

const std::string SensorMapEntry::JSON_ATTR_ID = "id";
const std::string SensorMapEntry::JSON_ATTR_SRC = "src";
const std::string SensorMapEntry::JSON_ATTR_SENSOR = "sensor";
const std::string SensorMapEntry::JSON_ATTR_STATUS = "status";

bool SensorMapEntry::LoadJson(const Json::Value& value, std::string* error) {
    if (!value.isObject()) {
        formatMessage(error, "Corresponding json section is not an object.");
        return false;
    }
    if (!readId(value, &id, error) || !readSource(value, id, &src, error) || !readDefinition(value, id, &sensor, error))
        return false;
    if (!isSeparatorFree(id)) {
        formatMessage(error, "Invalid identifier [%s] specified for a managed sensor sensor.", id.c_str());
        return false;
    }
    if (!isSeparatorFree(src)) {
        formatMessage(error, "Invalid source value [%s] specified for [%s] the managed sensor sensor.", src.c_str(),
                      id.c_str());
        return false;
    }
    if (!isSeparatorFree(sensor)) {
        formatMessage(error, "Invalid sensor definition [%s] specified for the [%s@%s] managed sensor sensor.",
                      sensor.c_str(), src.c_str(), id.c_str());
        return false;
    }
    return true;
}

} // namespace Kelvra::SCADA
