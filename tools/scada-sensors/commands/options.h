#pragma once

#include "answer/Answer.h"

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// Declares the options of all commands. Parsing puts them into Env and the log level, and how the answer is wanted
/// into `*style`.
void declareOptions(CLI::App& app, AnswerStyle* style);

/// Whether the command is to work on the files of another device.
bool asksForImage(const CLI::App& app);
/// Turns to these files once the options are parsed. Throws std::runtime_error as enterImage() does.
void enterAskedImage(const CLI::App& app);

/// Sets the log level once the options are parsed.
void applyLogLevel(const CLI::App& app, const Answer& answer);

} // namespace Kelvra::SCADA::Tool
