#include "answer/printable.h"
#include "check/definition_difference.h"
#include "check/list_rules.h"
#include "check/storage_rules.h"
#include "codec/codec_rules.h"
#include "commands/Command.h"
#include "commands/difference_text.h"
#include "commands/limits.h"
#include "commands/report_page.h"
#include "commands/whole_number.h"
#include "device/Device.h"
#include "device/GenerationPaths.h"
#include "device/image.h"
#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/ReplacedFile.h"
#include "text/current_time.h"
#include "text/filled.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>
#include <sstream>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

struct ReportRequest {
    std::string file;
    bool codec = true;
    unsigned int wait = STANDARD_WAIT;
};

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return gethostname(name.data(), name.size() - 1) == 0 && name[0] != 0 ? name.data() : "this device";
}

std::vector<std::string> linesOf(const std::string& text) {
    constexpr std::size_t INDENTED = 4;
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line.substr(std::min(INDENTED, line.size())));
    return lines;
}

/// Takes each definition that the check has read, so that none is read twice, and keeps the parts that the page needs.
class DefinitionsTaken {
public:
    DefinitionsTaken(Device& itsDevice, Estate* itsEstate) : storages(itsDevice.storages()), estate(itsEstate) {
        for (ReportedSensor& sensor : estate->sensors)
            users[sensor.element->definitionName()].push_back(&sensor);
    }

    void take(Definition&& definition) {
        const std::string name = definition.name;
        const bool isCustom = definition.file == definitionFile(storages.of(STORAGE_CUSTOM).path(), name);
        if (!isCustom && storages.isHiding(name)) {
            hidden.emplace(name, std::move(definition));
            return;
        }
        if (const auto standard = hidden.find(name); standard != hidden.end()) {
            addOverride(standard->second, definition);
            hidden.erase(standard);
        }
        ReportedDefinition& reported = estate->definitions[name];
        reported.storage = isCustom ? STORAGE_CUSTOM : STORAGE_DEFAULT;
        reported.hides = isCustom && storages.isHiding(name);
        reported.since = isCustom ? defaultSince(storages, name) : DefaultSince::SAME;
        if (const auto used = users.find(name); used != users.end()) {
            reported.sensors = used->second.size();
            if (definition.verdict.valid)
                judge(used->second, std::as_const(definition.document)[SensorDefinitions::JSON_PROPERTIES_SECTION]);
        }
        reported.verdict = std::move(definition.verdict);
    }

    /// Takes the values of sensors without a usable definition unchanged.
    void end() {
        for (auto& [name, sensors] : users) {
            const auto known = estate->definitions.find(name);
            if (known == estate->definitions.end() || !known->second.verdict.valid)
                judge(sensors, Json::Value::nullSingleton());
        }
    }

private:
    static void judge(const std::vector<ReportedSensor*>& sensors, const Json::Value& properties) {
        for (ReportedSensor* sensor : sensors) {
            sensor->values = reportedValues(sensor->state, properties);
            sensor->state.fields.clear();
        }
    }

    void addOverride(const Definition& standard, const Definition& own) {
        std::vector<std::string> lines;
        if (!standard.verdict.valid || !own.verdict.valid) {
            lines = {incomparableText(standard.verdict.valid ? own : standard)};
        } else {
            const std::string text = toText(differenceBetween(standard, own));
            shown += text.size();
            lines = text.empty() ? std::vector<std::string>{"no differences"}
                    : shown > MOST_SHOWN
                        ? std::vector<std::string>{filled(
                              "they differ, and the page would be too long: scada-sensors diff %s", {own.name})}
                        : linesOf(text);
        }
        estate->overrides.push_back({own.name, std::move(lines)});
    }

    // A longer page is too long for a browser.
    static constexpr std::size_t MOST_SHOWN = 1024UL * 1024UL;

    Storages& storages;
    Estate* estate;
    std::map<std::string, std::vector<ReportedSensor*>> users;
    std::map<std::string, Definition> hidden;
    std::size_t shown = 0;
};

void readValues(unsigned int wait, Estate* estate) {
    if (isImage()) {
        estate->databaseFault = filled("with --root no database is asked");
        return;
    }
    std::vector<std::string> keys;
    for (const ReportedSensor& sensor : estate->sensors)
        keys.push_back(sensor.element->sensorKey());
    const Inquiry server{TimeLimit(wait)};
    std::vector<SensorState> states;
    ServerFault fault = server.open();
    if (fault.empty())
        fault = readSensors(server, keys, &states);
    estate->databaseFault = fault.text;
    // All ages are from one moment, or there are none.
    for (std::size_t at = 0; estate->databaseFault.empty() && at < states.size(); ++at)
        estate->sensors[at].state = std::move(states[at]);
}

/// Returns the findings of `check`, in its order.
Findings checkAll(Device& device, bool codec, DefinitionsTaken* definitions) {
    CodecCheck decoders(codec);
    Findings all = checkStorages(device.storages(), [&](Definition&& definition, DefinitionPlaces* places) {
        Findings findings = checkSchemaAndDecoder(definition, &decoders, places);
        definitions->take(std::move(definition));
        return findings;
    });
    append(decoders.missingRunner(), &all);
    append(checkList(device.list(), device.storages()), &all);
    return all;
}

/// Reads the values first: a definition judges them while it is loaded, and no definition is kept.
Estate readEstate(Device& device, const ReportRequest& request) {
    Estate estate;
    estate.host = isImage() ? rootDirectory() : hostName();
    estate.hasList = device.list().isUsable();
    for (const ListElement& element : device.list().elements()) {
        if (element.isInForce())
            estate.sensors.push_back({&element, {}, {}});
    }
    readValues(request.wait, &estate);
    estate.time = currentTime();
    DefinitionsTaken definitions(device, &estate);
    estate.findings = checkAll(device, request.codec, &definitions);
    definitions.end();
    estate.operations = readHistory(GenerationPaths::ofDevice().history);
    return estate;
}

/// Signals that end the process wait until the file is in its place or given up.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            sigaddset(&signals, signal);
        pthread_sigmask(SIG_BLOCK, &signals, &before);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

private:
    sigset_t before{};
};

// A device or a FIFO is written to and not replaced.
int writeToSpecial(const std::string& file, const std::string& text) {
    const Descriptor out{open(file.c_str(), O_WRONLY | O_CLOEXEC)};
    return out.isOpen() ? writeWhole(out.number(), text.data(), text.size()) : errno;
}

/// Returns the error number if the page cannot be written, and 0 on success.
int writeTo(const std::string& name, const std::string& text) {
    struct stat former {};
    if (stat(name.c_str(), &former) == 0 && !S_ISREG(former.st_mode))
        return writeToSpecial(name, text);
    const SignalsHeldBack whole;
    ReplacedFile file(name);
    if (!file.isOpen())
        return errno;
    const int error = writeWhole(file.number(), text.data(), text.size());
    return error == 0 ? file.complete() : error;
}

Json::Value resultOf(const Estate& estate, const std::string& file) {
    Json::Value result(Json::objectValue);
    result["file"] = file;
    result["sensors"] = static_cast<Json::UInt64>(estate.sensors.size());
    result["definitions"] = static_cast<Json::UInt64>(estate.definitions.size());
    result["faults"] = static_cast<Json::UInt64>(faultCount(estate.findings));
    result["operations"] = static_cast<Json::UInt64>(estate.operations.size());
    result["database_fault"] = estate.databaseFault.empty() ? Json::Value() : Json::Value(estate.databaseFault);
    return result;
}

ExitCode report(const ReportRequest& request, const Answer& answer) {
    const bool toOutput = request.file == "-";
    if (toOutput && answer.isJson())
        return answer.badUsage(filled("--json and a page cannot both go to standard output"));
    if (!toOutput && isOfDevice(request.file))
        return answer.failed(ExitCode::REFUSED,
                             filled("[%s] is a file of the device; give another name", {request.file}));
    Device device;
    const Estate estate = readEstate(device, request);
    const std::string page = pageOf(estate);
    if (!estate.databaseFault.empty())
        answer.note(filled("the page has no values: %s", {estate.databaseFault}));
    if (toOutput)
        return writeText(page) ? ExitCode::DONE : ExitCode::FAILED;
    if (const int error = writeTo(request.file, page); error != 0)
        return answer.failed(ExitCode::FAILED, filled("cannot write [%s]: %s", {request.file, reasonOf(error)}));
    const std::string text = filled("%s has %s, %s, %s and %s", {request.file, counted(estate.sensors.size(), "sensor"),
                                                                 counted(estate.definitions.size(), "definition"),
                                                                 counted(faultCount(estate.findings), "fault"),
                                                                 counted(estate.operations.size(), "operation")});
    return answer.done(resultOf(estate, request.file), printable(text) + "\n");
}

} // namespace

Run declareReport(CLI::App& app) {
    const auto request = std::make_shared<ReportRequest>();
    app.add_option("FILE", request->file, "Page to write, HTML; - is standard output")->required();
    declareNoCodec(app, &request->codec);
    app.add_option("--wait", request->wait, "Seconds to wait for the server")
        ->transform(wholeNumber(1U, LONGEST_WAIT))
        ->type_name("S")
        ->capture_default_str();
    return [request](const Answer& answer) { return report(*request, answer); };
}

} // namespace Kelvra::SCADA::Tool
