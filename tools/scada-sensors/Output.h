#pragma once

#include "Command.h"

#include <scada/Response.h>

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns a value as JSON text for programs, in ASCII and without comments, which other readers refuse. With an empty
/// indentation the text is one line.
std::string jsonText(const Json::Value& value, const std::string& indentation = "  ");

/// Returns a value as JSON text for people: printable, with its letters as they are. With an empty indentation the text
/// is one line.
std::string readableJson(const Json::Value& value, const std::string& indentation);

/// Writes one message line to stderr.
void writeMessage(const std::string& message);

/// Writes text as it is to stdout. On failure returns false after a message.
bool writeText(const std::string& text);

/// The answer of a command: for people a text on stdout and messages on stderr, for programs one JSON envelope on
/// stdout. A command hands over both; texts are printable already. An answer that cannot be written is FAILED.
class Output {
public:
    explicit Output(bool forPrograms);

    ExitCode done(const Json::Value& result, const std::string& text);
    /// `result` and `text` hold what had been found until then.
    ExitCode failed(const std::string& error, const Json::Value& result = Json::Value(), const std::string& text = "");
    /// A failure that `text` tells completely, so that people get no further message.
    ExitCode failedAsTold(const std::string& error, const Json::Value& result, const std::string& text);
    ExitCode noDatabase(const std::string& error);
    /// The message goes to stderr for programs too: what they asked for may be what is wrong.
    ExitCode badUsage(const std::string& message);
    /// One answer of many: a line of its own for programs too, written at once. Returns whether it could be written.
    bool item(const Json::Value& result, const std::string& text);

private:
    ExitCode write(const Response& response, const std::string& text) const;

    bool json;
};

} // namespace Kelvra::SCADA::Tool
