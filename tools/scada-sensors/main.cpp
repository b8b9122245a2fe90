#include "Command.h"
#include "Options.h"
#include "Output.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace Kelvra::SCADA::Tool;

namespace {

std::string exitCodeHelp() {
    std::string help = "Exit status:";
    for (const auto& [code, meaning] : {
             std::make_pair(ExitCode::DONE, "Done"),
             std::make_pair(ExitCode::FAILED, "The operation failed, or a check found faults"),
             std::make_pair(ExitCode::BAD_USAGE, "Bad usage"),
             std::make_pair(ExitCode::NO_DATABASE, "No database"),
         })
        help += "\n  " + std::to_string(static_cast<int>(code)) + "  " + meaning;
    return help;
}

std::string commandHelp() {
    std::vector<std::vector<std::string>> rows;
    for (const Command& command : commands())
        rows.push_back({std::string("  ") + command.synopsis, command.summary});
    return "Commands:\n" + table(rows) + "\nEach command explains its own arguments with --help.\n\n" + exitCodeHelp();
}

ExitCode run(const Run& command, Output& output) {
    try {
        return command(output);
    } catch (const std::exception& e) {
        return output.failed(e.what());
    }
}

// For arguments that could not be parsed to their end.
bool isJsonWanted(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::any_of(arguments.begin(), end,
                       [](const std::string& word) { return word == "--json" || word == "--json=true"; });
}

ExitCode refuse(const std::string& reason, bool json) {
    const ExitCode code = Output(json).badUsage(reason);
    writeMessage("try --help");
    return code;
}

// Returns how the program ends when it has nothing to run.
std::optional<ExitCode> parse(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::CallForHelp&) {
        return writeText(app.help()) ? ExitCode::DONE : ExitCode::FAILED;
    } catch (const CLI::CallForVersion& version) {
        return writeText(std::string(version.what()) + "\n") ? ExitCode::DONE : ExitCode::FAILED;
    } catch (const CLI::ParseError& e) {
        const bool json = isJsonWanted({argv + 1, argv + argc});
        if (!app.get_subcommands().empty() || e.get_exit_code() != static_cast<int>(CLI::ExitCodes::RequiredError))
            return refuse(e.what(), json);
        const std::vector<std::string> rest = app.remaining();
        return refuse(rest.empty() ? "no command given" : "unknown command or option: " + rest.front(), json);
    }
}

ExitCode runCommandLine(int argc, const char* const* argv) {
    CLI::App app{"Sensor definitions and managed sensors of this device.", "scada-sensors"};
    bool json = false;
    app.fallthrough();
    declareOptions(app, &json);
    app.set_version_flag("--version", "scada-sensors " SCADA_VERSION);
    app.footer(commandHelp);
    app.require_subcommand(1);
    std::vector<std::pair<const CLI::App*, Run>> runs;
    for (const Command& command : commands()) {
        CLI::App* declared = app.add_subcommand(command.name, command.summary)->group("");
        runs.emplace_back(declared, command.declare(*declared));
    }
    if (const std::optional<ExitCode> ended = parse(app, argc, argv))
        return *ended;
    Output output(json);
    for (const auto& [declared, command] : runs) {
        if (declared->parsed())
            return run(command, output);
    }
    return ExitCode::BAD_USAGE;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return static_cast<int>(runCommandLine(argc, argv));
    } catch (const std::exception& e) {
        writeMessage(e.what());
        return static_cast<int>(ExitCode::FAILED);
    }
}
