#include "Command.h"
#include "ManagedList.h"
#include "Output.h"
#include "Storages.h"
#include "text.h"

#include <scada/SensorMap.h>

#include <set>

namespace Kelvra::SCADA::Tool {

namespace {

ExitCode sensors(Output& output) {
    const ManagedList list;
    if (!list.faults().empty())
        return output.failed(list.faults()[0].text);
    SensorMap map;
    map.Load();
    const Storages storages;
    Json::Value result(Json::arrayValue);
    std::vector<std::vector<std::string>> rows = {{"SENSOR", "DEFINITION", "STATE"}};
    std::set<std::string> abandoned;
    for (const ListElement& element : list.elements()) {
        std::string name;
        if (!element.valid || element.repeats ||
            !map.getSensorDefinitionName(element.entry.src, element.entry.id, &name))
            continue;
        const Definition definition = storages.read(name);
        Json::Value& item = result.append(Json::objectValue);
        item["sensor"] = element.sensorKey();
        item["definition"] = name;
        item["state"] = definition.state;
        rows.push_back({element.sensorKey(), name, definition.state});
        if (definition.abandoned)
            abandoned.insert(name);
    }
    if (!abandoned.empty())
        return output.failed(counted(abandoned.size(), "definition") + " could not be read", result, table(rows));
    return output.done(result, table(rows));
}

} // namespace

Run declareSensors(CLI::App& /*app*/) {
    return sensors;
}

} // namespace Kelvra::SCADA::Tool
