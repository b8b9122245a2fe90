#include "database/SigpipeGuard.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace Kelvra::SCADA {

namespace {

sigset_t sigpipeOnly() {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isSigpipePending() {
    sigset_t pending{};
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

// Removes the pending signal. A write of this process sends it in the process's own name; a signal that another process
// sent in the meantime is raised again.
void drainSigpipe() {
    const sigset_t set = sigpipeOnly();
    const timespec atOnce{};
    siginfo_t info{};
    while (sigtimedwait(&set, &info, &atOnce) == -1 && errno == EINTR) {
    }
    if (info.si_signo == SIGPIPE && info.si_pid != getpid())
        kill(getpid(), SIGPIPE);
}

} // namespace

SigpipeGuard::SigpipeGuard() {
    const sigset_t set = sigpipeOnly();
    pthread_sigmask(SIG_BLOCK, &set, &previousMask);
    wasPending = sigismember(&previousMask, SIGPIPE) == 1 && isSigpipePending();
}

SigpipeGuard::~SigpipeGuard() {
    const int keptErrno = errno;
    if (maybeRaised && !wasPending && isSigpipePending())
        drainSigpipe();
    pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
    errno = keptErrno;
}

} // namespace Kelvra::SCADA
