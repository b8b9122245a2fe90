#include "commands/options.h"
#include "commands/whole_number.h"

#include "device/CodecSettings.h"
#include "device/image.h"
#include "device/log_level.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <filesystem>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* GROUP = "Options of every command";
constexpr const char* ROOT = "--root";
constexpr const char* LOG_LEVEL = "--log-level";
constexpr const char* STANDARD_LEVEL = "warning";
constexpr double SHORTEST_CALL = 0.01;
constexpr double LONGEST_CALL = 600;
constexpr std::uint64_t LEAST_MEMORY = std::uint64_t{1} << 20;
constexpr std::uint64_t MOST_MEMORY = std::uint64_t{1} << 30;

void declareConfiguration(CLI::App& app) {
    Conf& conf = Env::inst().conf();
    const auto text = [&app](const char* name, const char* value, const char* help, const std::string& standard,
                             const auto& assign) {
        app.add_option_function<std::string>(name, assign, help)->type_name(value)->default_str(standard)->group(GROUP);
    };
    text("--default-dir", "DIR", "Default definition storage", conf.getDfnDefaultDir(),
         [&conf](const std::string& dir) { conf.setDfnDefaultDir(dir); });
    text("--custom-dir", "DIR", "Custom definition storage", conf.getDfnCustomDir(),
         [&conf](const std::string& dir) { conf.setDfnCustomDir(dir); });
    text("--staging-dir", "DIR", "Scratch directory of installations", conf.getDfnStagingDir(),
         [&conf](const std::string& dir) { conf.setDfnStagingDir(dir); });
    text("--map", "FILE", "Managed-sensors list", conf.getSensorMapFile(),
         [&conf](const std::string& file) { conf.setSensorMapFile(file); });
    app.add_option(ROOT,
                   "Work on the files of another device, mounted or unpacked here: storages and list are those in it")
        ->check(CLI::ExistingDirectory.description(""))
        ->type_name("DIR")
        ->group(GROUP);
    text("--socket", "PATH", "Unix socket of the database", conf.getDfnDatabaseSocket(),
         [&conf](const std::string& path) { conf.setDfnDatabaseSocket(path); });
    app.add_option_function<unsigned int>(
           "--db",
           [&conf](const unsigned int& number) { conf.setDfnDatabaseNumber(static_cast<unsigned char>(number)); },
           "Number of the database")
        ->transform(wholeNumber(0U, 255U))
        ->type_name("N")
        ->default_str(std::to_string(conf.getDfnDatabaseNumber()))
        ->group(GROUP);
}

void declareCodec(CLI::App& app) {
    CodecSettings& settings = codecSettings();
    app.add_option("--codec-runner", settings.runner,
                   "Program that runs decoders; the empty text: decoders are not run")
        ->type_name("PROGRAM")
        ->default_str(std::filesystem::path(settings.runner).filename().string())
        ->group(GROUP);
    app.add_option("--codec-time", settings.seconds, "Seconds of CPU time that a decoder may take for a call")
        ->check(CLI::Range(SHORTEST_CALL, LONGEST_CALL))
        ->type_name("S")
        ->default_str("1")
        ->group(GROUP);
    CLI::AsSizeValue asSize(false);
    asSize.description("");
    app.add_option("--codec-memory", settings.memory, "Memory that a decoder may take, as in 16M")
        ->transform(asSize)
        ->check(CLI::Range(LEAST_MEMORY, MOST_MEMORY))
        ->type_name("BYTES")
        ->default_str("16M")
        ->group(GROUP);
}

} // namespace

void declareOptions(CLI::App& app, AnswerStyle* style) {
    declareConfiguration(app);
    declareCodec(app);
    // With a value, the option could not be recognised among arguments that cannot be parsed.
    app.add_flag("--json", style->json, "Answer with one JSON object")->disable_flag_override()->group(GROUP);
    app.add_flag("-q,--quiet", style->quiet, "Print no notes and no progress on standard error")->group(GROUP);
    app.add_flag("-v,--verbose", "Print debug messages too: the same as --log-level debug")->group(GROUP);
    app.add_option(LOG_LEVEL, "Print log messages of this level and of more severe ones on standard error")
        ->check(CLI::IsMember({"off", "error", "warning", "debug", "trace"}))
        ->type_name("LEVEL")
        ->default_str(STANDARD_LEVEL)
        ->group(GROUP);
}

bool asksForImage(const CLI::App& app) {
    return app.get_option(ROOT)->count() != 0;
}

void enterAskedImage(const CLI::App& app) {
    if (asksForImage(app))
        enterImage(app.get_option(ROOT)->results().back());
}

std::string givenOptions(const CLI::App& app) {
    std::string words;
    for (const CLI::Option* option : app.get_options()) {
        const bool hasValue = option->get_expected_max() != 0;
        if (option->get_group() == GROUP && hasValue && option->count() != 0 && option->get_name() != LOG_LEVEL)
            words += " " + option->get_name() + " " + shellWord(option->results().back());
    }
    return words;
}

void applyLogLevel(const CLI::App& app, const Answer& answer) {
    const CLI::Option* level = app.get_option(LOG_LEVEL);
    const bool verbose = app.get_option("--verbose")->count() != 0;
    const bool asked = level->count() != 0 || verbose;
    const std::string word = level->count() != 0 ? level->results().back() : verbose ? "debug" : STANDARD_LEVEL;
    if (!setLogLevel(word) && asked)
        answer.note(filled("log levels cannot be changed: this device's support library sets them"));
}

} // namespace Kelvra::SCADA::Tool
