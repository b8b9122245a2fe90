#include "AllocationFault.h"
#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "host_state.h"
#include "row_name.h"

#include <kelvra/System.h>

#include <atomic>
#include <bitset>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <new>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Kelvra::SCADA::Test::AllocationFault;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::readFile;
using Kelvra::SCADA::Test::rowName;
using Kelvra::SCADA::Test::TempDir;
using Kelvra::SCADA::Test::writeFile;
using Kelvra::System::cmd;
using Kelvra::System::execute;

std::set<int> openDescriptors() {
    std::set<int> open;
    for (int fd = 0; fd < 256; ++fd)
        if (fcntl(fd, F_GETFD) >= 0)
            open.insert(fd);
    return open;
}

/// Called when a host is about to start a program and everything is prepared for the child.
std::function<void()> beforeSpawn;

bool hasChild() {
    return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD;
}

} // namespace

// The executable's function comes before the C library's.
extern "C" __attribute__((visibility("default"))) int posix_spawnp(pid_t* pid, const char* file,
                                                                   const posix_spawn_file_actions_t* actions,
                                                                   const posix_spawnattr_t* attributes,
                                                                   char* const* arguments, char* const* environment) {
    static auto* const real = reinterpret_cast<decltype(&posix_spawnp)>(dlsym(RTLD_NEXT, "posix_spawnp"));
    if (beforeSpawn)
        beforeSpawn();
    return real(pid, file, actions, attributes, arguments, environment);
}

namespace {

struct CommandRow : NamedRow {
    const char* commandLine;
    int result;
    const char* output;
};

class StandinCommand : public testing::TestWithParam<CommandRow> {};

TEST_P(StandinCommand, runInTheShell) {
    std::string output = "before";
    EXPECT_EQ(GetParam().result, cmd(GetParam().commandLine, output));
    EXPECT_EQ(GetParam().output, output);
}

TEST_P(StandinCommand, runAsAProgram) {
    std::string output = "before";
    EXPECT_EQ(GetParam().result, execute("sh", {"-c", "--", GetParam().commandLine}, output));
    EXPECT_EQ(GetParam().output, output);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinCommand,
    testing::Values(CommandRow{"nothing", ":", 0, ""}, CommandRow{"status1", "exit 1", 1, ""},
                    CommandRow{"status126", "exit 126", 126, ""}, CommandRow{"status127", "exit 127", -1, ""},
                    CommandRow{"status127_keeps_output", "printf a; exit 127", -1, "a"},
                    CommandRow{"status255", "exit 255", 255, ""},
                    CommandRow{"status_with_output", "printf a; exit 3", 3, "a"},
                    CommandRow{"terminated", "kill -TERM $$", 143, ""},
                    CommandRow{"killed", "printf a; kill -KILL $$", 137, "a"},
                    CommandRow{"both_outputs_in_order", "printf a; printf b >&2; printf c", 0, "abc"},
                    CommandRow{"newline_kept", "echo a", 0, "a\n"},
                    CommandRow{"waits_for_the_outputs_last_holder", "{ sleep 0.1; printf b; } & printf a", 0, "ab"},
                    CommandRow{"leading_dash", "-x 2>/dev/null || printf a", 0, "a"},
                    CommandRow{"input_is_the_null_device", "readlink /proc/$$/fd/0; cat", 0, "/dev/null\n"}),
    rowName);

TEST(StandinSystem, nulInTheOutputIsKept) {
    std::string output;
    EXPECT_EQ(0, cmd("printf 'a\\000b'", output));
    EXPECT_EQ(std::string("a\0b", 3), output);
}

TEST(StandinSystem, outputMayBeAnArgument) {
    std::string text = "printf a";
    EXPECT_EQ(0, cmd(text, text));
    EXPECT_EQ("a", text);
    text = "true";
    EXPECT_EQ(0, execute(text, {}, text));
    EXPECT_EQ("", text);
}

struct StartRow : NamedRow {
    std::string program;
    std::vector<std::string> arguments;
};

class StandinFailedStart : public testing::TestWithParam<StartRow> {
protected:
    /// Memory checkers let the failed child end regularly, and it then writes the buffers that it inherited.
    void SetUp() override { std::fflush(nullptr); }
};

TEST_P(StandinFailedStart, isAFailure) {
    const std::set<int> before = openDescriptors();
    std::string output = "before";
    EXPECT_EQ(-1, execute(GetParam().program, GetParam().arguments, output));
    EXPECT_EQ("", output);
    EXPECT_EQ(before, openDescriptors());
    EXPECT_FALSE(hasChild());
}

INSTANTIATE_TEST_SUITE_P(Rows, StandinFailedStart,
                         testing::Values(StartRow{"no_such_file", "/no/such/program", {}},
                                         StartRow{"not_on_path", "no-such-program-anywhere", {"argument"}},
                                         StartRow{"empty", "", {}}, StartRow{"directory", "/tmp", {}},
                                         StartRow{"not_executable", "/dev/null", {}},
                                         StartRow{"nul_in_program", std::string("true\0", 5), {}},
                                         StartRow{"nul_in_argument", "true", {"a", std::string("b\0c", 3)}}),
                         rowName);

TEST(StandinSystem, nulInACommandLineIsAFailure) {
    std::string output = "before";
    EXPECT_EQ(-1, cmd(std::string("printf a\0b", 10), output));
    EXPECT_EQ("", output);
}

TEST(StandinSystem, withoutDescriptorsLeftIsAFailure) {
    rlimit before = {};
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
    std::string output = "before";
    const int result = execute("true", {}, output);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_EQ(-1, result);
    EXPECT_EQ("", output);
    EXPECT_EQ(0, execute("true", {}, output));
}

TEST(StandinSystem, pathIsSearched) {
    const TempDir dir;
    writeFile(dir / "our-own-program", "#!/bin/sh\nprintf '%s' \"$#:$1\"\n");
    ASSERT_EQ(0, chmod((dir / "our-own-program").c_str(), 0755));
    const std::string before = getenv("PATH");
    setenv("PATH", (dir.path() + ":" + before).c_str(), 1);
    std::string output;
    EXPECT_EQ(0, execute("our-own-program", {"one argument"}, output));
    setenv("PATH", before.c_str(), 1);
    EXPECT_EQ("1:one argument", output);
}

TEST(StandinSystem, runsLeaveNothingBehind) {
    const std::set<int> before = openDescriptors();
    std::string output;
    for (int turn = 0; turn < 20; ++turn)
        ASSERT_EQ(3, cmd("exit 3", output));
    EXPECT_EQ(before, openDescriptors());
    EXPECT_FALSE(hasChild());
}

/// Returns whether the `nth` allocation of one run was reached; if so, it has failed.
bool runWithFailingAllocation(long nth, std::string& output) {
    const std::string program = "head";
    const std::vector<std::string> arguments = {"-c", "100000", "/dev/zero"};
    const AllocationFault fault(nth);
    try {
        execute(program, arguments, output);
    } catch (const std::bad_alloc&) {
        return fault.hit();
    }
    return false;
}

TEST(StandinSystem, failingAllocationsLeaveNothingBehind) {
    const std::set<int> before = openDescriptors();
    std::string output = "before";
    long nth = 1;
    for (; runWithFailingAllocation(nth, output); ++nth) {
        EXPECT_EQ("before", output);
        EXPECT_EQ(before, openDescriptors());
        EXPECT_FALSE(hasChild());
    }
    EXPECT_GT(nth, 3);
    EXPECT_TRUE(output == std::string(100000, '\0')) << output.size() << " bytes";
}

TEST(StandinSystem, statusTakenByTheHostReadsAsZero) {
    const SignalAction ignoring(SIGCHLD, SIG_IGN);
    std::string output;
    EXPECT_EQ(0, cmd("printf a; exit 3", output));
    EXPECT_EQ("a", output);
}

TEST(StandinSystem, reaperOfTheHostTakesOnlyTheStatus) {
    std::string output;
    ChildReaper reaper;
    for (int turn = 0; reaper.count() == 0 && turn < 1000; ++turn) {
        const int result = cmd("printf a; exec >&- 2>&-; exit 3", output);
        EXPECT_TRUE(result == 0 || result == 3) << result;
        EXPECT_EQ("a", output);
    }
    EXPECT_GT(reaper.count(), 0);
}

TEST(StandinSystem, childHasOnlyItsOwnDescriptors) {
    const int low = open("/dev/null", O_RDONLY);
    const int high = fcntl(low, F_DUPFD, 200);
    ASSERT_GE(high, 200);
    std::string output;
    EXPECT_EQ(0, cmd("ls /proc/$$/fd; :", output));
    EXPECT_EQ("0\n1\n2\n", output);
    close(high);
    close(low);
}

TEST(StandinSystem, childHasNoneThatAnotherThreadOpensMeanwhile) {
    int opened = -1;
    beforeSpawn = [&opened] { std::thread([&opened] { opened = open("/dev/null", O_RDONLY); }).join(); };
    std::string output;
    EXPECT_EQ(0, cmd("ls /proc/$$/fd; :", output));
    beforeSpawn = nullptr;
    EXPECT_EQ("0\n1\n2\n", output);
    EXPECT_GT(opened, STDERR_FILENO);
    EXPECT_EQ(0, close(opened));
}

TEST(StandinSystem, threadsDoNotHoldEachOthersPipes) {
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index)
        threads.emplace_back([] {
            std::string output;
            for (int turn = 0; turn < 25; ++turn) {
                EXPECT_EQ(0, cmd("ls /proc/$$/fd; :", output));
                EXPECT_EQ("0\n1\n2\n", output);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
}

/// Returns a signal set from a status file of /proc.
std::bitset<64> signalSet(const std::string& status, const std::string& key) {
    const std::size_t start = status.find(key + ":\t");
    return start == std::string::npos ? ~0ULL : std::stoull(status.substr(start + key.size() + 2), nullptr, 16);
}

/// Returns the position of SIGRTMIN in such a set: an emulator moves the real-time signals.
std::size_t positionOfFirstRealTime() {
    sigset_t first;
    sigset_t before;
    sigemptyset(&first);
    sigaddset(&first, SIGRTMIN);
    pthread_sigmask(SIG_BLOCK, &first, &before);
    const auto with = signalSet(readFile("/proc/self/status"), "SigBlk");
    pthread_sigmask(SIG_UNBLOCK, &first, nullptr);
    const auto without = signalSet(readFile("/proc/self/status"), "SigBlk");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const auto difference = with & ~without;
    EXPECT_EQ(1U, difference.count());
    std::size_t position = 0;
    while (position < difference.size() && !difference[position])
        ++position;
    return position;
}

/// Returns a signal set as a child sees it, without the signals before SIGRTMIN that the C library reserves.
std::bitset<64> signalsOfChild(const std::string& key) {
    std::string output;
    EXPECT_EQ(0, execute("cat", {"/proc/self/status"}, output));
    std::bitset<64> signals = signalSet(output, key);
    const std::size_t end = positionOfFirstRealTime();
    for (std::size_t position = end - static_cast<std::size_t>(SIGRTMIN - 32); position < end; ++position)
        signals.reset(position);
    return signals;
}

TEST(StandinSystem, childHasNoSignalBlocked) {
    const AllSignalsBlocked blocked;
    EXPECT_EQ(std::bitset<64>(), signalsOfChild("SigBlk"));
}

TEST(StandinSystem, childIgnoresNoSignal) {
    const SignalAction pipe(SIGPIPE, SIG_IGN);
    const SignalAction interrupt(SIGINT, SIG_IGN);
    const SignalAction realTime(SIGRTMAX, SIG_IGN);
    EXPECT_EQ(std::bitset<64>(), signalsOfChild("SigIgn"));
}

std::atomic<int> alarms{0};

void countAlarm(int) {
    ++alarms;
}

TEST(StandinSystem, interruptedCallsAreResumed) {
    // Never restored, because an alarm may still arrive after the timer has been stopped.
    struct sigaction counting = {};
    counting.sa_handler = countAlarm;
    ASSERT_EQ(0, sigaction(SIGALRM, &counting, nullptr));
    const itimerval often = {{0, 1000}, {0, 1000}};
    const itimerval never = {};
    ASSERT_EQ(0, setitimer(ITIMER_REAL, &often, nullptr));
    std::string reading;
    const int readingResult = cmd("sleep 0.2; printf done; exit 3", reading);
    const int alarmsWhileReading = alarms.exchange(0);
    std::string waiting;
    const int waitingResult = cmd("printf done; exec >&- 2>&-; sleep 0.2; exit 4", waiting);
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(3, readingResult);
    EXPECT_EQ("done", reading);
    EXPECT_GT(alarmsWhileReading, 10);
    EXPECT_EQ(4, waitingResult);
    EXPECT_EQ("done", waiting);
    EXPECT_GT(alarms, 10);
}

std::atomic<unsigned int> closedDuringTheRun{0};

void noteClosedDescriptors(int) {
    unsigned int closed = 0;
    for (int fd = 0; fd <= STDERR_FILENO; ++fd)
        closed |= fcntl(fd, F_GETFD) < 0 ? 1U << fd : 0U;
    closedDuringTheRun = closed;
}

/// Returns whether the host's closed descriptors stay closed while a program runs: otherwise a host that uses them
/// would take the output.
bool staysClosedDuringARun(unsigned int closed) {
    const SignalAction noting(SIGALRM, noteClosedDescriptors);
    const itimerval once = {{0, 0}, {0, 100000}};
    std::string output;
    closedDuringTheRun = ~closed;
    return setitimer(ITIMER_REAL, &once, nullptr) == 0 && cmd("sleep 0.5", output) == 0 && closedDuringTheRun == closed;
}

/// Runs programs with the descriptors in `closed` (one bit each) closed. Returns the number of the failed step, 0 for
/// none.
int runWithClosed(unsigned int closed) {
    for (int fd = 0; fd <= STDERR_FILENO; ++fd)
        if ((closed >> fd & 1U) != 0)
            close(fd);
    const std::set<int> before = openDescriptors();
    std::string output;
    if (execute("printf", {"a b"}, output) != 0 || output != "a b")
        return 1;
    if (cmd("printf c; printf d >&2", output) != 0 || output != "cd")
        return 2;
    if (cmd("ls /proc/$$/fd; readlink /proc/$$/fd/0", output) != 0 || output != "0\n1\n2\n/dev/null\n")
        return 3;
    if (!staysClosedDuringARun(closed))
        return 4;
    return openDescriptors() == before ? 0 : 5;
}

class StandinClosedDescriptors : public testing::TestWithParam<unsigned int> {};

TEST_P(StandinClosedDescriptors, doNotInterfere) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
        _exit(runWithClosed(GetParam()));
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
}

INSTANTIATE_TEST_SUITE_P(Subsets, StandinClosedDescriptors, testing::Range(0U, 8U),
                         [](const testing::TestParamInfo<unsigned int>& subset) {
                             std::string name;
                             for (unsigned int fd = 0; fd < 3; ++fd)
                                 name += std::string(fd == 0 ? "" : "_") +
                                         ((subset.param >> fd & 1U) != 0 ? "closed" : "open");
                             return name;
                         });

} // namespace
