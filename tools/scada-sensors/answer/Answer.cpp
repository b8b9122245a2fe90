#include "answer/Answer.h"

#include "answer/json.h"
#include "answer/printable.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <cerrno>
#include <cstdio>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr int FORMAT_VERSION = 2;

Response failure(const std::string& error, const Json::Value& result) {
    Response response;
    response.setError(error);
    if (!result.isNull())
        response.setResult(result);
    return response;
}

Response success(const Json::Value& result) {
    Response response;
    response.setResult(result);
    response.setSuccess();
    return response;
}

Json::Value envelopeOf(ExitCode code, const Response& response) {
    Json::Value envelope = response;
    envelope["format_version"] = FORMAT_VERSION;
    envelope["code"] = wordOf(code);
    return envelope;
}

} // namespace

void writeMessage(const std::string& message) {
    (void)std::fprintf(stderr, "scada-sensors: %s\n", printable(message).c_str());
}

bool writeText(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return true;
    writeMessage(filled("cannot write to standard output: %s", {reasonOf(errno)}));
    return false;
}

ExitCode Answer::done(const Json::Value& result, const std::string& text) const {
    return write(ExitCode::DONE, success(result), text);
}

ExitCode Answer::failed(ExitCode code, const std::string& error, const Json::Value& result,
                        const std::string& text) const {
    const ExitCode ended = failedAsTold(code, error, result, text);
    if (!style.json)
        writeMessage(error);
    return ended;
}

ExitCode Answer::failedWith(ExitCode code, const std::string& error, const std::string& messages,
                            const Json::Value& result, const std::string& text) const {
    const ExitCode ended = failedAsTold(code, error, result, text);
    if (!style.json)
        (void)std::fputs(messages.c_str(), stderr);
    return ended;
}

ExitCode Answer::failedAsTold(ExitCode code, const std::string& error, const Json::Value& result,
                              const std::string& text) const {
    return write(code, failure(error, result), text);
}

ExitCode Answer::badUsage(const std::string& message) const {
    if (style.json)
        write(ExitCode::BAD_USAGE, failure(message, Json::Value()), "");
    writeMessage(message);
    return ExitCode::BAD_USAGE;
}

bool Answer::item(const Json::Value& result, const std::string& text) const {
    return writeText(style.json ? jsonText(envelopeOf(ExitCode::DONE, success(result)), "") + "\n" : text);
}

bool Answer::failedItem(const std::string& error, const Json::Value& result, const std::string& text) const {
    return writeText(style.json ? jsonText(envelopeOf(ExitCode::FAILED, failure(error, result)), "") + "\n" : text);
}

void Answer::note(const std::string& message) const {
    if (!style.quiet)
        writeMessage(message);
}

ExitCode Answer::write(ExitCode code, const Response& response, const std::string& text) const {
    const bool written = writeText(style.json ? jsonText(envelopeOf(code, response)) + "\n" : text);
    return written || code != ExitCode::DONE ? code : ExitCode::FAILED;
}

} // namespace Kelvra::SCADA::Tool
