// The installing process is killed, and the next installation makes up for it.

#include "InstallationTest.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <random>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::microseconds;

constexpr unsigned int SEED = 20240229;
constexpr int KILLS = 100;
constexpr int ATTEMPTS = 20 * KILLS;

class KilledInstallation : public InstallationTest {
protected:
    void SetUp() override {
        InstallationTest::SetUp();
        // Commands outlive the process that ran them: they are waited for here before the next installation starts.
        ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
        otherDefinitions = others();
    }

    void TearDown() override {
        prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
        InstallationTest::TearDown();
    }

    // Returns whether a signal ended the child, and leaves no process behind.
    static bool wasKilled(pid_t child) {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR)
            continue;
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

    Microseconds undisturbedTime() {
        const Clock::time_point start = Clock::now();
        EXPECT_TRUE(endsWell(startChild([this] { return deploy(); })));
        const auto time = std::chrono::duration_cast<Microseconds>(Clock::now() - start);
        restore();
        return time;
    }

    Snapshot otherDefinitions;
};

TEST_F(KilledInstallation, beforeAndAfterEachCommand) {
    const std::size_t count = commandCount();
    for (std::size_t wanted = 0; wanted < count; ++wanted) {
        SCOPED_TRACE(wanted);
        EXPECT_TRUE(wasKilled(startChild([&] {
            FakeSupport::inst().beforeCommand = [wanted](std::size_t index) { killMyselfAt(wanted, index); };
            return deploy();
        })));
        expectRecovery();
        EXPECT_TRUE(wasKilled(startChild([&] {
            FakeSupport::inst().afterCommand = [wanted](std::size_t index) { killMyselfAt(wanted, index); };
            return deploy();
        })));
        expectRecovery();
    }
    EXPECT_GT(count, 0U);
    std::printf("%zu kills before and after %zu commands\n", 2 * count, count);
}

TEST_F(KilledInstallation, atRandomMoments) {
    const auto time = static_cast<unsigned long>(undisturbedTime().count());
    std::mt19937 random(SEED);
    int kills = 0;
    int attempts = 0;
    for (; kills < KILLS && attempts < ATTEMPTS && !HasFailure(); ++attempts) {
        const Microseconds moment(random() % time);
        const pid_t child = startChild([this] { return deploy(); });
        std::this_thread::sleep_for(moment);
        kill(child, SIGKILL);
        kills += wasKilled(child) ? 1 : 0;
        expectRecovery();
    }
    EXPECT_EQ(kills, KILLS);
    std::printf("%d kills in %d installations of %lu us, seed %u\n", kills, attempts, time, SEED);
}

} // namespace
