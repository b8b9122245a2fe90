#include "duktape/Request.h"

#include <json/json.h>

#include <cmath>
#include <memory>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr double LAST_TIME = 8.64e15;

Json::Value documentOf(const std::string& line) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    // A request has three levels.
    builder["stackLimit"] = 8;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value document;
    std::string errors;
    try {
        if (reader->parse(line.data(), line.data() + line.size(), &document, &errors) && document.isObject())
            return document;
    } catch (const Json::Exception&) {
        throw BadRequest("the request is nested too deeply");
    }
    throw BadRequest("the request is no JSON object " + errors);
}

std::size_t limitOf(const Json::Value& limits, const char* name, std::size_t usual, std::size_t most) {
    const Json::Value& limit = limits[name];
    if (limit.isNull())
        return usual;
    if (!limit.isUInt64() || limit.asUInt64() == 0 || limit.asUInt64() > most)
        throw BadRequest(std::string("no limit that can be kept: ") + name);
    return static_cast<std::size_t>(limit.asUInt64());
}

Limits limitsOf(const Json::Value& limits) {
    if (!limits.isNull() && !limits.isObject())
        throw BadRequest("limits is no object");
    Limits usual;
    usual.memory = limitOf(limits, "memory", usual.memory, std::size_t{1} << 30U);
    usual.output = limitOf(limits, "output", usual.output, std::size_t{1} << 24U);
    usual.depth = limitOf(limits, "depth", usual.depth, 256);
    return usual;
}

std::string bytesOf(const Json::Value& bytes) {
    if (!bytes.isArray())
        throw BadRequest("bytes is no array");
    std::string text = "[";
    for (const Json::Value& byte : bytes) {
        if (!byte.isUInt() || byte.asUInt() > 255)
            throw BadRequest("bytes has an element that is no byte");
        text += (text.size() > 1 ? "," : "") + std::to_string(byte.asUInt());
    }
    return text + "]";
}

Call callOf(const Json::Value& call) {
    if (!call.isObject() || !call["fPort"].isUInt())
        throw BadRequest("a call without a port");
    Call result{std::to_string(call["fPort"].asUInt()), bytesOf(call["bytes"]), std::nullopt};
    const Json::Value& time = call["recvTime"];
    if (time.isNull())
        return result;
    if (!time.isNumeric() || std::fabs(time.asDouble()) > LAST_TIME)
        throw BadRequest("recvTime is no time");
    result.recvTime = std::trunc(time.asDouble());
    return result;
}

std::vector<Call> callsOf(const Json::Value& request) {
    if (!request["calls"].isArray())
        throw BadRequest("calls is no array");
    std::vector<Call> calls;
    for (const Json::Value& call : request["calls"])
        calls.push_back(callOf(call));
    return calls;
}

} // namespace

FirstRequest firstRequest(const std::string& line) {
    const Json::Value request = documentOf(line);
    if (request["version"] != Json::Value(1))
        throw BadRequest("another version of the contract");
    if (!request["decoder"].isString())
        throw BadRequest("no decoder");
    return {request["decoder"].asString(), limitsOf(request["limits"]), callsOf(request)};
}

std::vector<Call> furtherRequest(const std::string& line) {
    return callsOf(documentOf(line));
}

} // namespace Kelvra::SCADA::Codec
