#include "answer/FieldList.h"
#include "answer/json.h"
#include "check/definitionRules.h"
#include "check/listRules.h"
#include "commands/Command.h"
#include "commands/definitionFields.h"
#include "commands/findingText.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "text/filled.h"
#include "text/libraryTexts.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

/// What is asked for, as the list has it; the source may be left out.
struct Asked {
    std::optional<std::string> src;
    std::string id;
    std::optional<std::string> property;
    std::string givenSrc; ///< as typed
    std::string givenId;
};

bool hasSource(const ManagedList& list, const std::string& src) {
    return std::any_of(list.elements().begin(), list.elements().end(),
                       [&src](const ListElement& element) { return element.source() == src; });
}

// Two words are a source and an identifier, unless there is no such source and the first is an identifier.
Asked readWords(const ManagedList& list, const std::vector<std::string>& words) {
    const std::string src = normalisedSource(words[0]);
    const std::string id = normalisedIdentifier(words[0]);
    if (words.size() == 1)
        return {std::nullopt, id, std::nullopt, "", words[0]};
    if (words.size() == 2 && !hasSource(list, src) && !list.findIdentifier(id).empty())
        return {std::nullopt, id, words[1], "", words[0]};
    Asked asked{src, normalisedIdentifier(words[1]), std::nullopt, words[0], words[1]};
    if (words.size() > 2)
        asked.property = words[2];
    return asked;
}

std::vector<const ListElement*> candidates(const ManagedList& list, const Asked& asked) {
    std::vector<const ListElement*> found = list.findIdentifier(asked.id);
    const auto isOther = [&asked](const ListElement* element) {
        return asked.src && !element->source().empty() && element->source() != *asked.src;
    };
    found.erase(std::remove_if(found.begin(), found.end(), isOther), found.end());
    return found;
}

void addElement(const ManagedList& list, const ListElement& element, FieldList* fields) {
    const Position position = list.positionOf(element);
    Json::Value item(Json::objectValue);
    item["index"] = element.index;
    item["line"] = position.line;
    item["column"] = position.column;
    item["value"] = *element.value;
    fields->add("list", list.file());
    fields->add("element", item,
                "[" + std::to_string(element.index) + "] line " + std::to_string(position.line) + ": " +
                    readableJson(*element.value, ""));
}

// Shows the description of one property, or which properties there are.
ExitCode answerProperty(const Asked& asked, const Definition& definition, FieldList* fields, const Answer& answer) {
    const Json::Value& properties = definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    if (!asked.property) {
        fields->add("properties", toArray(properties.getMemberNames()));
        return answer.done(fields->result(), fields->text());
    }
    const Json::Value& description = properties[*asked.property];
    if (!description.isObject())
        return answer.failed(ExitCode::NOT_FOUND,
                             filled(LibraryText::PROPERTY_NOT_FOUND, {definition.name, *asked.property}),
                             fields->result(), fields->text());
    fields->add("property", *asked.property);
    fields->addDocument("description", description);
    return answer.done(fields->result(), fields->text());
}

std::string withGiven(const std::string& used, const std::string& given) {
    return given.empty() || given == used ? used : used + " (given as [" + given + "])";
}

ExitCode answerSensor(Device& device, const ListElement& element, const Asked& asked, const Answer& answer) {
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

// A sensor that only faulty elements have.
ExitCode answerFaulty(const ManagedList& list, const std::vector<const ListElement*>& elements, const Answer& answer) {
    FieldList fields;
    addElement(list, *elements.front(), &fields);
    Findings findings;
    for (const ListElement* element : elements)
        append(checkElement(list, *element), &findings);
    return failedFor(findings, ExitCode::FAILED, answer, fields.result(), fields.text());
}

ExitCode answerUnknown(const ManagedList& list, const Asked& asked, const Answer& answer) {
    noteFaultyElements(list, answer);
    return answer.failed(ExitCode::NOT_FOUND, asked.src
                                                  ? filled(LibraryText::SENSOR_NOT_MANAGED, {*asked.src, asked.id})
                                                  : filled("No managed sensor has the identifier [%s].", {asked.id}));
}

ExitCode answerAmbiguous(const std::vector<const ListElement*>& sensors, const Asked& asked, const Answer& answer) {
    std::string keys;
    for (const ListElement* sensor : sensors)
        keys += (keys.empty() ? "" : ", ") + sensor->sensorKey();
    return answer.badUsage(
        filled("The identifier [%s] belongs to several sensors: %s. Give the source too.", {asked.id, keys}));
}

ExitCode resolve(const std::vector<std::string>& words, const Answer& answer) {
    Device device;
    const ManagedList& list = device.list();
    if (!list.isUsable())
        return failedFor(checkListFile(list), ExitCode::FAILED, answer, Json::Value(), "");
    const Asked asked = readWords(list, words);
    const std::vector<const ListElement*> found = candidates(list, asked);
    std::vector<const ListElement*> sensors;
    std::copy_if(found.begin(), found.end(), std::back_inserter(sensors),
                 [](const ListElement* element) { return element->isInForce(); });
    if (sensors.size() > 1)
        return answerAmbiguous(sensors, asked, answer);
    if (sensors.size() == 1)
        return answerSensor(device, *sensors.front(), asked, answer);
    return found.empty() ? answerUnknown(list, asked, answer) : answerFaulty(list, found, answer);
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
