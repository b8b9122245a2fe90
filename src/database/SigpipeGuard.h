#pragma once

#include <csignal>

namespace Kelvra::SCADA {

/// Holds SIGPIPE back on this thread, because the client library writes to sockets that may have been closed. On the
/// way out a signal that was not pending before is taken off, unless the guard was told that there can be none; the
/// thread's mask is restored and errno is kept. The process-wide disposition is never touched.
class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

    /// Says that every write under this guard has succeeded, so that none has raised the signal: spares the search.
    void noneRaised() { maybeRaised = false; }

private:
    sigset_t previousMask{};
    bool wasPending;
    bool maybeRaised = true;
};

} // namespace Kelvra::SCADA
