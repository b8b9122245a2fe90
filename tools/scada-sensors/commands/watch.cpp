#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/watching.h"
#include "commands/whole_number.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

struct WatchRequest {
    unsigned int count = 0; ///< 0: no limit
    WatchTime time;
};

// Returns whether the change could be written.
bool show(const KeyChange& change, const Answer& answer) {
    const unsigned int database = Env::inst().conf().getDfnDatabaseNumber();
    Json::Value result;
    result["time"] = utcText(change.time);
    result["database"] = database;
    result["key"] = change.key;
    result["event"] = change.event;
    return answer.item(result, result["time"].asString() + "  " + std::to_string(database) + "  " +
                                   printable(change.key) + "  " + printable(change.event) + "\n");
}

ExitCode watch(WatchRequest& request, const Answer& answer) {
    request.time.begin();
    if (const std::string fault = request.time.openServer(); !fault.empty())
        return answer.failed(ExitCode::NO_DATABASE, fault);
    WatchTally tally;
    WatchListener listener;
    listener.changed = [&](const KeyChange& change) {
        tally.written = show(change, answer);
        return ++tally.count != request.count && tally.written;
    };
    listener.turned = [&](WatchState now) { tellState(now, answer); };
    listener.ended = [&](WatchState last) { return endOfWatch(last, tally, answer); };
    watchChanges(request.time.limits(), listener);
}

} // namespace

Run declareWatch(CLI::App& app) {
    const auto request = std::make_shared<WatchRequest>();
    app.add_option("--count", request->count, "End after so many changes")
        ->transform(wholeNumber(1U, std::numeric_limits<unsigned int>::max()))
        ->type_name("N");
    request->time.declare(app);
    return [request](const Answer& answer) { return watch(*request, answer); };
}

} // namespace Kelvra::SCADA::Tool
