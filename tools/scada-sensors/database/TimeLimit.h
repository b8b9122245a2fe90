#pragma once

#include <chrono>

namespace Kelvra::SCADA::Tool {

/// How long the user wants to wait for the database, counted from the construction.
struct TimeLimit {
    using Clock = std::chrono::steady_clock;

    explicit TimeLimit(unsigned int givenSeconds)
        : seconds(givenSeconds), end(Clock::now() + std::chrono::seconds(givenSeconds)) {}

    unsigned int seconds;
    Clock::time_point end;
};

/// The default of --wait and its largest value, in seconds.
constexpr unsigned int STANDARD_WAIT = 5;
constexpr unsigned int LONGEST_WAIT = 3600;

} // namespace Kelvra::SCADA::Tool
