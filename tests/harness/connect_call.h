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

/// Lets the leak sanitizer of programs that are started from now on find the function that opened a connection, so that
/// its suppression applies: the client library has no frame pointers. Every allocation takes many times as long then,
/// and therefore only a server calls this.
void unwindSlowly();

} // namespace Kelvra::SCADA::Test
