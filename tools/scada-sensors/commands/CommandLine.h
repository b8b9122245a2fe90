#pragma once

#include "answer/Answer.h"
#include "commands/Command.h"

#include <CLI/App.hpp>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The command line as declared by the table of commands and the options. Parsing, help, completion and, through the
/// help, the manual use it.
class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// Parses the arguments and runs the command that they name.
    ExitCode run(int argc, const char* const* argv);

private:
    ExitCode complete(const std::vector<std::string>& words);
    ExitCode runParsed() const;

    CLI::App app;
    AnswerStyle style;
    std::vector<std::pair<const CLI::App*, Run>> runs;
};

} // namespace Kelvra::SCADA::Tool
