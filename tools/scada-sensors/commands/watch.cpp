#include "answer/printable.h"
#include "commands/Command.h"
#include "database/databaseFault.h"
#include "database/watchChanges.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

struct Limits {
    unsigned int count = 0;   ///< 0: no limit
    unsigned int seconds = 0; ///< 0: no limit
    unsigned int wait = STANDARD_WAIT;
};

std::string timeText(std::chrono::system_clock::time_point now) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(sinceEpoch / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string thousandths = std::to_string(1000 + sinceEpoch % 1000);
    return std::string(text.data(), length) + "." + thousandths.substr(1) + "Z";
}

// Returns whether the change could be written.
bool show(const KeyChange& change, const Answer& answer) {
    const unsigned int database = Env::inst().conf().getDfnDatabaseNumber();
    Json::Value result;
    result["time"] = timeText(change.time);
    result["database"] = database;
    result["key"] = change.key;
    result["event"] = change.event;
    return answer.item(result, result["time"].asString() + "  " + std::to_string(database) + "  " +
                                   printable(change.key) + "  " + printable(change.event) + "\n");
}

ExitCode watch(const Limits& limits, const Answer& answer) {
    // A mistyped socket is an error; a server that goes later may come back.
    if (const std::string fault = databaseFault(TimeLimit(limits.wait)); !fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault);
    std::size_t count = 0;
    bool written = true;
    watchChanges(limits.seconds, [&](const KeyChange& change) {
        written = show(change, answer);
        ++count;
        return written && count != limits.count;
    });
    answer.note(counted(count, "change"));
    return written ? ExitCode::DONE : ExitCode::FAILED;
}

} // namespace

Run declareWatch(CLI::App& app) {
    const auto limits = std::make_shared<Limits>();
    const CLI::Range positive(1U, std::numeric_limits<unsigned int>::max());
    app.add_option("--count", limits->count, "End after so many changes")->check(positive)->type_name("N");
    app.add_option("--timeout", limits->seconds, "End after so many seconds")->check(positive)->type_name("S");
    app.add_option("--wait", limits->wait, "Seconds to wait for the server at the start")
        ->check(CLI::Range(1U, LONGEST_WAIT))
        ->type_name("S")
        ->capture_default_str();
    return [limits](const Answer& answer) { return watch(*limits, answer); };
}

} // namespace Kelvra::SCADA::Tool
