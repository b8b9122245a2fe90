#include "answer/FieldList.h"
#include "check/definition_rules.h"
#include "check/list_rules.h"
#include "codec/Runner.h"
#include "codec/bytes.h"
#include "codec/codec_rules.h"
#include "codec/time_text.h"
#include "commands/AskedSensor.h"
#include "commands/Command.h"
#include "commands/UplinkLines.h"
#include "commands/UplinkStore.h"
#include "commands/decoded_text.h"
#include "commands/finding_text.h"
#include "commands/notes.h"
#include "commands/whole_number.h"
#include "device/CodecSettings.h"
#include "device/Device.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* FROM_STANDARD_INPUT = "-";

struct Request {
    std::vector<std::string> words;
    std::string definition;
    std::string time;
    unsigned int port = 0;
    bool store = false;
    unsigned int wait = STANDARD_WAIT;
};

/// The uplink to decode, and how to decode it.
struct Task {
    std::string sensor; ///< the key of the sensor; empty without a sensor
    std::vector<std::string> bytes;
    UplinkCall uplink; ///< without bytes
};

/// Runs the decoder of a definition and judges its result.
class Decoding {
public:
    Decoding(const Definition& its, std::string script)
        : definition(its), runner(std::move(script), its.verdict.decoderPath) {}

    /// Returns the fault that prevents the decoder from being called, or nothing.
    std::optional<Finding> fault() { return loadingFault(runner.load(), definition.verdict.decoderPath); }

    const Json::Value& properties() const { return definition.document[SensorDefinitions::JSON_PROPERTIES_SECTION]; }

    DecodedAnswer decode(const UplinkCall& uplink) {
        const CallResult result = runner.call(uplink);
        DecodedAnswer decoded;
        decoded.isDecoded = result.kind == CallResult::Kind::VALUE;
        if (decoded.isDecoded)
            judge(readResult(runner.load().entryPoint, result), &decoded);
        else
            decoded.findings.push_back(callFault(result, definition.verdict.decoderPath));
        return decoded;
    }

private:
    void judge(const DecodedUplink& uplink, DecodedAnswer* decoded) const {
        if (!uplink.fault.empty())
            decoded->findings.push_back({Rules::CODEC_BAD_RESULT, {definition.verdict.decoderPath}, uplink.fault});
        decoded->warnings = uplink.warnings;
        decoded->errors = uplink.errors;
        decoded->values = namedValues(uplink, properties());
        for (const Misfit& misfit : misfits(decoded->values, properties())) {
            if (decoded->findings.size() > MOST_FINDINGS) {
                decoded->findings.push_back(tooManyFindings(definition.file));
                return;
            }
            decoded->findings.push_back({*misfit.rule, {definition.file}, misfit.text});
        }
    }

    const Definition& definition;
    Runner runner;
};

// Returns the failure, or nothing. An uplink that the decoder refuses is not stored.
std::string storeIfAsked(std::optional<UplinkStore>& store, const DecodedAnswer& decoded, const Decoding& decoding,
                         Json::Value* result) {
    if (!store)
        return "";
    const HashFields fields = decoded.errors.empty() ? storedFields(decoded, decoding.properties()) : HashFields();
    (*result)["stored"] = static_cast<Json::UInt64>(fields.size());
    return fields.empty() ? "" : store->write(fields);
}

ExitCode decodeOne(Decoding& decoding, Task& task, std::optional<UplinkStore>& store, const Answer& answer) {
    std::string hex;
    for (const std::string& word : task.bytes)
        hex += word + " ";
    const std::optional<Bytes> bytes = bytesFromHex(hex);
    if (!bytes)
        return answer.badUsage(filled("[%s] is not a text of hexadecimal digits, two for each byte", {hex}));
    task.uplink.bytes = *bytes;
    const DecodedAnswer decoded = decoding.decode(task.uplink);
    Json::Value result = toJson(decoded, decoding.properties());
    result["sensor"] = task.sensor.empty() ? Json::Value() : Json::Value(task.sensor);
    const std::string failure = storeIfAsked(store, decoded, decoding, &result);
    const std::string text = answer.isJson() ? "" : toText(decoded, decoding.properties());
    if (!failure.empty())
        return answer.failed(ExitCode::FAILED, failure, result, text);
    return decoded.isFailed() ? answer.failedAsTold(ExitCode::FAILED, decoded.error(), result, text)
                              : answer.done(result, text);
}

/// Decodes the lines of standard input, one uplink each.
class Stream {
public:
    Stream(Decoding& itsDecoding, UplinkCall itsUplink, std::optional<UplinkStore>& itsStore, const Answer& itsAnswer)
        : decoding(itsDecoding), uplink(std::move(itsUplink)), store(itsStore), answer(itsAnswer) {}

    ExitCode run() {
        bool written = true;
        bool good = true;
        while (const std::optional<std::string> line = lines.next()) {
            const bool isWhole = line->size() <= UplinkLines::LONGEST;
            const std::optional<Bytes> bytes = isWhole ? bytesFromHex(*line) : std::nullopt;
            const std::string failure = bytes ? decode(*bytes, &written) : notBytes(&written);
            good = good && failure.empty();
            if (!written)
                return ExitCode::FAILED;
        }
        return good ? ExitCode::DONE : ExitCode::FAILED;
    }

private:
    std::string notBytes(bool* written) const {
        std::string failure =
            filled("line %s is not a text of hexadecimal digits, two for each byte", {std::to_string(lines.count())});
        Json::Value result(Json::objectValue);
        result["line"] = static_cast<Json::UInt64>(lines.count());
        *written = answer.failedItem(failure, result, failure + "\n");
        return failure;
    }

    // Returns the failure, or nothing.
    std::string decode(const Bytes& bytes, bool* written) {
        uplink.bytes = bytes;
        const DecodedAnswer decoded = decoding.decode(uplink);
        Json::Value result(Json::objectValue);
        if (answer.isJson())
            result = toJson(decoded, decoding.properties());
        result["line"] = static_cast<Json::UInt64>(lines.count());
        const std::string failure = storeIfAsked(store, decoded, decoding, &result);
        std::string error = failure.empty() && decoded.isFailed() ? decoded.error() : failure;
        std::string text = answer.isJson() ? "" : toLine(decoded, decoding.properties());
        if (!failure.empty())
            text += failure + "\n";
        *written = error.empty() ? answer.item(result, text) : answer.failedItem(error, result, text);
        return error;
    }

    Decoding& decoding;
    UplinkCall uplink;
    std::optional<UplinkStore>& store;
    const Answer& answer;
    UplinkLines lines;
};

ExitCode decodeAll(Decoding& decoding, Task& task, const Request& request, const Answer& answer) {
    const bool isStream = task.bytes == std::vector<std::string>{FROM_STANDARD_INPUT};
    try {
        std::optional<UplinkStore> store;
        if (request.store)
            store.emplace(task.sensor, request.wait);
        if (isStream)
            return Stream(decoding, task.uplink, store, answer).run();
        return decodeOne(decoding, task, store, answer);
    } catch (const NoDatabase& e) {
        // Everything is written. The thread that waits for the server may still use objects that exit() would destroy.
        if (answer.isJson() && isStream) {
            (void)answer.failedItem(e.what(), Json::Value(Json::objectValue), "");
            _exit(static_cast<int>(ExitCode::NO_DATABASE));
        }
        _exit(static_cast<int>(answer.failed(ExitCode::NO_DATABASE, e.what())));
    }
}

ExitCode decodeWith(Storages& storages, const std::string& name, Task& task, const Request& request,
                    const Answer& answer) {
    noteUnreadableStorages(storages, answer);
    if (!storages.lists(name))
        return answerNoDefinition(name, answer);
    const Definition definition = storages.directoryFor(name).load(name);
    if (!definition.verdict.valid)
        return failedFor(checkDefinition(definition), ExitCode::FAILED, answer, Json::Value(Json::objectValue), "");
    if (definition.verdict.decoderPath.empty())
        return answer.failed(ExitCode::FAILED, filled(LibraryText::DECODER_NOT_DEFINED, {name}));
    std::string script;
    const std::string failure = readRegularFile(definition.verdict.decoderPath, &script);
    if (!failure.empty())
        return answer.failed(ExitCode::FAILED, filled("The decoder cannot be read: %s", {failure}));
    Decoding decoding(definition, std::move(script));
    if (const std::optional<Finding> fault = decoding.fault())
        return failedFor({*fault}, ExitCode::FAILED, answer, Json::Value(Json::objectValue), "");
    return decodeAll(decoding, task, request, answer);
}

ExitCode decodeForSensor(const Request& request, Task& task, const Answer& answer) {
    Device device;
    const ManagedList& list = device.list();
    if (!list.isUsable())
        return failedFor(checkListFile(list), ExitCode::FAILED, answer, Json::Value(Json::objectValue), "");
    const AskedSensor asked = readSensor(list, request.words, FirstWord::IDENTIFIER);
    if (asked.rest.empty())
        return answer.badUsage(filled("BYTES are required; try decode --help"));
    ExitCode code = ExitCode::DONE;
    const ListElement* element = findSensor(list, asked, answer, &code);
    if (element == nullptr)
        return code;
    task.sensor = element->sensorKey();
    task.bytes = asked.rest;
    return decodeWith(device.storages(), element->definitionName(), task, request, answer);
}

ExitCode decode(const Request& request, const Answer& answer) {
    Task task;
    task.uplink.fPort = request.port;
    // The caller decides how many uplinks there are.
    codecSettings().hasOverrunLimits = false;
    if (!request.time.empty())
        task.uplink.recvTime = millisecondsFromTime(request.time);
    if (!request.time.empty() && !task.uplink.recvTime)
        return answer.badUsage(filled("[%s] is not a time such as 2024-05-01T10:00:00Z", {request.time}));
    if (codecSettings().runner.empty())
        return answer.failed(ExitCode::FAILED, filled("no runner is configured: give one with --codec-runner"));
    if (!isRunnerThere())
        return answer.failed(ExitCode::FAILED,
                             filled("There is no program [%s] to run decoders.", {codecSettings().runner}));
    if (request.words.empty())
        return answer.badUsage(filled("BYTES are required; try decode --help"));
    if (request.definition.empty())
        return decodeForSensor(request, task, answer);
    if (request.store)
        return answer.badUsage(filled("--store needs a sensor"));
    Device device;
    task.bytes = request.words;
    return decodeWith(device.storages(), request.definition, task, request, answer);
}

} // namespace

Run declareDecode(CLI::App& app) {
    constexpr unsigned int LAST_PORT = 255;
    const auto request = std::make_shared<Request>();
    app.add_option("WORDS", request->words,
                   "Sensor, as for resolve, and the bytes in hexadecimal digits; -: a line of standard input for each "
                   "uplink")
        ->type_name("[SRC] ID BYTES|-");
    app.add_option("--port", request->port, "Port of the uplink")
        ->required()
        ->transform(wholeNumber(0U, LAST_PORT))
        ->type_name("N");
    app.add_option("--definition", request->definition, "Definition to decode with, in place of a sensor")
        ->type_name("NAME");
    app.add_option("--time", request->time, "When the uplink came, as in 2024-05-01T10:00:00Z")->type_name("TIME");
    app.add_flag("--store", request->store, "Write the values into the hash SRC@ID of the database");
    app.add_option("--wait", request->wait, "Seconds to wait for the server with --store")
        ->transform(wholeNumber(1U, LONGEST_WAIT))
        ->type_name("S")
        ->capture_default_str();
    return [request](const Answer& answer) { return decode(*request, answer); };
}

} // namespace Kelvra::SCADA::Tool
