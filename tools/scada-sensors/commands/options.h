#pragma once

#include "answer/Answer.h"

namespace CLI {
class App;
}

namespace Kelvra::SCADA::Tool {

/// Declares the options of all commands. Parsing puts them into Env and the log level, and how the answer is wanted
/// into `*style`.
void declareOptions(CLI::App& app, AnswerStyle* style);

/// Sets the log level once the options are parsed.
void applyLogLevel(const CLI::App& app, const Answer& answer);

} // namespace Kelvra::SCADA::Tool
