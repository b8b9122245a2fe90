// The tool is killed at each step of an operation, and at random moments.

#include "FaultTest.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <random>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;

// The steps that determine the state of a storage are always tried: renames, and removals of an operation's marks. Of
// the steps that follow them most are tried, and all removals.
bool isTried(const Step& step, std::size_t steps, long* followed) {
    constexpr long FOLLOWING = 16;
    const long stride = chosen({1, 30, 60});
    const long strideNear = chosen({1, 3, 6});
    const bool marks =
        step.path.find(".new-generation") != std::string::npos || step.path.find("/interrupted") != std::string::npos;
    if (marks)
        *followed = step.number + FOLLOWING;
    const bool near = step.number <= *followed;
    return step.number % stride == 0 || (near && step.number % strideNear == 0) ||
           (near && step.function.find("unlink") == 0) || step.function.find("rename") == 0 || marks ||
           step.number == static_cast<long>(steps);
}

class KilledAtAStep : public FaultTest, public ::testing::WithParamInterface<Case> {};

TEST_P(KilledAtAStep, leavesOldOrNew) {
    prepare(GetParam().operation, GetParam().way);
    if (HasFatalFailure())
        return;
    const std::vector<Step> steps = stepsOfOperation();
    Phases phases;
    long followed = 0;
    for (const Step& step : steps) {
        if (!isTried(step, steps.size(), &followed))
            continue;
        SCOPED_TRACE(std::to_string(step.number) + " " + step.function + " " + step.path);
        reset();
        EXPECT_EQ(runOperation(faultAt("kill", step.number)).status, KILLED);
        expectAfterKill(&phases);
        ASSERT_FALSE(HasFailure());
    }
    reset();
    EXPECT_EQ(runOperation(faultAt("kill", static_cast<long>(steps.size()) + 1)).status, 0);
    EXPECT_TRUE(isNew());
    expectNextInstallation();
    expectPhases(phases, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Tool, KilledAtAStep, ::testing::ValuesIn(everyCase()), caseName);

constexpr int SHARES = 10;        // so that the shares can run in parallel
constexpr int KILL_ATTEMPTS = 20; // per kill
class KilledAtRandom : public FaultTest, public ::testing::WithParamInterface<int> {
protected:
    using Clock = std::chrono::steady_clock;
    using Microseconds = std::chrono::microseconds;

    // With syncs, which take most of the time.
    Variables synced() const {
        Variables variables = environment({});
        variables.erase("SCADA_TEST_NO_SYNC");
        return variables;
    }

    Microseconds undisturbedTime() const {
        Microseconds shortest = Microseconds::max();
        for (int left = 3; left > 0; --left) {
            reset();
            const Clock::time_point start = Clock::now();
            EXPECT_EQ(RunningTool(commandLine(operation.arguments), synced(), temp.path()).wait().status, 0);
            shortest = std::min(shortest, std::chrono::duration_cast<Microseconds>(Clock::now() - start));
        }
        return shortest;
    }

    // Returns whether the tool was killed before its end.
    bool killAfter(Microseconds moment) const {
        reset();
        RunningTool tool(commandLine(operation.arguments), synced(), temp.path());
        std::this_thread::sleep_for(moment);
        tool.send(SIGKILL);
        return tool.wait().status == KILLED;
    }
};

TEST_P(KilledAtRandom, leavesOldOrNew) {
    const std::vector<Case> cases = everyCase();
    const Case& row = cases.at(static_cast<std::size_t>(GetParam()) % cases.size());
    prepare(row.operation, row.way);
    if (HasFatalFailure())
        return;
    const unsigned int seed = SEED + static_cast<unsigned int>(GetParam());
    const auto time = static_cast<unsigned long>(undisturbedTime().count());
    std::mt19937 random(seed);
    Phases phases;
    const long wanted = chosen({300, 20, 10}) / SHARES;
    long kills = 0;
    for (long attempts = 0; kills < wanted && attempts < KILL_ATTEMPTS * wanted; ++attempts) {
        // The files are changed late in the run.
        const Microseconds moment(std::max(random() % time, random() % time));
        SCOPED_TRACE("killed after " + std::to_string(moment.count()) + " us");
        if (!killAfter(moment))
            continue;
        ++kills;
        expectAfterKill(&phases);
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(kills, wanted);
    for (const auto& [phase, count] : phases)
        std::printf("%s, seed %u: %s: %d\n", nameOf(row).c_str(), seed, phase.c_str(), count);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KilledAtRandom, ::testing::Range(0, SHARES));

} // namespace
