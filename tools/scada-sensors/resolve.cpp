#include "Command.h"
#include "Facts.h"
#include "ManagedList.h"
#include "Output.h"
#include "Storages.h"

#include <kelvra/Text.h>
#include <scada/SensorMap.h>

#include <CLI/CLI.hpp>

#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

struct Arguments {
    std::string src;
    std::string id;
    std::string property;
    bool wholeDefinition = true;
};

// The map compares byte for byte with what the reading of the list makes of its values; the same is made of these.
std::string used(const std::string& name, const std::string& given, const std::string& normalised, Facts* facts) {
    facts->add(name, normalised, given == normalised ? given : normalised + " (given as [" + given + "])");
    return normalised;
}

void addElement(const ManagedList& list, const ListElement& element, Facts* facts) {
    Json::Value item(Json::objectValue);
    item["index"] = element.index;
    item["line"] = element.position.line;
    item["column"] = element.position.column;
    item["value"] = *element.value;
    facts->add("list", list.file());
    facts->add("element", item,
               "[" + std::to_string(element.index) + "] line " + std::to_string(element.position.line) + ": " +
                   readableJson(*element.value, ""));
    facts->add("sensor", element.sensorKey());
}

// Shows what the library answers about one property, or which properties there are.
ExitCode addProperty(SensorMap& map, const Arguments& asked, const Definition& definition, Facts* facts,
                     Output& output) {
    if (asked.wholeDefinition && definition.valid) {
        Json::Value names(Json::arrayValue);
        for (const std::string& name :
             definition.spec.json[SensorDefinitions::JSON_PROPERTIES_SECTION].getMemberNames())
            names.append(name);
        facts->add("properties", names);
        return output.done(facts->result(), facts->text());
    }
    std::string error;
    const Json::Value& description = map.getMeasurement(asked.src, asked.id, asked.property, &error);
    if (description.isNull())
        return output.failed(error, facts->result(), facts->text());
    facts->add("property", asked.property);
    facts->addDocument("description", description);
    return output.done(facts->result(), facts->text());
}

ExitCode resolve(const Arguments& given, Output& output) {
    Facts facts;
    Arguments asked = given;
    asked.src = used("source", given.src, Text::trim(given.src), &facts);
    asked.id = used("identifier", given.id, Text::toLowerCase(Text::trim(given.id)), &facts);
    const ManagedList list;
    if (!list.faults().empty())
        return output.failed(list.faults()[0].text, facts.result(), facts.text());
    SensorMap map;
    map.Load();
    std::string name;
    const ListElement* element = list.find(asked.src, asked.id);
    if (element == nullptr || !map.getSensorDefinitionName(asked.src, asked.id, &name)) {
        std::string error;
        map.getMeasurement(asked.src, asked.id, asked.property, &error);
        return output.failed(error, facts.result(), facts.text());
    }
    addElement(list, *element, &facts);
    facts.add("definition", name);
    const Storages storages;
    const Definition definition = storages.read(name);
    if (storages.find(name) != nullptr)
        addDefinition(storages, name, definition, &facts);
    if (definition.abandoned)
        return output.failed(definition.state, facts.result(), facts.text());
    return addProperty(map, asked, definition, &facts, output);
}

} // namespace

Run declareResolve(CLI::App& app) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option("SRC", arguments->src, "Source of the sensor, as the list has it")->required();
    app.add_option("ID", arguments->id, "Identifier of the sensor")->required();
    const CLI::Option* property = app.add_option("PROPERTY", arguments->property, "Property to describe");
    return [arguments, property](Output& output) {
        arguments->wholeDefinition = property->count() == 0;
        return resolve(*arguments, output);
    };
}

} // namespace Kelvra::SCADA::Tool
