#include "commands/losses.h"

#include "answer/json.h"
#include "answer/printable.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/SensorDefinitions.h>

#include <cstddef>

namespace Kelvra::SCADA::Tool {

namespace {

// For queries, properties that are not objects do not exist.
std::vector<std::string> missingProperties(const Definition& present, const Definition& remaining) {
    const Json::Value& properties = present.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    const Json::Value& others = remaining.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    std::vector<std::string> missing;
    for (const std::string& property : properties.getMemberNames()) {
        if (properties[property].isObject() && !others[property].isObject())
            missing.push_back(property);
    }
    return missing;
}

// A faulty definition serves no sensor, so its removal takes nothing away.
void addRemoval(const std::string& name, const std::vector<std::string>& sensors, Storages& storages,
                std::vector<Loss>* losses) {
    const Definition present = storages.of(STORAGE_CUSTOM).load(name);
    if (!present.verdict.valid)
        return;
    if (!storages.of(STORAGE_DEFAULT).lists(name)) {
        losses->push_back({name, sensors, {}});
        return;
    }
    const Definition remaining = storages.of(STORAGE_DEFAULT).load(name);
    const std::vector<std::string> missing =
        remaining.verdict.valid ? missingProperties(present, remaining) : std::vector<std::string>();
    if (!remaining.verdict.valid || !missing.empty())
        losses->push_back({name, sensors, missing});
}

} // namespace

std::vector<Loss> lossesOfRemoval(const std::set<std::string>& names, Device& device) {
    std::vector<Loss> losses;
    const auto sensors = device.list().sensorsByDefinition();
    for (const std::string& name : names) {
        const auto users = sensors.find(name);
        if (users != sensors.end() && device.storages().of(STORAGE_CUSTOM).lists(name))
            addRemoval(name, users->second, device.storages(), &losses);
    }
    return losses;
}

std::vector<Loss> lossesOfInstallation(const std::vector<PlannedDefinition>& definitions, const ManagedList& list) {
    std::vector<Loss> losses;
    const auto sensors = list.sensorsByDefinition();
    for (const PlannedDefinition& planned : definitions) {
        Loss loss{planned.name, {}, {}};
        for (const PropertyChange& change : planned.changes) {
            if (change.member.empty())
                loss.properties.push_back(change.property);
        }
        const auto users = sensors.find(planned.name);
        if (loss.properties.empty() || users == sensors.end())
            continue;
        loss.sensors = users->second;
        losses.push_back(std::move(loss));
    }
    return losses;
}

std::string refusalFor(const std::vector<Loss>& losses, const ManagedList& list) {
    if (!list.isUsable())
        return filled("it is not known what is in use, because the managed-sensors list cannot be read: scada-sensors "
                      "check; nothing has been changed");
    std::size_t sensors = 0;
    for (const Loss& loss : losses)
        sensors += loss.sensors.size();
    return sensors == 0 ? ""
                        : filled("%s would lose a definition or a property; nothing has been changed",
                                 {counted(sensors, "sensor")});
}

void declareIfUnused(CLI::App& app, bool* ifUnused) {
    app.add_flag("--if-unused", *ifUnused, "Refuse what takes a definition or a property from a managed sensor");
}

ExitCode refuseLosses(const std::vector<Loss>& losses, const std::string& refusal, const Answer& answer) {
    Json::Value result(Json::objectValue);
    result["losses"] = toJson(losses);
    return answer.failed(ExitCode::REFUSED, refusal, result, toText(losses));
}

std::string toText(const std::vector<Loss>& losses) {
    std::string text;
    for (const Loss& loss : losses) {
        for (const std::string& sensor : loss.sensors) {
            if (loss.properties.empty())
                text += printable(filled("sensor %s loses its definition %s", {sensor, loss.definition})) + "\n";
            for (const std::string& property : loss.properties)
                text +=
                    printable(filled("sensor %s loses the property [%s] of %s", {sensor, property, loss.definition})) +
                    "\n";
        }
    }
    return text;
}

Json::Value toJson(const std::vector<Loss>& losses) {
    Json::Value array(Json::arrayValue);
    for (const Loss& loss : losses) {
        Json::Value& item = array.append(Json::objectValue);
        item["definition"] = loss.definition;
        item["sensors"] = toArray(loss.sensors);
        item["properties"] = loss.properties.empty() ? Json::Value() : toArray(loss.properties);
    }
    return array;
}

} // namespace Kelvra::SCADA::Tool
