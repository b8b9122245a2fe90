// The installing process is killed, and the next installation restores order.

#include "InstallationTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::microseconds;

constexpr unsigned int SEED = 20240229;
constexpr int KILL_SHARES = 4; // so that the shares can run in parallel
constexpr int KILLS = 100 / KILL_SHARES;
constexpr int ATTEMPTS = 20 * KILLS;
constexpr int TIMED_RUNS = 5;

class KilledInstallation : public InstallationTest {
protected:
    void SetUp() override {
        InstallationTest::SetUp();
        otherDefinitions = others();
    }

    // Starts the process in its own process group, which its commands share.
    static pid_t startGroup(const std::function<bool()>& body) {
        return startChild([&body] { return setpgid(0, 0) == 0 && body(); });
    }

    // Commands outlive the process that ran them. Ended commands stay in the group until init collects them.
    static void waitForGroup(pid_t group) {
        while (kill(-group, 0) == 0 && runsInGroup(group))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    static bool runsInGroup(pid_t group) {
        const std::filesystem::directory_iterator processes("/proc");
        return std::any_of(begin(processes), end(processes), [group](const std::filesystem::directory_entry& process) {
            std::ifstream file(process.path() / "stat");
            std::string text;
            std::getline(file, text);
            // The name may contain anything; after it come state, parent, group.
            std::istringstream fields(text.substr(text.rfind(')') + 1));
            char state = 0;
            pid_t parent = 0;
            pid_t itsGroup = 0;
            return fields >> state >> parent >> itsGroup && itsGroup == group && state != 'Z' && state != 'X';
        });
    }

    // Returns whether the signal ended the child. Returns only after the child's last command has ended, too.
    static bool wasKilled(pid_t child) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        waitForGroup(child);
        EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == EXIT_SUCCESS);
        return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    }

    void expectRecovery() {
        EXPECT_EQ(others(), otherDefinitions);
        expectNextInstallationToSucceed();
        restore();
    }

    static void killMyselfAt(std::size_t wanted, std::size_t index) {
        if (index == wanted)
            std::raise(SIGKILL);
    }

    std::size_t commandCount() {
        EXPECT_TRUE(deploy());
        EXPECT_EQ(snapshot(custom), installed);
        const std::size_t count = FakeSupport::inst().commands.size();
        restore();
        return count;
    }

    // The shortest of several runs: after a run that the machine delayed, most moments would be after the end.
    Microseconds undisturbedTime() {
        Microseconds shortest = Microseconds::max();
        for (int run = 0; run < TIMED_RUNS; ++run) {
            const Clock::time_point start = Clock::now();
            EXPECT_TRUE(endsWell(startChild([this] { return deploy(); })));
            shortest = std::min(shortest, std::chrono::duration_cast<Microseconds>(Clock::now() - start));
            restore();
        }
        return shortest;
    }

    Snapshot otherDefinitions;
};

TEST_F(KilledInstallation, beforeAndAfterEachCommand) {
    const std::size_t count = commandCount();
    for (std::size_t wanted = 0; wanted < count; ++wanted) {
        SCOPED_TRACE(wanted);
        EXPECT_TRUE(wasKilled(startGroup([&] {
            FakeSupport::inst().beforeCommand = [wanted](std::size_t index) { killMyselfAt(wanted, index); };
            return deploy();
        })));
        expectRecovery();
        EXPECT_TRUE(wasKilled(startGroup([&] {
            FakeSupport::inst().afterCommand = [wanted](std::size_t index) { killMyselfAt(wanted, index); };
            return deploy();
        })));
        expectRecovery();
    }
    EXPECT_GT(count, 0U);
    std::printf("%zu kills before and after %zu commands\n", 2 * count, count);
}

class KilledAtRandom : public KilledInstallation, public ::testing::WithParamInterface<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Seeds, KilledAtRandom, ::testing::Range(SEED, SEED + KILL_SHARES));

TEST_P(KilledAtRandom, nextInstallationSucceeds) {
    const auto time = static_cast<unsigned long>(undisturbedTime().count());
    std::mt19937 random(GetParam());
    int kills = 0;
    int attempts = 0;
    for (; kills < KILLS && attempts < ATTEMPTS && !HasFailure(); ++attempts) {
        const Microseconds moment(random() % time);
        const pid_t child = startGroup([this] { return deploy(); });
        std::this_thread::sleep_for(moment);
        kill(child, SIGKILL);
        kills += wasKilled(child) ? 1 : 0;
        expectRecovery();
    }
    EXPECT_EQ(kills, KILLS);
    std::printf("%d kills in %d installations of %lu us, seed %u\n", kills, attempts, time, GetParam());
}

} // namespace
