#include "Command.h"
#include "Options.h"
#include "Output.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <string>
#include <utility>
#include <vector>

using namespace Kelvra::SCADA::Tool;

namespace {

std::string commandHelp() {
    std::vector<std::vector<std::string>> rows;
    for (const Command& command : commands())
        rows.push_back({std::string("  ") + command.synopsis, command.summary});
    return "Commands:\n" + table(rows) + "\nEach command explains its own arguments with --help.";
}

ExitCode run(const Run& command, Output& output) {
    try {
        return command(output);
    } catch (const std::exception& e) {
        return output.failed(e.what());
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
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return writeText(app.help()) ? ExitCode::DONE : ExitCode::FAILED;
    } catch (const CLI::CallForVersion& version) {
        return writeText(std::string(version.what()) + "\n") ? ExitCode::DONE : ExitCode::FAILED;
    } catch (const CLI::ParseError& e) {
        writeMessage(e.what());
        writeMessage("try --help");
        return ExitCode::BAD_USAGE;
    }
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
