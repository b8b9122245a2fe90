#pragma once

#include "answer/Answer.h"

#include <string>

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// Declares the options of all commands. Parsing stores them in Env and the log level, and the wanted form of the
/// answer in `*style`.
void declareOptions(CLI::App& app, AnswerStyle* style);

/// Whether the command must work on the files of another device.
bool asksForImage(const CLI::App& app);
/// Switches to these files after the options were parsed. Throws std::runtime_error as enterImage() does.
void enterAskedImage(const CLI::App& app);

/// Returns the given ones of these options that name files, the server or the limits of decoders, for a shell. Each
/// begins with a blank.
std::string givenOptions(const CLI::App& app);

/// Sets the log level after the options were parsed.
void applyLogLevel(const CLI::App& app, const Answer& answer);

} // namespace Kelvra::SCADA::Tool
