#include "codec/Runner.h"

#include "codec/runner_answer.h"
#include "device/CodecSettings.h"
#include "text/filled.h"

#include <json/writer.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr int OUT_OF_MEMORY = 3; // the exit status of a runner that could not refuse the memory
constexpr std::size_t ANSWER_AROUND_RESULT = 65536;

std::string lineOf(const Json::Value& request) {
    static const auto builder = [] {
        Json::StreamWriterBuilder oneLine;
        oneLine["indentation"] = "";
        return oneLine;
    }();
    return Json::writeString(builder, request) + "\n";
}

Json::Value toJson(const UplinkCall& uplink) {
    Json::Value call(Json::objectValue);
    call["fPort"] = uplink.fPort;
    call["bytes"] = Json::arrayValue;
    for (const std::uint8_t byte : uplink.bytes)
        call["bytes"].append(byte);
    if (uplink.recvTime)
        call["recvTime"] = static_cast<Json::Int64>(*uplink.recvTime);
    return call;
}

std::string loadingLine(const std::string& script, const std::string& file) {
    const CodecSettings& settings = codecSettings();
    Json::Value request(Json::objectValue);
    request["version"] = 1;
    request["decoder"] = script;
    request["file"] = file;
    request["limits"]["memory"] = static_cast<Json::UInt64>(settings.memory);
    request["limits"]["output"] = static_cast<Json::UInt64>(settings.output);
    request["limits"]["depth"] = settings.depth;
    request["calls"] = Json::arrayValue;
    return lineOf(request);
}

// The engine itself takes some time to start.
constexpr double START_SECONDS = 0.5;

ProcessFailure askFor(RunnerProcess& process, const std::string& line, double seconds, Json::Value* answer,
                      std::string* twice = nullptr) {
    const std::chrono::duration<double> cpuTime(seconds);
    const std::size_t longest = static_cast<std::size_t>(codecSettings().output) + ANSWER_AROUND_RESULT;
    std::string text;
    ProcessFailure failure =
        process.ask(line, std::chrono::duration_cast<std::chrono::nanoseconds>(cpuTime), longest, &text);
    if (failure.kind != ProcessFailure::Kind::NONE)
        return failure;
    failure.text = parseAnswer(text, answer, twice);
    if (!failure.text.empty())
        failure.kind = ProcessFailure::Kind::BROKEN;
    return failure;
}

// A source may have thousands of definitions, each with a thousand examples.
constexpr unsigned int MOST_OVERRUNS_OF_A_DECODER = 5;
constexpr unsigned int MOST_OVERRUNS = 100;

unsigned int& overrunsOfAll() {
    static unsigned int overruns = 0;
    return overruns;
}

template <typename Result> Result notMade() {
    Result result;
    result.kind = Result::Kind::LIMIT;
    result.text = filled("It was not run: too many calls before it took too much time.");
    return result;
}

// Returns the limit that a failure concerns; empty if the runner itself has failed.
std::string limitOf(const ProcessFailure& failure) {
    if (failure.kind == ProcessFailure::Kind::TIME)
        return limitText("time");
    return failure.exitStatus == OUT_OF_MEMORY ? limitText("memory") : "";
}

std::string faultText(const std::string& what) {
    return filled("The runner [%s] failed: %s", {codecSettings().runner, what});
}

// Decides whether a decoder exceeded a limit or the runner failed.
template <typename Result> Result failed(const ProcessFailure& failure) {
    Result result;
    result.text = limitOf(failure);
    result.kind = result.text.empty() ? Result::Kind::FAULT : Result::Kind::LIMIT;
    if (result.text.empty())
        result.text = faultText(failure.text);
    return result;
}

} // namespace

bool isRunnerThere() {
    std::error_code error;
    const std::string& program = codecSettings().runner;
    return !program.empty() && std::filesystem::exists(program, error);
}

std::unique_ptr<RunnerProcess> RunnersAhead::take(const std::string& program) {
    std::unique_ptr<RunnerProcess> taken = next ? std::move(next) : std::make_unique<RunnerProcess>(program);
    if (areMany)
        next = std::make_unique<RunnerProcess>(program);
    areMany = true;
    return taken;
}

Runner::Runner(std::string itsScript, std::string itsFile, RunnersAhead* itsAhead)
    : script(std::move(itsScript)), file(std::move(itsFile)), ahead(itsAhead) {}

bool Runner::admitsCall() const {
    const bool many = overruns >= MOST_OVERRUNS_OF_A_DECODER || overrunsOfAll() >= MOST_OVERRUNS;
    return !many || !codecSettings().hasOverrunLimits;
}

void Runner::count(const ProcessFailure& failure) {
    if (failure.kind != ProcessFailure::Kind::TIME)
        return;
    ++overruns;
    ++overrunsOfAll();
}

const LoadResult& Runner::load() {
    if (!loaded)
        loaded = start();
    return *loaded;
}

LoadResult Runner::start() {
    LoadResult result;
    if (!isRunnerThere()) {
        result.kind = LoadResult::Kind::NO_RUNNER;
        result.text = filled("There is no program [%s] to run decoders.", {codecSettings().runner});
        return result;
    }
    if (!admitsCall())
        return notMade<LoadResult>();
    // The program starts in another directory.
    const std::string program = std::filesystem::absolute(codecSettings().runner).string();
    process = ahead != nullptr ? ahead->take(program) : std::make_unique<RunnerProcess>(program);
    Json::Value answer;
    ProcessFailure failure =
        askFor(*process, loadingLine(script, file), codecSettings().seconds + START_SECONDS, &answer);
    if (failure.kind == ProcessFailure::Kind::NONE)
        failure.text = readLoaded(answer, &result);
    if (failure.text.empty() && failure.kind == ProcessFailure::Kind::NONE)
        return result;
    process.reset();
    count(failure);
    return failed<LoadResult>(failure);
}

CallResult Runner::call(const UplinkCall& uplink) {
    if (!admitsCall())
        return notMade<CallResult>();
    if (process)
        return ask(uplink);
    const LoadResult again = start();
    if (again.kind == LoadResult::Kind::LOADED)
        return ask(uplink);
    CallResult result;
    result.text = again.text.empty() ? faultText(filled("it does not load the decoder again")) : again.text;
    return result;
}

CallResult Runner::ask(const UplinkCall& uplink) {
    Json::Value request(Json::objectValue);
    request["calls"].append(toJson(uplink));
    Json::Value answer;
    CallResult result;
    ProcessFailure failure = askFor(*process, lineOf(request), codecSettings().seconds, &answer, &result.twice);
    if (failure.kind == ProcessFailure::Kind::NONE)
        failure.text = readCalled(answer, &result);
    if (failure.text.empty() && failure.kind == ProcessFailure::Kind::NONE) {
        // Values that the decoder has kept in its variables would count towards the limits of later calls.
        if (result.kind == CallResult::Kind::LIMIT)
            process.reset();
        return result;
    }
    process.reset();
    count(failure);
    return failed<CallResult>(failure);
}

} // namespace Kelvra::SCADA::Tool
