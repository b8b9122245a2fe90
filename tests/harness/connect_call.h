#pragma once

#include <atomic>

namespace Kelvra::SCADA::Test {

/// Intercepts the library's creation of contexts in programs that contain this file.
struct ConnectCall {
    std::atomic<bool> fails{false};     ///< whether the call allocates nothing and fails
    std::atomic<long> seconds{-1};      ///< the time limit of the last call, its whole seconds
    std::atomic<long> microseconds{-1}; ///< the rest of that limit
};

ConnectCall& connectCall();

} // namespace Kelvra::SCADA::Test
