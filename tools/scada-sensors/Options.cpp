#include "Options.h"

#include <kelvra/Logger.h>
#include <kelvra/LoggerControl.h>
#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* GROUP = "Options of every command";

int levelOf(const std::string& word) {
    if (word == "error")
        return Logger::PrintLevel::ERROR_LEVEL;
    if (word == "warning")
        return Logger::PrintLevel::WARNING_LEVEL;
    if (word == "debug")
        return Logger::PrintLevel::DEBUG_LEVEL;
    return word == "trace" ? Logger::PrintLevel::TRACE_LEVEL : Logger::LEVEL_OFF;
}

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
    text("--socket", "PATH", "Unix socket of the database", conf.getDfnDatabaseSocket(),
         [&conf](const std::string& path) { conf.setDfnDatabaseSocket(path); });
    app.add_option_function<unsigned int>(
           "--db",
           [&conf](const unsigned int& number) { conf.setDfnDatabaseNumber(static_cast<unsigned char>(number)); },
           "Number of the database")
        ->check(CLI::Range(0U, 255U))
        ->type_name("N")
        ->default_str(std::to_string(conf.getDfnDatabaseNumber()))
        ->group(GROUP);
}

} // namespace

void declareOptions(CLI::App& app, bool* json) {
    declareConfiguration(app);
    // With a value it would not be known as such among arguments that cannot be parsed.
    app.add_flag("--json", *json, "Answer with one JSON object")->disable_flag_override()->group(GROUP);
    app.add_option_function<std::string>(
           "--log-level", [](const std::string& word) { Logger::setLevel(levelOf(word)); },
           "Log messages on standard error")
        ->check(CLI::IsMember({"off", "error", "warning", "debug", "trace"}))
        ->type_name("LEVEL")
        ->default_str("warning")
        ->group(GROUP);
    Logger::setLevel(Logger::PrintLevel::WARNING_LEVEL);
}

} // namespace Kelvra::SCADA::Tool
