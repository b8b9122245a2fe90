// A recovery that is itself killed or interrupted by a power cut is repaired by the next one. A killed export leaves no
// partial archive.

#include "ReplayTest.h"
#include "files.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

struct RecoveryRow {
    Case row;
    bool forward;
};

void PrintTo(const RecoveryRow& row, std::ostream* out) {
    *out << nameOf(row.row) << (row.forward ? "_forward" : "");
}

std::vector<RecoveryRow> recoveries() {
    std::vector<RecoveryRow> rows;
    for (const Case& row : everyCase()) {
        rows.push_back({row, false});
        if (row.way == Way::IN_PLACE)
            rows.push_back({row, true});
    }
    return rows;
}

std::vector<std::string> recover(bool forward) {
    return forward ? std::vector<std::string>{"recover", "--forward"} : std::vector<std::string>{"recover"};
}

class Recovery : public ReplayTest, public ::testing::WithParamInterface<RecoveryRow> {
protected:
    void SetUp() override {
        prepare(GetParam().row.operation, GetParam().row.way);
        if (HasFatalFailure())
            return;
        interrupt();
        ASSERT_TRUE(isHalfDone());
        beginHere();
        operation.arguments = recover(GetParam().forward);
    }

    bool endsNew() const { return way == Way::EXCHANGE || GetParam().forward; }

    /// Lets the tool recover once more, and expects the resulting state.
    void expectMendedBy(bool forward, Phases* phases) const {
        const bool toBeNew = isInterrupted() ? forward : endsNew();
        const std::string met = isInterrupted() ? "interrupted" : isMarked() ? "marked" : toBeNew ? "new" : "old";
        ++(*phases)[met + (forward ? ", recovered forward" : ", recovered")];
        const ToolRun second = run(recover(forward));
        EXPECT_EQ(second.status, 0) << second.out << second.err;
        EXPECT_FALSE(isInterrupted());
        EXPECT_TRUE(toBeNew ? isNew() : isOld()) << second.out;
        expectNextInstallation();
    }

    static void print(const char* fault, const Phases& phases) {
        for (const auto& [phase, count] : phases)
            std::printf("%s, %s: %s: %d\n", fault, ::testing::PrintToString(GetParam()).c_str(), phase.c_str(), count);
    }

private:
    // Starts with the first step after which anything can be half done.
    void interrupt() const {
        bool hasBegun = false;
        for (const Step& step : stepsOfOperation()) {
            hasBegun = hasBegun || step.function == "renameat2" ||
                       (step.function == "rename" && step.path == place + "/custom.generations/interrupted");
            if (!hasBegun)
                continue;
            reset();
            runOperation(faultAt("kill", step.number));
            if (isHalfDone())
                return;
        }
    }
    bool isHalfDone() const { return way == Way::EXCHANGE ? isMarked() : isInterrupted() && !isOld() && !isNew(); }
};

TEST_P(Recovery, isMadeGoodWhenItWasKilledAtAStep) {
    const long steps = static_cast<long>(stepsOfOperation().size());
    EXPECT_TRUE(endsNew() ? isNew() : isOld());
    Phases phases;
    for (long step = 1; step <= steps; step += chosen({1, 74, 180})) {
        for (const bool forward : {false, true}) {
            SCOPED_TRACE(std::to_string(step) + (forward ? ", then forward" : ", then back"));
            reset();
            EXPECT_EQ(runOperation(faultAt("kill", step)).status, KILLED);
            expectMendedBy(forward, &phases);
            ASSERT_FALSE(HasFailure());
        }
    }
    print("recovery killed", phases);
}

TEST_P(Recovery, isMadeGoodWhenThePowerWasCut) {
    reset();
    const std::vector<Change> changes = traceOf(operation.arguments);
    ModelOfDisk model(temp / "prototype");
    Phases phases;
    for (std::size_t point = 0; point <= changes.size(); ++point) {
        if (point % static_cast<std::size_t>(chosen({1, 74, 180})) == 0 || point == changes.size()) {
            SCOPED_TRACE("cut " + std::to_string(point));
            model.layAfterCut(place, Unsynced::LOST);
            if (point == changes.size()) {
                EXPECT_FALSE(isInterrupted() || isMarked());
            }
            expectMendedBy(point % 2 == 0, &phases);
            ASSERT_FALSE(HasFailure());
        }
        if (point < changes.size())
            model.apply(changes[point]);
    }
    print("recovery cut", phases);
}

INSTANTIATE_TEST_SUITE_P(Tool, Recovery, ::testing::ValuesIn(recoveries()),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });

class KilledExport : public FaultTest, public ::testing::WithParamInterface<bool> {
protected:
    std::string archive() const {
        return std::filesystem::exists(temp / "archives/all.tar.gz") ? readFile(temp / "archives/all.tar.gz") : "";
    }
    /// Puts an older archive there, or none.
    void resetArchive() const {
        removeTree(temp / "archives");
        makeDir(temp / "archives");
        if (GetParam())
            writeFile(temp / "archives/all.tar.gz", "former");
    }
    const std::vector<std::string> arguments{"export", "$T/archives/all.tar.gz"};
};

TEST_P(KilledExport, leavesNoHalfArchive) {
    prepare(operationNamed("removal"), Way::EXCHANGE);
    resetArchive();
    const std::string former = archive();
    const long steps = static_cast<long>(stepsOf(arguments).size());
    const std::string whole = archive();
    ASSERT_NE(whole, former);
    ASSERT_GT(steps, 2);
    for (long step = 1; step <= steps; ++step) {
        SCOPED_TRACE(step);
        resetArchive();
        EXPECT_EQ(run(arguments, faultAt("kill", step)).status, KILLED);
        EXPECT_EQ(archive(), former);
        EXPECT_TRUE(isOld());
        EXPECT_EQ(run(arguments).status, 0);
        EXPECT_TRUE(archive() == whole);
        ASSERT_FALSE(HasFailure());
    }
    std::printf("export killed at %ld steps: no half archive\n", steps);
}

INSTANTIATE_TEST_SUITE_P(Tool, KilledExport, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "over_a_former_archive" : "first_archive"; });

} // namespace
