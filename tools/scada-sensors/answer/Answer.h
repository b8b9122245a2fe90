#pragma once

#include "answer/ExitCode.h"

#include <scada/Response.h>

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Writes one message line to stderr.
void writeMessage(const std::string& message);

/// Writes text unchanged to stdout. On failure, writes a message and returns false.
bool writeText(const std::string& text);

/// The form of the answer that the user wants.
struct AnswerStyle {
    bool json = false;
    bool quiet = false;
};

/// The answer of a command: for people, a text on stdout and messages on stderr; for programs, one JSON envelope on
/// stdout. Texts are printable already. If an answer cannot be written, the command ends with FAILED.
class Answer {
public:
    explicit Answer(AnswerStyle wanted) : style(wanted) {}

    /// Whether `result` is shown; otherwise `text` is shown. Of a large answer, only the wanted form is made.
    bool isJson() const { return style.json; }
    bool isQuiet() const { return style.quiet; }

    ExitCode done(const Json::Value& result, const std::string& text) const;
    /// `result` and `text` hold everything found until then.
    ExitCode failed(ExitCode code, const std::string& error, const Json::Value& result = Json::Value(),
                    const std::string& text = "") const;
    /// Like failed(), but people get `messages`, whole printable lines, instead of the error.
    ExitCode failedWith(ExitCode code, const std::string& error, const std::string& messages, const Json::Value& result,
                        const std::string& text) const;
    /// Like failed(), but without a message: `text` says everything.
    ExitCode failedAsTold(ExitCode code, const std::string& error, const Json::Value& result,
                          const std::string& text) const;
    /// Writes the message to stderr for programs too: their request itself may be wrong.
    ExitCode badUsage(const std::string& message) const;
    /// One answer of many: on its own line for programs too, and written at once. Returns whether it could be written.
    bool item(const Json::Value& result, const std::string& text) const;
    /// Like item(), but for a failure; people get `text`, which says why.
    bool failedItem(const std::string& error, const Json::Value& result, const std::string& text) const;
    /// Writes a remark that is not a failure to stderr, unless the user wants quiet.
    void note(const std::string& message) const;

private:
    ExitCode write(ExitCode code, const Response& response, const std::string& text) const;

    AnswerStyle style;
};

} // namespace Kelvra::SCADA::Tool
