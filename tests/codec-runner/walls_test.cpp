// The system calls that the filter refuses. A decoder cannot show this, because it cannot make any of these calls.

#include "NamedRow.h"
#include "duktape/walls.h"

#include "exit_status_of.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <csignal>
#include <ctime>

namespace Kelvra::SCADA::Test {

namespace {

// The end of a child process.
constexpr int WENT_ON = 40;
constexpr int NO_FILTER = 41;

// A sanitizer makes its own calls, so the filter allows all of them.
#ifdef SCADA_SANITIZED
constexpr int REFUSED = WENT_ON;
#else
constexpr int REFUSED = 128 + SIGSYS;
#endif

struct CallRow : NamedRow {
    void (*call)();
    int expected;
};

const CallRow CALLS[] = {
    {"open", [] { open("/dev/null", O_RDONLY | O_CLOEXEC); }, REFUSED},
    {"socket", [] { socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }, REFUSED},
    {"fork", [] { fork(); }, REFUSED},
    {"execute",
     [] {
         char program[] = "/nowhere/program";
         char* const words[] = {program, nullptr};
         execve(program, words, words + 1);
     },
     REFUSED},
    {"signal_to_another", [] { kill(getppid(), 0); }, REFUSED},
    {"write_elsewhere", [] { write(STDERR_FILENO + 1, "", 0); }, REFUSED},
    {"read_elsewhere", [] { read(STDERR_FILENO + 1, nullptr, 0); }, REFUSED},
    {"memory_for_code",
     [] { static_cast<void>(mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)); },
     REFUSED},

    {"write", [] { write(STDOUT_FILENO, "", 0); }, WENT_ON},
    {"read", [] { read(STDIN_FILENO, nullptr, 0); }, WENT_ON},
    {"clock",
     [] {
         timespec now{};
         clock_gettime(CLOCK_REALTIME, &now);
     },
     WENT_ON},
    {"memory",
     [] { static_cast<void>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)); },
     WENT_ON},
};

// Makes a call under the filter, in a separate process.
int endOf(void (*call)()) {
    const pid_t child = fork();
    if (child == 0) {
        Codec::SystemCallFilter filter;
        Codec::restrictProcess();
        if (!filter.load())
            _exit(NO_FILTER);
        call();
        _exit(WENT_ON);
    }
    int state = 0;
    return waitpid(child, &state, 0) == child ? exitStatusOf(state) : -1;
}

class WallsTest : public testing::TestWithParam<CallRow> {};
INSTANTIATE_TEST_SUITE_P(Calls, WallsTest, testing::ValuesIn(CALLS), [](const auto& row) { return row.param.name; });

TEST_P(WallsTest, letsThroughOnlyWhatTheEngineNeeds) {
    const int end = endOf(GetParam().call);
#ifdef SCADA_EMULATED
    // An emulator may not support filters. load() then says so, and nothing refuses a call.
    if (end == NO_FILTER)
        return;
#endif
    EXPECT_EQ(GetParam().expected, end);
}

} // namespace

} // namespace Kelvra::SCADA::Test
