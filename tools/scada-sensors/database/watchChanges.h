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
    STARTING, ///< the first subscription is on its way, and not for too long
    WATCHING, ///< the server announces changes
    LOST,     ///< the server has gone, or does not answer
    REFUSED,  ///< the server is there and does not announce changes
};

/// Who listens to a watch. The calls come one at a time from a thread of the watch, but for the last one.
struct WatchListener {
    /// Returns false when nothing more is wanted.
    std::function<bool(const KeyChange&)> changed;
    std::function<void(WatchState now)> turned;
    /// Comes last. A call of the others may hang in it for ever, when nobody reads what it writes.
    std::function<ExitCode(WatchState last)> ended;

    /// Null unless the listener keeps a copy of what the database has. Reads it after each subscription, when `anew` is
    /// true, and after changes as soon as no further one waits. Writes nothing, because the watch may end meanwhile.
    /// Returns whether the server served; one that did not is lost, and the call comes again.
    std::function<bool(bool anew)> fetch;
    /// Follows each successful fetch. Returns false when nothing more is wanted.
    std::function<bool()> fetched;
};

struct WatchLimits {
    std::optional<TimeLimit::Clock::time_point> end;
    std::chrono::seconds silence; ///< how long a server may leave a question unanswered
};

/// Listens to each change of a key in the configured database until `changed` returns false, until the end of its time,
/// or until SIGINT or SIGTERM comes, whatever the server does meanwhile; then ends the process with the status that
/// `ended` returns. Waits for a server that goes and comes back. A second signal does what it does without a watch.
[[noreturn]] void watchChanges(const WatchLimits& limits, const WatchListener& listener);

} // namespace Kelvra::SCADA::Tool
