#include "answer/FieldList.h"
#include "answer/json.h"
#include "check/definition_rules.h"
#include "check/list_rules.h"
#include "commands/AskedSensor.h"
#include "commands/Command.h"
#include "commands/definition_fields.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

// Shows the description of one property, or the names of all properties.
ExitCode answerProperty(const AskedSensor& asked, const Definition& definition, FieldList* fields,
                        const Answer& answer) {
    const Json::Value& properties = definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    if (asked.rest.empty()) {
        fields->add("properties", toArray(properties.getMemberNames()));
        return answer.done(fields->result(), fields->text());
    }
    const Json::Value& description = properties[asked.rest.front()];
    if (!description.isObject())
        return answer.failed(ExitCode::NOT_FOUND,
                             filled(LibraryText::PROPERTY_NOT_FOUND, {definition.name, asked.rest.front()}),
                             fields->result(), fields->text());
    fields->add("property", asked.rest.front());
    fields->addDocument("description", description);
    return answer.done(fields->result(), fields->text());
}

std::string withGiven(const std::string& used, const std::string& given) {
    return given.empty() || given == used ? used : used + " (given as [" + given + "])";
}

ExitCode answerSensor(Device& device, const ListElement& element, const AskedSensor& asked, const Answer& answer) {
    FieldList fields;
    fields.add("source", element.entry.src, withGiven(element.entry.src, asked.givenSrc));
    fields.add("identifier", element.entry.id, withGiven(element.entry.id, asked.givenId));
    addElement(device.list(), element, &fields);
    fields.add("sensor", element.sensorKey());
    const std::string name = element.definitionName();
    fields.add("definition", name);
    Storages& storages = device.storages();
    noteUnreadableStorages(storages, answer);
    if (!storages.lists(name))
        return failedFor({missingDefinition(device.list(), element)}, ExitCode::FAILED, answer, fields.result(),
                         fields.text());
    const Definition definition = storages.directoryFor(name).load(name);
    addDefinition(storages, definition, &fields);
    if (!definition.verdict.valid)
        return failedFor(checkDefinition(definition), ExitCode::FAILED, answer, fields.result(), fields.text());
    return answerProperty(asked, definition, &fields, answer);
}

ExitCode resolve(const std::vector<std::string>& words, const Answer& answer) {
    Device device;
    return withSensor(device.list(), words, answer, [&](const ListElement& element, const AskedSensor& asked) {
        return answerSensor(device, element, asked, answer);
    });
}

bool isOperand(const CLI::Option* option) {
    return option->get_positional();
}

} // namespace

Run declareResolve(CLI::App& app) {
    app.add_option("SRC", "Source of the sensor, as in the list; not needed if the identifier is unique");
    app.add_option("ID", "Identifier of the sensor");
    app.add_option("PROPERTY", "Property to describe");
    return [&app](const Answer& answer) {
        std::vector<std::string> given;
        for (const CLI::Option* operand : app.get_options(isOperand))
            given.insert(given.end(), operand->results().begin(), operand->results().end());
        if (given.empty())
            return answer.badUsage(filled("ID is required; try resolve --help"));
        if (normalisedIdentifier(given.size() == 1 ? given[0] : given[1]).empty())
            return answer.badUsage(filled("ID is blank"));
        return resolve(given, answer);
    };
}

} // namespace Kelvra::SCADA::Tool
