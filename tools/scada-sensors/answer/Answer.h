#pragma once

#include "answer/ExitCode.h"

#include <scada/Response.h>

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Writes one message line to stderr.
void writeMessage(const std::string& message);

/// Writes text as it is to stdout. On failure returns false after a message.
bool writeText(const std::string& text);

/// What the user wants to read.
struct AnswerStyle {
    bool json = false;
    bool quiet = false;
};

/// The answer of a command: for people a text on stdout and messages on stderr, for programs one JSON envelope on
/// stdout. Texts are printable already. An answer that cannot be written is FAILED.
class Answer {
public:
    explicit Answer(AnswerStyle wanted) : style(wanted) {}

    /// Whether `result` is shown; `text` is shown otherwise. Large answers are made in the wanted form alone.
    bool isJson() const { return style.json; }
    bool isQuiet() const { return style.quiet; }

    ExitCode done(const Json::Value& result, const std::string& text) const;
    /// `result` and `text` hold what had been found until then.
    ExitCode failed(ExitCode code, const std::string& error, const Json::Value& result = Json::Value(),
                    const std::string& text = "") const;
    /// Like failed(), but people get `messages`, whole printable lines, in place of the error.
    ExitCode failedWith(ExitCode code, const std::string& error, const std::string& messages, const Json::Value& result,
                        const std::string& text) const;
    /// Like failed(), but without a message: `text` says everything.
    ExitCode failedAsTold(ExitCode code, const std::string& error, const Json::Value& result,
                          const std::string& text) const;
    /// The message goes to stderr for programs too: what they asked for may be what is wrong.
    ExitCode badUsage(const std::string& message) const;
    /// One answer of many: a line of its own for programs too, written at once. Returns whether it could be written.
    bool item(const Json::Value& result, const std::string& text) const;
    /// Like item(), for one that failed; people get `text`, which says why.
    bool failedItem(const std::string& error, const Json::Value& result, const std::string& text) const;
    /// Something worth knowing that is not a failure, on stderr; nothing when the user wants it quiet.
    void note(const std::string& message) const;

private:
    ExitCode write(ExitCode code, const Response& response, const std::string& text) const;

    AnswerStyle style;
};

} // namespace Kelvra::SCADA::Tool
