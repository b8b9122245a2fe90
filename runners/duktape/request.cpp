#include "duktape/request.h"

#include "duktape/json_reader.h"

#include <cmath>
#include <cstdint>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr double LAST_TIME = 8.64e15;

// A request has four levels: itself, the list of calls, a call, its bytes.
constexpr std::size_t LEVELS = 8;

JsonValue documentOf(const std::string& line) {
    try {
        return readObject(line, LEVELS);
    } catch (const BadJson& error) {
        throw BadRequest(std::string("the request is not a JSON object: ") + error.what());
    }
}

std::size_t limitOf(const JsonValue& limits, const char* name, std::size_t usual, std::size_t least, std::size_t most) {
    const JsonValue& limit = limits[name];
    if (limit.is(JsonValue::Kind::NOTHING))
        return usual;
    if (!limit.isCount(static_cast<double>(most)) || limit.number < static_cast<double>(least))
        throw BadRequest(std::string("no limit that can be kept: ") + name);
    return static_cast<std::size_t>(limit.number);
}

Limits limitsOf(const JsonValue& limits) {
    if (!limits.is(JsonValue::Kind::NOTHING) && !limits.is(JsonValue::Kind::OBJECT))
        throw BadRequest("limits is not an object");
    Limits usual;
    // The engine itself needs some hundred thousand bytes to start.
    usual.memory = limitOf(limits, "memory", usual.memory, std::size_t{1} << 20U, std::size_t{1} << 30U);
    usual.output = limitOf(limits, "output", usual.output, 1, std::size_t{1} << 24U);
    usual.depth = limitOf(limits, "depth", usual.depth, 1, 256);
    return usual;
}

std::string wholeText(const JsonValue& number) {
    return std::to_string(static_cast<std::uint32_t>(number.number));
}

std::string bytesOf(const JsonValue& bytes) {
    if (!bytes.is(JsonValue::Kind::ARRAY))
        throw BadRequest("bytes is not an array");
    std::string text = "[";
    for (const JsonValue& byte : bytes.elements) {
        if (!byte.isCount(255))
            throw BadRequest("bytes has an element that is not a byte");
        text += (text.size() > 1 ? "," : "") + wholeText(byte);
    }
    return text + "]";
}

Call callOf(const JsonValue& call) {
    if (!call["fPort"].isCount(UINT32_MAX))
        throw BadRequest("a call without a port");
    Call result{wholeText(call["fPort"]), bytesOf(call["bytes"]), std::nullopt};
    const JsonValue& time = call["recvTime"];
    if (time.is(JsonValue::Kind::NOTHING))
        return result;
    if (!time.is(JsonValue::Kind::NUMBER) || std::fabs(time.number) > LAST_TIME)
        throw BadRequest("recvTime is not a time");
    result.recvTime = std::trunc(time.number);
    return result;
}

std::vector<Call> callsOf(const JsonValue& request) {
    if (!request["calls"].is(JsonValue::Kind::ARRAY))
        throw BadRequest("calls is not an array");
    std::vector<Call> calls;
    for (const JsonValue& call : request["calls"].elements)
        calls.push_back(callOf(call));
    return calls;
}

} // namespace

FirstRequest firstRequest(const std::string& line) {
    const JsonValue request = documentOf(line);
    if (request["version"].number != 1)
        throw BadRequest("another version of the contract");
    if (!request["decoder"].is(JsonValue::Kind::STRING))
        throw BadRequest("no decoder");
    return {request["decoder"].text, limitsOf(request["limits"]), callsOf(request)};
}

std::vector<Call> furtherRequest(const std::string& line) {
    return callsOf(documentOf(line));
}

} // namespace Kelvra::SCADA::Codec
