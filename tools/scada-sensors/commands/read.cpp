#include "answer/Table.h"
#include "check/definition_rules.h"
#include "check/list_rules.h"
#include "codec/stored_values.h"
#include "commands/AskedSensor.h"
#include "commands/Command.h"
#include "commands/ValueWatch.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "commands/options.h"
#include "commands/sensor_values.h"
#include "commands/watching.h"
#include "database/sensor_state.h"
#include "device/Device.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

struct ReadRequest {
    std::vector<std::string> words;
    std::string options; ///< the given ones of every command
    bool all = false;
    bool watch = false;
    WatchTime time;
};

constexpr std::int64_t MILLISECONDS = 1000;

Json::Value secondsLeft(const SensorState& state) {
    if (!state.millisecondsLeft)
        return {};
    return static_cast<Json::Int64>((*state.millisecondsLeft + MILLISECONDS - 1) / MILLISECONDS);
}

Json::Value ageInSeconds(const SensorState& state) {
    const std::optional<std::int64_t> age = secondsSinceWrite(state);
    return age ? Json::Value(static_cast<Json::Int64>(*age)) : Json::Value();
}

std::string digits(const Json::Value& seconds) {
    return seconds.isNull() ? "" : seconds.asString();
}

// --- one sensor

std::string lifeText(const SensorState& state) {
    if (!state.millisecondsLeft)
        return filled("the values do not expire") + "\n";
    return filled("the values expire in %s s", {digits(secondsLeft(state))}) + "\n";
}

ExitCode answerState(const std::string& key, const Definition& definition, const std::string& property,
                     const SensorState& state, const Answer& answer) {
    const Json::Value& properties = definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    Json::Value result(Json::objectValue);
    result["sensor"] = key;
    result["definition"] = definition.name;
    result["seconds_left"] = secondsLeft(state);
    result["age_seconds"] = ageInSeconds(state);
    result["values"] = Json::arrayValue;
    AlignedColumns rows;
    rows.addHeading({"PROPERTY", "VALUE", "UNIT", "NAME", "STATE"});
    for (const StoredValue& stored : storedValues(state.fields, properties)) {
        if (!property.empty() && stored.property != property)
            continue;
        result["values"].append(toJson(stored, properties));
        rows.add(cellsOf(stored, properties));
    }
    if (result["values"].empty() && !property.empty())
        return answer.failed(ExitCode::NOT_FOUND, filled(LibraryText::PROPERTY_NOT_FOUND, {definition.name, property}),
                             result);
    if (state.kind == SensorState::Kind::OTHER)
        return answer.failed(ExitCode::FAILED, filled("Key [%s] is not readable as a hash.", {key}), result);
    if (state.kind == SensorState::Kind::MISSING)
        return answer.failed(ExitCode::NOT_FOUND,
                             filled("The database has no key [%s]: nothing was written, or it has expired.", {key}),
                             result, rows.text(standardOutput()));
    return answer.done(result, rows.text(standardOutput()) + lifeText(state));
}

ExitCode watchSensor(const WatchedSensor& sensor, const WatchTime& time, const Answer& answer) {
    if (const std::string fault = time.openServer(); !fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault);
    ValueWatch watch(sensor, time.waitSeconds(), answer);
    watchChanges(time.limits(), watch.listener());
}

ExitCode readElement(Device& device, const ListElement& element, const AskedSensor& asked, const ReadRequest& request,
                     const Answer& answer) {
    const ManagedList& list = device.list();
    const std::string name = element.definitionName();
    Storages& storages = device.storages();
    noteUnreadableStorages(storages, answer);
    if (!storages.lists(name))
        return failedFor({missingDefinition(list, element)}, ExitCode::FAILED, answer, Json::Value(Json::objectValue),
                         "");
    const Definition definition = storages.directoryFor(name).load(name);
    if (!definition.verdict.valid)
        return failedFor(checkDefinition(definition), ExitCode::FAILED, answer, Json::Value(Json::objectValue), "");
    const std::string property = asked.rest.empty() ? "" : asked.rest.front();
    if (request.watch)
        return watchSensor(
            {element.sensorKey(), name, definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION], property},
            request.time, answer);
    const Inquiry server{TimeLimit(request.time.waitSeconds())};
    std::vector<SensorState> states;
    ServerFault fault = server.open();
    if (fault.empty())
        fault = readSensors(server, {element.sensorKey()}, &states);
    if (!fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault.text);
    const ExitCode code = answerState(element.sensorKey(), definition, property, states.front(), answer);
    if (states.front().kind == SensorState::Kind::MISSING)
        answer.note(filled("to find out why: scada-sensors doctor %s", {wordsOf(element) + request.options}));
    return code;
}

// --- all sensors

std::string stateText(SensorState::Kind kind) {
    if (kind == SensorState::Kind::HASH)
        return "values";
    return kind == SensorState::Kind::MISSING ? "no values" : "no hash";
}

ServerFault readTable(const ManagedList& list, const TimeLimit& limit, Table* table) {
    std::vector<std::string> definitions;
    std::vector<std::string> keys;
    for (const ListElement& element : list.elements()) {
        if (!element.isInForce())
            continue;
        definitions.push_back(element.definitionName());
        keys.push_back(element.sensorKey());
    }
    const Inquiry server(limit);
    if (ServerFault fault = server.open(); !fault.empty())
        return fault;
    std::size_t at = 0;
    return readSensors(server, keys, Fields::NUMBER, [&](const SensorState& state) {
        table->add({keys[at], definitions[at], std::to_string(state.fieldCount), digits(ageInSeconds(state)),
                    digits(secondsLeft(state)), stateText(state.kind)});
        ++at;
    });
}

ExitCode readAll(const ReadRequest& request, const Answer& answer) {
    Device device;
    const ManagedList& list = device.list();
    if (!list.isUsable())
        return failedFor(checkListFile(list), ExitCode::FAILED, answer, Json::Value(), "");
    Table table(answer.isJson(), {{"sensor", "SENSOR"},
                                  {"definition", "DEFINITION"},
                                  {"fields", "FIELDS", ""},
                                  {"age_seconds", "AGE", " s"},
                                  {"seconds_left", "EXPIRES IN", " s"},
                                  {"state", "STATE"}});
    const ServerFault fault = readTable(list, TimeLimit(request.time.waitSeconds()), &table);
    if (!fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault.text);
    noteFaultyElements(list, answer);
    return answer.done(table.result(), table.text());
}

} // namespace

Run declareRead(CLI::App& app) {
    const auto request = std::make_shared<ReadRequest>();
    app.add_option("WORDS", request->words, "Sensor, as for resolve, and perhaps one of its properties")
        ->type_name("[[SRC] ID [PROPERTY]]");
    CLI::Option* all = app.add_flag("--all", request->all, "One line for each managed sensor");
    CLI::Option* watch = app.add_flag("--watch", request->watch, "Then print each change of the values")->excludes(all);
    request->time.declare(app)->needs(watch);
    return [request, &app](const Answer& answer) {
        request->time.begin();
        request->options = givenOptions(*app.get_parent());
        if (request->all == !request->words.empty())
            return answer.badUsage(filled("read needs either a sensor or --all"));
        if (request->all)
            return readAll(*request, answer);
        Device device;
        return withSensor(device.list(), request->words, answer,
                          [&](const ListElement& element, const AskedSensor& asked) {
                              if (asked.rest.size() > 1)
                                  return answer.badUsage(filled("too many words; try %s --help", {"read"}));
                              return readElement(device, element, asked, *request, answer);
                          });
    };
}

} // namespace Kelvra::SCADA::Tool
