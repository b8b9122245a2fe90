#pragma once

#include <sys/wait.h>

namespace Kelvra::SCADA::Test {

/// Returns the exit status of a process from the status of waitpid(), or 128 plus the number of the signal that ended
/// it.
inline int exitStatusOf(int state) {
    return WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
}

} // namespace Kelvra::SCADA::Test
