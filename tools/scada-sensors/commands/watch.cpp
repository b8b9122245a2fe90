#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/wholeNumber.h"
#include "database/Inquiry.h"
#include "database/watchChanges.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <limits>
#include <memory>
#include <optional>
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

// What has been seen until now; written on the thread of the watch.
struct Tally {
    std::atomic<unsigned int> count{0};
    std::atomic<bool> written{true};
};

void tell(WatchState now, const Answer& answer) {
    const std::string socket = Env::inst().conf().getDfnDatabaseSocket();
    if (now == WatchState::WATCHING)
        answer.note(filled("the database at [%s] is back", {socket}));
    else if (now == WatchState::REFUSED)
        answer.note(filled("the database at [%s] refuses to announce changes; asking again", {socket}));
    else
        answer.note(filled("the database at [%s] is lost; waiting for it", {socket}));
}

ExitCode end(WatchState last, const Tally& tally, const Answer& answer) {
    answer.note(counted(tally.count, "change"));
    if (!tally.written)
        return ExitCode::FAILED;
    if (last == WatchState::WATCHING || last == WatchState::STARTING)
        return ExitCode::DONE;
    return answer.failed(ExitCode::NO_DATABASE, filled("The database at [%s] announced no changes at the end.",
                                                       {Env::inst().conf().getDfnDatabaseSocket()}));
}

ExitCode watch(const Limits& limits, const Answer& answer) {
    WatchLimits wanted{std::nullopt, std::chrono::seconds(limits.wait)};
    TimeLimit start(limits.wait);
    if (limits.seconds != 0) {
        wanted.end = TimeLimit(limits.seconds).end;
        start = TimeLimit(std::min(limits.wait, limits.seconds));
    }
    // A mistyped socket is an error; a server that goes later may come back.
    if (const std::string fault = Inquiry(start).open(); !fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault);
    Tally tally;
    watchChanges(wanted, {[&](const KeyChange& change) {
                              tally.written = show(change, answer);
                              return ++tally.count != limits.count && tally.written;
                          },
                          [&](WatchState now) { tell(now, answer); },
                          [&](WatchState last) { return end(last, tally, answer); }});
}

} // namespace

Run declareWatch(CLI::App& app) {
    const auto limits = std::make_shared<Limits>();
    const CLI::Validator positive = wholeNumber(1U, std::numeric_limits<unsigned int>::max());
    app.add_option("--count", limits->count, "End after so many changes")->transform(positive)->type_name("N");
    app.add_option("--timeout", limits->seconds, "End after so many seconds")->transform(positive)->type_name("S");
    app.add_option("--wait", limits->wait, "Seconds to wait for an answer of the server")
        ->transform(wholeNumber(1U, LONGEST_WAIT))
        ->type_name("S")
        ->capture_default_str();
    return [limits](const Answer& answer) { return watch(*limits, answer); };
}

} // namespace Kelvra::SCADA::Tool
