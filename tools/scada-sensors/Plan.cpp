#include "Plan.h"

#include "InstalledFiles.h"
#include "Output.h"
#include "inspect.h"
#include "obstacles.h"
#include "text.h"

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::size_t LONGEST_NAME = 255;

std::string stemOf(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

// An import cuts a name at a "\" too, and gives the decoder a longer name than the definition's own.
std::string badName(const std::string& name) {
    if (stemOf(name).find('\\') != std::string::npos)
        return "File copying error while importing [" + name + "] definition.";
    if (stemOf(name).size() + std::string("-decoder").size() > LONGEST_NAME)
        return "File copying error while importing decoder for the [" + name + "] definition.";
    return "";
}

void addRefusals(const std::string& srcDir, bool allowOverwrite, const Storages& storages, PlannedDefinition* planned) {
    const std::string& name = planned->name;
    for (const Fault& fault : inspectSourceDefinition(srcDir, name))
        (fault.refuses ? planned->refusals : planned->notes).push_back(fault);
    const std::string bad = badName(name);
    if (!bad.empty())
        planned->refusals.push_back({definitionFile(srcDir, name), bad});
    for (const Fault& fault : obstacles(name))
        planned->refusals.push_back(fault);
    const Storage& custom = storages.of(STORAGE_CUSTOM);
    if (custom.names.count(name) == 0)
        return;
    const Definition installed = readDefinition(custom.dir, name);
    if (!installed.valid)
        planned->notes.push_back({installed.file, installed.state});
    else if (!allowOverwrite)
        planned->refusals.push_back({installed.file, "Sensor definition [" + name +
                                                         "] is already installed. Please remove the custom sensor "
                                                         "definition, or enable \"Allow Overwrite\" to replace it."});
}

std::string effectOf(const std::string& srcDir, const std::string& name, const Storages& storages) {
    const Storage* current = storages.find(name);
    if (current == nullptr)
        return "new";
    if (current->type != STORAGE_CUSTOM)
        return "hides";
    const InstalledFiles files = filesToInstall(srcDir, name);
    return files.document && files == installedFiles(name) ? "identical" : "replaces";
}

Json::Value propertyChange(const std::string& property, const char* change) {
    Json::Value item(Json::objectValue);
    item["property"] = property;
    item["change"] = change;
    return item;
}

// Properties that are no objects do not exist for the queries.
std::vector<Json::Value> changedProperties(const Json::Value& former, const Json::Value& planned) {
    std::vector<Json::Value> changes;
    for (const std::string& property : former.isObject() ? former.getMemberNames() : Json::Value::Members()) {
        if (!former[property].isObject())
            continue;
        if (!planned.isMember(property) || !planned[property].isObject()) {
            changes.push_back(propertyChange(property, "disappears"));
            continue;
        }
        for (const char* member : {"type", "unit"}) {
            if (former[property][member] == planned[property][member])
                continue;
            changes.push_back(propertyChange(property, member));
            changes.back()["from"] = former[property][member];
            changes.back()["to"] = planned[property][member];
        }
    }
    return changes;
}

std::string textOf(const Json::Value& change) {
    const std::string property = "  property [" + printable(change["property"].asString()) + "] ";
    if (change["change"] == "disappears")
        return property + "disappears\n";
    return property + "changes its " + change["change"].asString() + " from " + readableJson(change["from"], "") +
           " to " + readableJson(change["to"], "") + "\n";
}

std::string words(const PlannedDefinition& planned) {
    std::string effect = planned.effect;
    if (effect == "replaces")
        effect = "replaces the custom definition";
    else if (effect == "hides")
        effect = "hides the default definition";
    else if (effect == "identical")
        effect = "identical to the custom definition";
    return planned.refusals.empty() ? effect : "refused (" + effect + ")";
}

} // namespace

PlannedDefinition planDefinition(const std::string& srcDir, const std::string& name, bool allowOverwrite,
                                 const Storages& storages, const ManagedList& list) {
    PlannedDefinition planned;
    planned.name = name;
    planned.effect = effectOf(srcDir, name, storages);
    planned.hides = storages.of(STORAGE_DEFAULT).names.count(name) != 0;
    addRefusals(srcDir, allowOverwrite, storages, &planned);
    for (const ListElement& element : list.elements()) {
        if (element.valid && !element.repeats && element.definitionName() == name)
            planned.sensors.push_back(element.sensorKey());
    }
    const Definition former = storages.read(name);
    const Definition next = readDefinition(srcDir, name);
    if (former.valid && next.valid)
        planned.properties = changedProperties(former.spec.json[SensorDefinitions::JSON_PROPERTIES_SECTION],
                                               next.spec.json[SensorDefinitions::JSON_PROPERTIES_SECTION]);
    return planned;
}

Json::Value toJson(const PlannedDefinition& planned) {
    Json::Value item(Json::objectValue);
    item["name"] = planned.name;
    item["state"] = planned.refusals.empty() ? planned.effect : "refused";
    item["effect"] = planned.effect;
    item["hides"] = orNull(planned.hides ? wordOf(STORAGE_DEFAULT) : "");
    item["refusals"] = toJson(planned.refusals);
    item["notes"] = toJson(planned.notes);
    item["sensors"] = Json::arrayValue;
    for (const std::string& sensor : planned.sensors)
        item["sensors"].append(sensor);
    item["properties"] = Json::arrayValue;
    for (const Json::Value& change : planned.properties)
        item["properties"].append(change);
    return item;
}

std::string toText(const PlannedDefinition& planned) {
    std::string text = printable(planned.name) + ": " + words(planned) + "\n";
    for (const Fault& fault : planned.refusals)
        text += "  " + toText(fault) + "\n";
    for (const Fault& fault : planned.notes)
        text += "  note: " + toText(fault) + "\n";
    for (const std::string& sensor : planned.sensors)
        text += "  sensor " + printable(sensor) + "\n";
    for (const Json::Value& change : planned.properties)
        text += textOf(change);
    return text;
}

} // namespace Kelvra::SCADA::Tool
