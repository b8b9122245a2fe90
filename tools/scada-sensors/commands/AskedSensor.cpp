#include "commands/AskedSensor.h"

#include "answer/json.h"
#include "check/list_rules.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <algorithm>
#include <iterator>

namespace Kelvra::SCADA::Tool {

namespace {

bool hasSource(const ManagedList& list, const std::string& src) {
    return std::any_of(list.elements().begin(), list.elements().end(),
                       [&src](const ListElement& element) { return element.source() == src; });
}

// Answers for a sensor that only faulty elements have.
ExitCode answerFaulty(const ManagedList& list, const std::vector<const ListElement*>& elements, const Answer& answer) {
    FieldList fields;
    addElement(list, *elements.front(), &fields);
    Findings findings;
    for (const ListElement* element : elements)
        append(checkElement(list, *element), &findings);
    return failedFor(findings, ExitCode::FAILED, answer, fields.result(), fields.text());
}

ExitCode answerUnknown(const ManagedList& list, const AskedSensor& asked, const Answer& answer) {
    noteFaultyElements(list, answer);
    const ExitCode code = answer.failed(ExitCode::NOT_FOUND, unknownSensor(asked));
    answer.note(filled("\"scada-sensors sensors\" shows the managed sensors"));
    return code;
}

ExitCode answerAmbiguous(const std::vector<const ListElement*>& sensors, const AskedSensor& asked,
                         const Answer& answer) {
    std::string keys;
    for (const ListElement* sensor : sensors)
        keys += (keys.empty() ? "" : ", ") + sensor->sensorKey();
    return answer.badUsage(
        filled("The identifier [%s] belongs to several sensors: %s. Give the source too.", {asked.id, keys}));
}

} // namespace

AskedSensor readSensor(const ManagedList& list, const std::vector<std::string>& words, FirstWord unknown) {
    const std::string src = normalisedSource(words[0]);
    const std::string id = normalisedIdentifier(words[0]);
    const bool isIdentifier =
        unknown == FirstWord::IDENTIFIER || (words.size() == 2 && !list.findIdentifier(id).empty());
    const bool alone = words.size() == 1 || (isIdentifier && !hasSource(list, src));
    AskedSensor asked;
    if (!alone)
        asked = {src, normalisedIdentifier(words[1]), words[0], words[1], {}};
    else
        asked = {std::nullopt, id, "", words[0], {}};
    asked.rest.assign(words.begin() + (alone ? 1 : 2), words.end());
    return asked;
}

std::vector<const ListElement*> elementsOf(const ManagedList& list, const AskedSensor& asked) {
    std::vector<const ListElement*> found = list.findIdentifier(asked.id);
    const auto isOther = [&asked](const ListElement* element) {
        return asked.src && !element->source().empty() && element->source() != *asked.src;
    };
    found.erase(std::remove_if(found.begin(), found.end(), isOther), found.end());
    return found;
}

std::string unknownSensor(const AskedSensor& asked) {
    return asked.src ? filled(LibraryText::SENSOR_NOT_MANAGED, {*asked.src, asked.id})
                     : filled("No managed sensor has the identifier [%s].", {asked.id});
}

const ListElement* findSensor(const ManagedList& list, const AskedSensor& asked, const Answer& answer, ExitCode* code) {
    const std::vector<const ListElement*> found = elementsOf(list, asked);
    std::vector<const ListElement*> sensors;
    std::copy_if(found.begin(), found.end(), std::back_inserter(sensors),
                 [](const ListElement* element) { return element->isInForce(); });
    if (sensors.size() == 1)
        return sensors.front();
    if (!sensors.empty())
        *code = answerAmbiguous(sensors, asked, answer);
    else
        *code = found.empty() ? answerUnknown(list, asked, answer) : answerFaulty(list, found, answer);
    return nullptr;
}

ExitCode withSensor(const ManagedList& list, const std::vector<std::string>& words, const Answer& answer,
                    const SensorWork& work) {
    if (!list.isUsable())
        return failedFor(checkListFile(list), ExitCode::FAILED, answer, Json::Value(), "");
    const AskedSensor asked = readSensor(list, words, FirstWord::SOURCE);
    ExitCode code = ExitCode::DONE;
    const ListElement* element = findSensor(list, asked, answer, &code);
    return element == nullptr ? code : work(*element, asked);
}

std::string wordsOf(const ListElement& element) {
    return shellWord(element.entry.src) + " " + shellWord(element.entry.id);
}

void addElement(const ManagedList& list, const ListElement& element, FieldList* fields) {
    const Position position = list.positionOf(element);
    Json::Value item(Json::objectValue);
    item["index"] = element.index;
    item["line"] = position.line;
    item["column"] = position.column;
    item["value"] = list.valueOf(element);
    fields->add("list", list.file());
    fields->add("element", item,
                "[" + std::to_string(element.index) + "] line " + std::to_string(position.line) + ": " +
                    readableJson(item["value"], ""));
}

} // namespace Kelvra::SCADA::Tool
