#include "answer/Screen.h"
#include "answer/json.h"
#include "answer/printable.h"
#include "check/definition_rules.h"
#include "check/list_rules.h"
#include "check/schema_rules.h"
#include "check/stale_overrides.h"
#include "check/storage_rules.h"
#include "codec/Examples.h"
#include "codec/Runner.h"
#include "codec/codec_rules.h"
#include "codec/stored_values.h"
#include "commands/AskedSensor.h"
#include "commands/Command.h"
#include "commands/finding_text.h"
#include "commands/options.h"
#include "commands/whole_number.h"
#include "database/sensor_state.h"
#include "database/server_setting.h"
#include "database/watch_changes.h"
#include "device/CodecSettings.h"
#include "device/Device.h"
#include "device/GenerationPaths.h"
#include "device/user_name.h"
#include "install/OperationLock.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

enum class Health { OK, NOTE, FAULT };

const char* healthWord(Health health) {
    if (health == Health::OK)
        return "ok";
    return health == Health::NOTE ? "note" : "fault";
}

constexpr const char* OWN = "scada-sensors ";

// Returns the text that a user types for a command of this tool.
std::string own(const std::string& words) {
    return OWN + words;
}

std::string own(const std::string& command, const std::string& name) {
    return own(command + " " + shellWord(name));
}

constexpr const char* INSTALL_RUNNER = "sudo apt-get install scada-sensors-codec";

/// The results of all checks, line by line, each with the next command.
class Diagnosis {
public:
    /// `options` follow each command of this tool, so that it works on the same files and server.
    explicit Diagnosis(std::string options) : ownOptions(std::move(options)) {}

    void add(Health health, const std::string& subject, const std::string& text, const std::string& next) {
        const std::string command = startsWith(next, OWN) ? next + ownOptions : next;
        hasFault = hasFault || health == Health::FAULT;
        lines += screen.mark(healthWord(health)) + " " + subject + ": " + printable(text) + "\n";
        lines += "    " + printable(command) + "\n";
        Json::Value& item = members.append(Json::objectValue);
        item["state"] = healthWord(health);
        item["subject"] = subject;
        item["text"] = text;
        item["command"] = command;
    }

    /// Adds the first fault of the findings and their number, or that there is none. Each of the two has its command.
    void add(const std::string& subject, const Findings& findings, const std::string& sound, const std::string& command,
             const std::string& soundCommand) {
        const Finding* first = nullptr;
        for (const Finding& finding : findings) {
            const bool isFault = finding.rule->severity != Severity::NOTE;
            if (first == nullptr || (isFault && first->rule->severity == Severity::NOTE))
                first = &finding;
        }
        const std::size_t faults = faultCount(findings);
        if (first == nullptr) {
            add(Health::OK, subject, sound, soundCommand);
            return;
        }
        // A system's reason ends without a full stop.
        const char* const space = endsWith(first->text, ".") ? " " : ". ";
        const std::string text = first->text + space + first->rule->remedy;
        add(faults == 0 ? Health::NOTE : Health::FAULT, subject,
            faults > 1 ? filled("%s, such as: %s", {counted(faults, "fault"), text}) : text, command);
    }

    /// With a fault, the command ends with `failure`.
    ExitCode answerWith(const Answer& answer, ExitCode failure = ExitCode::FAILED) const {
        Json::Value result(Json::objectValue);
        result["lines"] = members;
        if (!hasFault)
            return answer.done(result, lines);
        return answer.failedAsTold(failure, filled("something keeps data from showing"), result, lines);
    }

private:
    const std::string ownOptions;
    const Screen screen = standardOutput();
    Json::Value members{Json::arrayValue};
    std::string lines;
    bool hasFault = false;
};

struct DoctorRequest {
    std::vector<std::string> words;
    std::string options;   ///< the given ones of every command
    unsigned int wait = 0; ///< 0: not given

    unsigned int secondsForServer() const { return wait == 0 ? STANDARD_WAIT : wait; }
};

// --- the device

std::string modeText(mode_t mode) {
    std::array<char, 8> octal{};
    (void)std::snprintf(octal.data(), octal.size(), "%03o", mode & 07777U);
    return octal.data();
}

// The package can make the directory `usual`, with its owner and mode.
void addDirectory(const std::string& subject, const std::string& path, const std::string& usual, Diagnosis* diagnosis) {
    struct stat status {};
    const std::string shown = "ls -ld " + shellWord(path);
    if (path.empty()) {
        diagnosis->add(Health::NOTE, subject, filled("no directory is configured"), own("--help"));
        return;
    }
    if (stat(path.c_str(), &status) != 0) {
        const bool isMissing = errno == ENOENT;
        const std::string making =
            path == usual ? "sudo systemd-tmpfiles --create scada-sensors.conf" : "sudo mkdir -p " + shellWord(path);
        diagnosis->add(isMissing ? Health::NOTE : Health::FAULT, subject,
                       filled("[%s] cannot be used: %s", {path, reasonOf(errno)}), isMissing ? making : shown);
        return;
    }
    if (!S_ISDIR(status.st_mode)) {
        diagnosis->add(Health::FAULT, subject, filled("[%s] is not a directory", {path}), shown);
        return;
    }
    constexpr std::uint64_t MEBIBYTE = std::uint64_t{1024} * 1024;
    struct statvfs disk {};
    const bool known = statvfs(path.c_str(), &disk) == 0;
    const std::uint64_t free = known ? std::uint64_t{disk.f_bavail} * disk.f_frsize / MEBIBYTE : 0;
    const bool isFull = free == 0 && known && disk.f_blocks != 0;
    const std::string text = filled("[%s] belongs to %s, mode %s, %s MiB free",
                                    {path, userName(status.st_uid), modeText(status.st_mode), std::to_string(free)});
    if ((status.st_mode & S_IWOTH) != 0)
        diagnosis->add(Health::NOTE, subject,
                       filled("%s; everybody can write in it, so that nothing is installed", {text}),
                       "sudo chmod o-w " + shellWord(path));
    else
        diagnosis->add(isFull ? Health::NOTE : Health::OK, subject, text, isFull ? "df " + shellWord(path) : shown);
}

void addDirectories(Diagnosis* diagnosis) {
    const Conf& conf = Env::inst().conf();
    addDirectory("default storage", conf.getDfnDefaultDir(), "", diagnosis);
    addDirectory("custom storage", conf.getDfnCustomDir(), Conf().getDfnCustomDir(), diagnosis);
    addDirectory("staging directory", conf.getDfnStagingDir(), "", diagnosis);
}

void addChangedDefaults(const Findings& findings, Diagnosis* diagnosis) {
    std::vector<std::string> texts;
    bool isGone = false;
    for (const Finding& finding : findings) {
        isGone = isGone || finding.rule == &Rules::STORAGE_DEFAULT_GONE;
        if (finding.rule == &Rules::STORAGE_DEFAULT_CHANGED || finding.rule == &Rules::STORAGE_DEFAULT_GONE ||
            finding.rule == &Rules::STORAGE_DEFAULT_NEW)
            texts.push_back(finding.place.file + ": " + finding.text);
    }
    // The comparison does not name definitions that hide none.
    const std::string next = own(isGone ? "list" : "diff");
    if (texts.size() == 1)
        diagnosis->add(Health::NOTE, "definitions", texts.front(), next);
    else if (!texts.empty())
        diagnosis->add(Health::NOTE, "definitions",
                       filled("%s since custom ones were installed, such as: %s",
                              {counted(texts.size(), "default definition") + " changed", texts.front()}),
                       next);
}

// Returns whether every storage can be read. Otherwise a definition may exist and not be found.
bool addUnreadable(const Storages& storages, Diagnosis* diagnosis) {
    for (const std::string& directory : storages.unreadable())
        diagnosis->add(Health::FAULT, "definitions", filled("[%s] cannot be read by this user", {directory}),
                       "ls -ld " + shellWord(directory));
    return storages.unreadable().empty();
}

void addDefinitions(Device& device, Diagnosis* diagnosis) {
    Storages& storages = device.storages();
    addUnreadable(storages, diagnosis);
    const Findings findings = checkStorages(storages, [](const Definition& definition, DefinitionPlaces* places) {
        return definition.verdict.valid ? checkSchema(definition, ExamplesJudge::SCHEMA, places) : Findings();
    });
    const std::size_t count = storages.of(STORAGE_DEFAULT).names().size() + storages.of(STORAGE_CUSTOM).names().size();
    Findings faults;
    for (const Finding& finding : findings) {
        if (finding.rule->severity != Severity::NOTE)
            faults.push_back(finding);
    }
    diagnosis->add("definitions", faults,
                   filled("%s without a fault; check also runs the decoders", {counted(count, "definition")}),
                   own("check"), own("check"));
    addChangedDefaults(findings, diagnosis);
}

// Returns whether every sensor has a definition, as far as the storages can be read.
bool addUndefined(const ManagedList& list, Storages& storages, Diagnosis* diagnosis) {
    if (!storages.unreadable().empty())
        return true;
    const ListElement* first = nullptr;
    std::size_t count = 0;
    for (const ListElement& element : list.elements()) {
        if (!element.isInForce() || storages.lists(element.definitionName()))
            continue;
        first = first == nullptr ? &element : first;
        ++count;
    }
    if (first != nullptr)
        diagnosis->add(Health::FAULT, "managed sensors",
                       filled("%s without a definition, such as: %s",
                              {counted(count, "sensor"), missingDefinition(list, *first).text}),
                       own("check"));
    return first == nullptr;
}

void addUnusableList(const ManagedList& list, Diagnosis* diagnosis) {
    diagnosis->add("managed sensors", checkListFile(list), "", own("check"), own("sensors"));
}

void addList(const ManagedList& list, Storages& storages, Diagnosis* diagnosis) {
    if (!list.isUsable()) {
        addUnusableList(list, diagnosis);
        return;
    }
    const bool isDefined = addUndefined(list, storages, diagnosis);
    const std::size_t faulty = faultyElements(list);
    if (faulty != 0)
        diagnosis->add(Health::FAULT, "managed sensors",
                       filled("%s of %s list elements are faulty",
                              {std::to_string(faulty), std::to_string(list.elements().size())}),
                       own("check"));
    else if (isDefined)
        diagnosis->add(Health::OK, "managed sensors",
                       filled("%s in [%s]", {counted(list.elements().size(), "sensor"), list.file()}), own("sensors"));
}

// Returns whether an interrupted operation has left the storage with definitions of both states.
bool addInterrupted(const GenerationPaths& paths, Diagnosis* diagnosis) {
    if (!isInterrupted(paths))
        return false;
    diagnosis->add(Health::FAULT, "operations", filled("one was interrupted, and the storage is neither old nor new"),
                   own("recover"));
    return true;
}

void addOperations(Diagnosis* diagnosis) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    const bool wasInterrupted = addInterrupted(paths, diagnosis);
    if (!wasInterrupted && isUnfinished(paths))
        diagnosis->add(Health::NOTE, "operations", filled("one has done its work and was killed before its end"),
                       own("recover"));
    const std::string holder = OperationLock::holder();
    if (!holder.empty())
        diagnosis->add(Health::NOTE, "operations", holder, own("history"));
    else if (!wasInterrupted && !isUnfinished(paths))
        diagnosis->add(Health::OK, "operations", filled("none is running, none was interrupted"), own("history"));
}

void addRunner(Diagnosis* diagnosis) {
    const std::string& program = codecSettings().runner;
    if (!isRunnerThere()) {
        diagnosis->add(Health::NOTE, "decoders",
                       program.empty() ? filled("no runner is configured: give one with --codec-runner")
                                       : filled("There is no program [%s] to run decoders.", {program}),
                       INSTALL_RUNNER);
        return;
    }
    Runner runner("function decodeUplink(input) { return {data: {}}; }", "doctor");
    const LoadResult& loaded = runner.load();
    if (loaded.kind == LoadResult::Kind::LOADED)
        diagnosis->add(Health::OK, "decoders", filled("[%s] runs them with %s", {program, loaded.engine}),
                       own("check"));
    else
        diagnosis->add(Health::FAULT, "decoders", loaded.text, "ls -l " + shellWord(program));
}

// --- the database

// Subscribers set it themselves; until then no change of a key is announced.
void addNotifications(const Inquiry& server, Diagnosis* diagnosis) {
    const std::optional<std::string> setting = notificationSetting(server);
    if (!setting) {
        diagnosis->add(Health::NOTE, "notifications", filled("the server does not tell its setting"),
                       serverCommand("acl list"));
        return;
    }
    if (announcesChanges(*setting))
        diagnosis->add(Health::OK, "notifications", filled("the server announces changes of keys (%s)", {*setting}),
                       own("watch --timeout 10"));
    else
        diagnosis->add(
            Health::NOTE, "notifications",
            filled("the server does not announce changes of keys; the next program that watches them turns that on"),
            own("watch --timeout 10"));
}

// Values of hosts that write to this server do not arrive.
void addWrites(const Inquiry& server, Diagnosis* diagnosis) {
    const std::string error = refusalOfWrites(server);
    if (startsWith(error, "READONLY"))
        diagnosis->add(Health::NOTE, "writes",
                       filled("the server is a replica and refuses them; its values come from its master"),
                       serverCommand("info replication"));
    else if (startsWith(error, "OOM"))
        diagnosis->add(Health::FAULT, "writes",
                       filled("the memory of the server is full, and it refuses values. Raise its maxmemory, or let it "
                              "remove old keys (maxmemory-policy)."),
                       serverCommand("info memory"));
    else if (startsWith(error, "MISCONF"))
        diagnosis->add(Health::FAULT, "writes",
                       filled("the server could not save its data, and it refuses values. Make room on its disk, or "
                              "correct its directory."),
                       serverCommand("info persistence"));
    else if (!error.empty())
        diagnosis->add(Health::FAULT, "writes", filled("the server refuses values: %s", {error}),
                       serverCommand("info replication"));
}

bool addDatabase(const Inquiry& server, const std::string& next, Diagnosis* diagnosis) {
    const ServerFault fault = server.open();
    if (!fault.empty()) {
        diagnosis->add(Health::FAULT, "database", fault.text, fault.command);
        return false;
    }
    diagnosis->add(
        Health::OK, "database",
        filled("number %s of the server at [%s] answers",
               {std::to_string(Env::inst().conf().getDfnDatabaseNumber()), Env::inst().conf().getDfnDatabaseSocket()}),
        next);
    addWrites(server, diagnosis);
    addNotifications(server, diagnosis);
    return true;
}

// --- one sensor

void addValues(const Definition& definition, const std::string& reading, const SensorState& state,
               Diagnosis* diagnosis) {
    std::vector<StoredValue> bad;
    std::size_t good = 0;
    std::size_t missing = 0;
    std::size_t undeclared = 0;
    const Json::Value& properties = definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION];
    for (const StoredValue& stored : storedValues(state.fields, properties)) {
        if (stored.state == StoredValue::State::BAD)
            bad.push_back(stored);
        good += stored.state == StoredValue::State::GOOD ? 1 : 0;
        missing += stored.state == StoredValue::State::MISSING ? 1 : 0;
        undeclared += stored.state == StoredValue::State::UNDECLARED ? 1 : 0;
    }
    for (const StoredValue& stored : bad)
        diagnosis->add(Health::FAULT, "values", stored.fault, reading);
    if (missing != 0 && good == 0 && bad.empty())
        diagnosis->add(Health::FAULT, "values",
                       filled("none of the definition's %s is there", {counted(missing, "value")}), reading);
    else if (missing != 0)
        diagnosis->add(Health::NOTE, "values", filled("%s missing", {counted(missing, "value")}), reading);
    if (undeclared != 0)
        diagnosis->add(Health::NOTE, "values",
                       filled("%s that the definition does not have", {counted(undeclared, "field")}), reading);
    if (bad.empty() && missing + undeclared == 0)
        diagnosis->add(Health::OK, "values",
                       filled("%s, as the definition says", {counted(state.fields.size(), "value")}), reading);
}

std::string ageText(std::int64_t age, std::int64_t millisecondsLeft) {
    constexpr std::int64_t MILLISECONDS = 1000;
    return filled("last written %s ago; the values expire in %s (configured: %s)",
                  {counted(static_cast<std::size_t>(age), "second"),
                   counted(static_cast<std::size_t>((millisecondsLeft + MILLISECONDS - 1) / MILLISECONDS), "second"),
                   counted(Env::inst().conf().getDfnDatabaseKeyTtl(), "second")});
}

void addKey(const Definition& definition, const ListElement& element, const SensorState& state, Diagnosis* diagnosis) {
    const std::string key = element.sensorKey();
    if (state.kind == SensorState::Kind::OTHER) {
        diagnosis->add(Health::FAULT, "key", filled("[%s] is not a hash, so that no host can write to it", {key}),
                       serverCommand("-n " + std::to_string(Env::inst().conf().getDfnDatabaseNumber()) + " type " +
                                     shellWord(key)));
        return;
    }
    if (state.kind == SensorState::Kind::MISSING) {
        diagnosis->add(Health::FAULT, "key",
                       filled("The database has no key [%s]: nothing was written, or it has expired.", {key}),
                       own("watch --timeout 60"));
        return;
    }
    const std::optional<std::int64_t> age = secondsSinceWrite(state);
    if (!state.millisecondsLeft)
        diagnosis->add(Health::NOTE, "age", filled("not known: the key does not expire, so that old values stay"),
                       own("db expire", key));
    else if (!age)
        diagnosis->add(Health::NOTE, "age", filled("not known: the key lives longer than is configured"),
                       own("db expire", key));
    else
        diagnosis->add(Health::OK, "age", ageText(*age, *state.millisecondsLeft),
                       own("read " + wordsOf(element)) + " --watch");
    addValues(definition, own("read " + wordsOf(element)), state, diagnosis);
}

// Returns whether the diagnosis can go on with a definition.
bool addDefinition(Storages& storages, const Definition& definition, Diagnosis* diagnosis) {
    const bool hides = storages.decidingFor(definition.name) == STORAGE_CUSTOM && storages.isHiding(definition.name);
    if (!definition.verdict.valid) {
        diagnosis->add("definition", checkDefinition(definition), "", own("show", definition.name),
                       own("show", definition.name));
        if (hides)
            diagnosis->add(Health::NOTE, "definition",
                           filled("[%s] is the custom one and hides the default one", {definition.name}),
                           own("remove", definition.name));
        return false;
    }
    const DefaultSince since = storages.decidingFor(definition.name) == STORAGE_CUSTOM
                                   ? defaultSince(storages, definition.name)
                                   : DefaultSince::SAME;
    if (since == DefaultSince::CHANGED)
        diagnosis->add(
            Health::NOTE, "definition",
            filled("[%s] is the custom one; the default one that it hides has changed since", {definition.name}),
            own("diff", definition.name));
    else if (since == DefaultSince::NEW)
        diagnosis->add(
            Health::NOTE, "definition",
            filled("[%s] is the custom one; the default one that it hides has come since", {definition.name}),
            own("diff", definition.name));
    else if (since == DefaultSince::GONE)
        diagnosis->add(Health::NOTE, "definition",
                       filled("[%s] is the custom one; the default one that it hid is gone", {definition.name}),
                       own("show", definition.name));
    else if (hides)
        diagnosis->add(Health::NOTE, "definition",
                       filled("[%s] is the custom one and hides the default one", {definition.name}),
                       own("diff", definition.name));
    else
        diagnosis->add(Health::OK, "definition", filled("[%s] in [%s]", {definition.name, definition.file}),
                       own("show", definition.name));
    return true;
}

void addDecoder(const Definition& definition, Diagnosis* diagnosis) {
    if (definition.verdict.decoderPath.empty()) {
        diagnosis->add(Health::NOTE, "decoder", filled("the definition has none"), own("show", definition.name));
        return;
    }
    if (codecSettings().runner.empty()) {
        diagnosis->add(Health::NOTE, "decoder", filled("it was not run: no runner is configured"), INSTALL_RUNNER);
        return;
    }
    CodecCheck decoders(true);
    DefinitionPlaces places(definition.file);
    Findings findings = decoders.check(definition, &places);
    append(decoders.missingRunner(), &findings);
    const bool hasExamples = !readExamples(definition.document).sound.empty();
    diagnosis->add("decoder", findings,
                   hasExamples ? filled("it loads, and its examples pass") : filled("it loads; it has no examples"),
                   isRunnerThere() ? own("check") : INSTALL_RUNNER, own("show", definition.name));
}

void addState(const Definition& definition, const ListElement& element, const Inquiry& server, Diagnosis* diagnosis) {
    std::vector<SensorState> states;
    const ServerFault fault = readSensors(server, {element.sensorKey()}, &states);
    if (fault.empty())
        addKey(definition, element, states.front(), diagnosis);
    else
        diagnosis->add(Health::FAULT, "key", fault.text, fault.command);
}

bool writesValues(const std::string& event) {
    constexpr std::array<std::string_view, 7> EVENTS{"copy_to", "hincrby",   "hincrbyfloat", "hset",
                                                     "move_to", "rename_to", "restore"};
    return std::find(EVENTS.begin(), EVENTS.end(), event) != EVENTS.end();
}

// Everything heard of a key until a new value came, the time was up or the user ended the wait.
struct Heard {
    std::atomic<bool> hasValue{false};
    std::atomic<bool> wasLost{false};
    std::atomic<TimeLimit::Clock::rep> ticks{0};
};

void addHeard(const Heard& heard, TimeLimit::Clock::duration whole, WatchState last, const ListElement& element,
              Diagnosis* diagnosis) {
    const char* subject = "new values";
    const auto text = [](TimeLimit::Clock::duration time) {
        return counted(static_cast<std::size_t>(std::chrono::duration_cast<std::chrono::seconds>(time).count()),
                       "second");
    };
    const std::string reading = own("read " + wordsOf(element));
    if (heard.hasValue)
        diagnosis->add(Health::OK, subject,
                       filled("one came after %s", {text(TimeLimit::Clock::duration(heard.ticks))}), reading);
    else if (last == WatchState::WATCHING && !heard.wasLost)
        diagnosis->add(Health::NOTE, subject, filled("none came in %s", {text(whole)}), reading + " --watch");
    else if (last == WatchState::REFUSED)
        diagnosis->add(Health::NOTE, subject, filled("the server refuses to announce them"), turningOnNotifications());
    else if (last == WatchState::MUTED)
        diagnosis->add(Health::NOTE, subject, filled("somebody has turned the notifications off meanwhile"),
                       turningOnNotifications());
    else
        diagnosis->add(last == WatchState::WATCHING ? Health::NOTE : Health::FAULT, subject,
                       filled("the server did not announce changes all the time"), own("doctor"));
}

// Waits for the value before the key is read, so that the lines about the key describe the new value.
[[noreturn]] void awaitValue(const Definition& definition, const ListElement& element, unsigned int seconds,
                             Diagnosis* diagnosis, const Answer& answer) {
    const std::string key = element.sensorKey();
    const TimeLimit limit(seconds);
    const auto begin = TimeLimit::Clock::now();
    answer.note(filled("waiting %s for a new value of [%s]", {counted(seconds, "second"), key}));
    Heard heard;
    WatchListener listener;
    listener.changed = [&](const KeyChange& change) {
        if (change.key != key || !writesValues(change.event))
            return true;
        heard.ticks = (TimeLimit::Clock::now() - begin).count();
        heard.hasValue = true;
        return false;
    };
    listener.turned = [&](WatchState now) { heard.wasLost = heard.wasLost || now != WatchState::WATCHING; };
    listener.ended = [&](WatchState last) {
        addHeard(heard, TimeLimit::Clock::now() - begin, last, element, diagnosis);
        const Inquiry server{TimeLimit(STANDARD_WAIT)};
        if (const ServerFault fault = server.open(); fault.empty())
            addState(definition, element, server, diagnosis);
        else
            diagnosis->add(Health::FAULT, "database", fault.text, fault.command);
        return diagnosis->answerWith(answer);
    };
    watchChanges({limit.end, std::chrono::seconds(STANDARD_WAIT)}, listener);
}

ExitCode examineSensor(Device& device, const ListElement& element, const DoctorRequest& request, const Answer& answer) {
    const ManagedList& list = device.list();
    Diagnosis diagnosis(request.options);
    diagnosis.add(Health::OK, "sensor", filled("%s in [%s]", {element.sensorKey(), list.file()}),
                  own("resolve " + wordsOf(element)));
    addInterrupted(GenerationPaths::ofDevice(), &diagnosis);
    const std::string name = element.definitionName();
    Storages& storages = device.storages();
    if (!addUnreadable(storages, &diagnosis) && !storages.lists(name))
        return diagnosis.answerWith(answer);
    if (!storages.lists(name)) {
        diagnosis.add("definition", {missingDefinition(list, element)}, "", own("list"), own("list"));
        return diagnosis.answerWith(answer);
    }
    const Definition definition = storages.directoryFor(name).load(name);
    const bool isSound = addDefinition(storages, definition, &diagnosis);
    if (isSound)
        addDecoder(definition, &diagnosis);
    const Inquiry server{TimeLimit(request.secondsForServer())};
    if (addDatabase(server, own("db get", element.sensorKey()), &diagnosis) && isSound) {
        if (request.wait != 0)
            awaitValue(definition, element, request.wait, &diagnosis, answer);
        addState(definition, element, server, &diagnosis);
    }
    return diagnosis.answerWith(answer);
}

// Answers what keeps the list from leading to the sensor.
std::optional<ExitCode> examineList(const ManagedList& list, const DoctorRequest& request, const Answer& answer) {
    Diagnosis diagnosis(request.options);
    if (!list.isUsable()) {
        addUnusableList(list, &diagnosis);
        return diagnosis.answerWith(answer);
    }
    const AskedSensor asked = readSensor(list, request.words, FirstWord::SOURCE);
    const std::vector<const ListElement*> elements = elementsOf(list, asked);
    if (std::any_of(elements.begin(), elements.end(), [](const ListElement* element) { return element->isInForce(); }))
        return std::nullopt;
    Findings findings;
    for (const ListElement* element : elements)
        append(checkElement(list, *element), &findings);
    if (elements.empty())
        diagnosis.add(Health::FAULT, "sensor", unknownSensor(asked), own("sensors"));
    else
        diagnosis.add("sensor", findings, "", own("resolve " + shellWord(asked.givenId)), "");
    return diagnosis.answerWith(answer, elements.empty() ? ExitCode::NOT_FOUND : ExitCode::FAILED);
}

ExitCode examineDevice(const DoctorRequest& request, const Answer& answer) {
    Device device;
    Diagnosis diagnosis(request.options);
    addDirectories(&diagnosis);
    addDefinitions(device, &diagnosis);
    addList(device.list(), device.storages(), &diagnosis);
    addOperations(&diagnosis);
    addRunner(&diagnosis);
    addDatabase(Inquiry{TimeLimit(request.secondsForServer())}, own("read --all"), &diagnosis);
    return diagnosis.answerWith(answer);
}

} // namespace

Run declareDoctor(CLI::App& app) {
    const auto request = std::make_shared<DoctorRequest>();
    app.add_option("WORDS", request->words, "Sensor, as for resolve; without one: the device")->type_name("[[SRC] ID]");
    app.add_option("--wait", request->wait, "Seconds to wait for a new value of the sensor, and for the server")
        ->transform(wholeNumber(1U, LONGEST_WAIT))
        ->type_name("S");
    return [request, &app](const Answer& answer) {
        request->options = givenOptions(*app.get_parent());
        if (request->words.empty())
            return examineDevice(*request, answer);
        if (request->words.size() > 2)
            return answer.badUsage(filled("too many words; try %s --help", {"doctor"}));
        Device device;
        if (const std::optional<ExitCode> code = examineList(device.list(), *request, answer))
            return *code;
        return withSensor(device.list(), request->words, answer,
                          [&](const ListElement& element, const AskedSensor& asked) {
                              if (!asked.rest.empty())
                                  return answer.badUsage(filled("too many words; try %s --help", {"doctor"}));
                              return examineSensor(device, element, *request, answer);
                          });
    };
}

} // namespace Kelvra::SCADA::Tool
