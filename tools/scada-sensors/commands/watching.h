#pragma once

#include "answer/Answer.h"
#include "database/watch_changes.h"

#include <CLI/CLI.hpp>

#include <atomic>
#include <chrono>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The time for which a command watches the database. The command declares the options, and calls begin() before
/// everything else.
class WatchTime {
public:
    /// Declares --timeout, which is returned, and --wait.
    CLI::Option* declare(CLI::App& app);

    /// Starts the time.
    void begin();

    /// Returns the present fault of the server, or nothing: a mistyped socket is an error, while a server that goes
    /// later may come back.
    std::string openServer() const;

    const WatchLimits& limits() const { return wanted; }
    unsigned int waitSeconds() const { return wait; }

private:
    unsigned int seconds = 0; ///< 0: no limit
    unsigned int wait = STANDARD_WAIT;
    WatchLimits wanted{};
};

/// The lines that have been said so far; written on the thread of the watch.
struct WatchTally {
    std::atomic<unsigned int> count{0};
    std::atomic<bool> written{true};
};

/// Returns a time in UTC with milliseconds.
std::string utcText(std::chrono::system_clock::time_point time);

/// Says on stderr that the server is lost, refuses, or is back.
void tellState(WatchState now, const Answer& answer);

/// Answers the end of a watch: 3 if the server was missing.
ExitCode endOfWatch(WatchState last, const WatchTally& tally, const Answer& answer);

} // namespace Kelvra::SCADA::Tool
