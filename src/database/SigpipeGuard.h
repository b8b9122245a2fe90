#pragma once

#include <csignal>

namespace Kelvra::SCADA {

/// Blocks SIGPIPE on this thread, because the client library writes to sockets that may have been closed. The
/// destructor removes a signal that was not pending before, unless noneRaised() was called, and restores the thread's
/// mask; errno is kept. The process-wide disposition never changes.
class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

    /// Declares that every write under this guard has succeeded and therefore raised no signal. This saves the search.
    void noneRaised() { maybeRaised = false; }

private:
    sigset_t previousMask{};
    bool wasPending;
    bool maybeRaised = true;
};

} // namespace Kelvra::SCADA
