#pragma once

#include <atomic>

namespace Kelvra::SCADA::Test {

/// Intercepts the library's creation of contexts in programs that contain this file.
struct ConnectCall {
    std::atomic<bool> fails{false};     ///< whether it is to allocate nothing
    std::atomic<long> seconds{-1};      ///< the time limit that the last one was given
    std::atomic<long> microseconds{-1}; ///< the rest of it
};

ConnectCall& connectCall();

} // namespace Kelvra::SCADA::Test
