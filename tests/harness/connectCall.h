#pragma once

#include <atomic>

namespace Kelvra::SCADA::Test {

/// The library's making of contexts, which programs with this file see first.
struct ConnectCall {
    std::atomic<bool> fails{false};     ///< whether it is to allocate nothing
    std::atomic<long> seconds{-1};      ///< the time limit that the last one was given
    std::atomic<long> microseconds{-1}; ///< the rest of it
};

ConnectCall& connectCall();

} // namespace Kelvra::SCADA::Test
