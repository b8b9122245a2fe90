#include "commands/sensor_values.h"

#include "answer/json.h"
#include "commands/definition_fields.h"

namespace Kelvra::SCADA::Tool {

Json::Value toJson(const StoredValue& stored, const Json::Value& properties) {
    Json::Value item(Json::objectValue);
    item["property"] = stored.property;
    item["value"] = stored.value;
    item["unit"] = orNull(memberOf(properties, stored.property, "unit"));
    item["name"] = orNull(memberOf(properties, stored.property, "name"));
    item["state"] = wordOf(stored.state);
    item["fault"] = orNull(stored.fault);
    return item;
}

std::vector<std::string> cellsOf(const StoredValue& stored, const Json::Value& properties) {
    return {stored.property, orDash(stored.text), orDash(memberOf(properties, stored.property, "unit")),
            orDash(memberOf(properties, stored.property, "name")),
            stored.fault.empty() ? wordOf(stored.state) : stored.fault};
}

} // namespace Kelvra::SCADA::Tool
