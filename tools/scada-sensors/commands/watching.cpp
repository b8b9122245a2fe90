#include "commands/watching.h"

#include "commands/whole_number.h"
#include "database/Inquiry.h"
#include "database/server_setting.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>

namespace Kelvra::SCADA::Tool {

CLI::Option* WatchTime::declare(CLI::App& app) {
    CLI::Option* timeout = app.add_option("--timeout", seconds, "End after so many seconds")
                               ->transform(wholeNumber(1U, std::numeric_limits<unsigned int>::max()))
                               ->type_name("S");
    app.add_option("--wait", wait, "Seconds to wait for an answer of the server")
        ->transform(wholeNumber(1U, LONGEST_WAIT))
        ->type_name("S")
        ->capture_default_str();
    return timeout;
}

void WatchTime::begin() {
    wanted.silence = std::chrono::seconds(wait);
    if (seconds != 0)
        wanted.end = TimeLimit(seconds).end;
}

std::string WatchTime::openServer() const {
    TimeLimit start(seconds == 0 ? wait : std::min(wait, seconds));
    start.end = std::min(start.end, wanted.end.value_or(start.end));
    return Inquiry(start).open().text;
}

std::string utcText(std::chrono::system_clock::time_point time) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(sinceEpoch / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string thousandths = std::to_string(1000 + sinceEpoch % 1000);
    return std::string(text.data(), length) + "." + thousandths.substr(1) + "Z";
}

void tellState(WatchState now, const Answer& answer) {
    const std::string socket = Env::inst().conf().getDfnDatabaseSocket();
    if (now == WatchState::WATCHING)
        answer.note(filled("the database at [%s] is back", {socket}));
    else if (now == WatchState::REFUSED)
        answer.note(filled("the database at [%s] refuses to announce changes; asking again", {socket}));
    else if (now == WatchState::MUTED)
        answer.note(filled("the database at [%s] announces no changes any more; turn its notifications on: %s",
                           {socket, turningOnNotifications()}));
    else
        answer.note(filled("the database at [%s] is lost; waiting for it", {socket}));
}

ExitCode endOfWatch(WatchState last, const WatchTally& tally, const Answer& answer) {
    answer.note(counted(tally.count, "change"));
    if (!tally.written)
        return ExitCode::FAILED;
    if (last == WatchState::WATCHING || last == WatchState::STARTING)
        return ExitCode::DONE;
    if (last == WatchState::DENIED)
        return answer.failed(ExitCode::NO_DATABASE, filled("The database at [%s] let nothing be read at the end.",
                                                           {Env::inst().conf().getDfnDatabaseSocket()}));
    return answer.failed(ExitCode::NO_DATABASE, filled("The database at [%s] announced no changes at the end.",
                                                       {Env::inst().conf().getDfnDatabaseSocket()}));
}

} // namespace Kelvra::SCADA::Tool
