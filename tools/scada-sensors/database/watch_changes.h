#pragma once

#include "answer/ExitCode.h"
#include "database/TimeLimit.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// A change of a key as the server announces it.
struct KeyChange {
    std::chrono::system_clock::time_point time;
    std::string key;
    std::string event;
};

enum class WatchState {
    STARTING, ///< the first subscription is in progress and not overdue
    WATCHING, ///< the server announces changes
    LOST,     ///< the server has gone, or does not answer
    REFUSED,  ///< the server answers and does not announce changes
    DENIED,   ///< the server announces changes and refuses to serve `fetch`
    MUTED,    ///< the subscription goes on, and somebody has turned the server's notifications off
};

/// The listener of a watch. A thread of the watch makes the calls one at a time, except for the last one.
struct WatchListener {
    /// Returns false if nothing more is wanted.
    std::function<bool(const KeyChange&)> changed;
    std::function<void(WatchState now)> turned;
    /// Comes last. One of the other calls may still be running, and hang for ever if nobody reads its output.
    std::function<ExitCode(WatchState last)> ended;

    /// Null unless the listener keeps a copy of the database's content. Reads that content after each subscription,
    /// with `anew` set, and after changes as soon as no further one waits. Writes nothing, because the watch may end
    /// meanwhile. Returns WATCHING if the server served; otherwise LOST or DENIED, and the call is repeated.
    std::function<WatchState(bool anew)> fetch;
    /// Called after each successful fetch. Returns false if nothing more is wanted.
    std::function<bool()> fetched;
};

struct WatchLimits {
    std::optional<TimeLimit::Clock::time_point> end;
    std::chrono::seconds silence; ///< how long a server may leave a question unanswered
};

/// Listens to each change of a key in the configured database until `changed` returns false, the time is up, or SIGINT
/// or SIGTERM comes, whatever the server does meanwhile; then ends the process with the status that `ended` returns.
/// Waits for a server that goes and comes back. A second signal acts as it does without a watch.
[[noreturn]] void watchChanges(const WatchLimits& limits, const WatchListener& listener);

} // namespace Kelvra::SCADA::Tool
