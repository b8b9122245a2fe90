#include "Output.h"

#include "text.h"

#include <json/writer.h>

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr int FORMAT_VERSION = 1;

Response failure(const std::string& error, const Json::Value& result) {
    Response response;
    response.setError(error);
    if (!result.isNull())
        response.setResult(result);
    return response;
}

std::string writeJson(const Json::Value& value, const std::string& indentation, bool utf8) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = utf8;
    return Json::writeString(builder, value);
}

Response success(const Json::Value& result) {
    Response response;
    response.setResult(result);
    response.setSuccess();
    return response;
}

Json::Value envelopeOf(const Response& response) {
    Json::Value envelope = response;
    envelope["format_version"] = FORMAT_VERSION;
    return envelope;
}

} // namespace

std::string jsonText(const Json::Value& value, const std::string& indentation) {
    const std::string written = writeJson(value, indentation, false);
    // The one control character that the writer leaves as it is; it can only stand inside a string.
    std::string text;
    for (const char c : written) {
        if (c == '\x7f')
            text += "\\u007f";
        else
            text += c;
    }
    return text;
}

std::string readableJson(const Json::Value& value, const std::string& indentation) {
    std::istringstream lines(writeJson(value, indentation, true));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += (text.empty() ? "" : "\n") + printable(line);
    return text;
}

void writeMessage(const std::string& message) {
    (void)std::fprintf(stderr, "scada-sensors: %s\n", printable(message).c_str());
}

bool writeText(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return true;
    writeMessage("cannot write to standard output: " + std::generic_category().message(errno));
    return false;
}

Output::Output(bool forPrograms) : json(forPrograms) {}

ExitCode Output::done(const Json::Value& result, const std::string& text) {
    return write(success(result), text);
}

ExitCode Output::failed(const std::string& error, const Json::Value& result, const std::string& text) {
    const ExitCode code = write(failure(error, result), text);
    if (!json)
        writeMessage(error);
    return code;
}

ExitCode Output::failedAsTold(const std::string& error, const Json::Value& result, const std::string& text) {
    return write(failure(error, result), text);
}

ExitCode Output::noDatabase(const std::string& error) {
    failed(error);
    return ExitCode::NO_DATABASE;
}

ExitCode Output::badUsage(const std::string& message) {
    if (json)
        write(failure(message, Json::Value()), "");
    writeMessage(message);
    return ExitCode::BAD_USAGE;
}

bool Output::item(const Json::Value& result, const std::string& text) {
    return writeText(json ? jsonText(envelopeOf(success(result)), "") + "\n" : text);
}

ExitCode Output::write(const Response& response, const std::string& text) const {
    const bool written = writeText(json ? jsonText(envelopeOf(response)) + "\n" : text);
    return written && response.isSuccess() ? ExitCode::DONE : ExitCode::FAILED;
}

} // namespace Kelvra::SCADA::Tool
