#include "commands/CommandLine.h"

#include "answer/Table.h"
#include "commands/completion.h"
#include "commands/options.h"
#include "text/filled.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Version.hpp>

#include <algorithm>
#include <exception>
#include <memory>
#include <new>
#include <optional>

namespace Kelvra::SCADA::Tool {

namespace {

/// Shows operands in the first line of a command's help as a user types them.
class UsageFormatter : public CLI::Formatter {
public:
    std::string make_option_usage(const CLI::Option* option) const override {
        std::string name = option->get_name(true);
        // It is required: only the source before it may be left out, which the library cannot tell.
        if (name == "ID")
            return name;
        return name == "WORDS" ? option->get_type_name() : CLI::Formatter::make_option_usage(option);
    }
};

std::string exitCodeHelp() {
    std::string help = "Exit status:";
    for (const ExitCodeRow& row : exitCodes())
        help += "\n  " + std::to_string(static_cast<int>(row.code)) + "  " + row.meaning;
    return help;
}

std::string commandHelp() {
    AlignedColumns rows;
    for (const Command& command : commands())
        rows.add({std::string("  ") + command.synopsis, command.summary});
    return "Commands:\n" + rows.text() + "\nEach command explains its own arguments with --help.\n\n" + exitCodeHelp();
}

// For arguments that could not be parsed completely.
bool isJsonWanted(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::any_of(arguments.begin(), end,
                       [](const std::string& word) { return word == "--json" || word == "--json=true"; });
}

ExitCode refuse(const std::string& reason, bool json) {
    const ExitCode code = Answer({json, false}).badUsage(reason);
    writeMessage(filled("try --help"));
    return code;
}

bool isForImages(const CLI::App& declared) {
    return std::any_of(commands().begin(), commands().end(), [&declared](const Command& command) {
        return command.onImages && command.name == declared.get_name();
    });
}

// Returns the exit code of the program if it has nothing to run.
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
        return refuse(
            rest.empty() ? filled("no command given") : filled("unknown command or option: %s", {rest.front()}), json);
    }
}

} // namespace

CommandLine::CommandLine() : app("Sensor definitions and managed sensors of this device.", "scada-sensors") {
    app.fallthrough();
    app.formatter(std::make_shared<UsageFormatter>());
    declareOptions(app, &style);
    app.set_version_flag("--version", "scada-sensors " SCADA_VERSION);
    app.footer(commandHelp);
#if CLI11_VERSION_MAJOR > 2 || CLI11_VERSION_MINOR >= 6
    // Otherwise the library makes one paragraph of each list.
    app.get_formatter()->enable_footer_formatting(false);
#endif
    app.require_subcommand(1);
    for (const Command& command : commands()) {
        CLI::App* declared = app.add_subcommand(command.name, command.summary)->group("");
        runs.emplace_back(declared, command.declare(*declared));
    }
}

ExitCode CommandLine::run(int argc, const char* const* argv) {
    if (argc > 1 && argv[1] == std::string(COMPLETION_WORD))
        return complete({argv + 2, argv + argc});
    if (const std::optional<ExitCode> ended = parse(app, argc, argv))
        return *ended;
    applyLogLevel(app, Answer(style));
    return runParsed();
}

// The shell cannot report a failure to anybody.
ExitCode CommandLine::complete(const std::vector<std::string>& words) {
    try {
        return writeText(completionsFor(app, words)) ? ExitCode::DONE : ExitCode::FAILED;
    } catch (const std::exception&) {
        return ExitCode::FAILED;
    }
}

ExitCode CommandLine::runParsed() const {
    const Answer answer(style);
    for (const auto& [declared, command] : runs) {
        if (!declared->parsed())
            continue;
        if (asksForImage(app) && !isForImages(*declared))
            return answer.badUsage(filled("%s is for this device only: leave --root out", {declared->get_name()}));
        try {
            enterAskedImage(app);
            return command(answer);
        } catch (const std::bad_alloc&) {
            return answer.failed(ExitCode::FAILED, filled("not enough memory"));
        } catch (const std::exception& e) {
            return answer.failed(ExitCode::FAILED, e.what());
        }
    }
    return ExitCode::BAD_USAGE;
}

} // namespace Kelvra::SCADA::Tool
