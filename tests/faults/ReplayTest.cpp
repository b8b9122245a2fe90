#include "ReplayTest.h"

#include "files.h"

#include <algorithm>
#include <cstdio>

namespace Kelvra::SCADA::Test {

std::vector<Change> ReplayTest::traceOf(const std::vector<std::string>& arguments) const {
    const std::string file = temp / "trace";
    removeTree(file);
    const ToolRun result = run(arguments, {{"SCADA_TEST_TRACE", file}, {"SCADA_TEST_FAULT_DIR", place + "/"}});
    EXPECT_EQ(result.status, 0) << result.err;
    return readTrace(file, place);
}

// A change that fault_provider.cpp does not intercept would be missing.
void ReplayTest::expectComplete(const std::vector<Change>& changes) const {
    ModelOfDisk model(temp / "prototype");
    for (const Change& change : changes)
        model.apply(change);
    makeDir(temp / "replayed");
    model.layAfterCut(temp / "replayed", Unsynced::KEPT);
    EXPECT_EQ(stateOf(temp / "replayed"), stateOf(place));
    removeTree(temp / "replayed");
}

// Cuts before each change, and after the last one.
void ReplayTest::cutEverywhere(const std::vector<Change>& changes, Unsynced unsynced, Phases* phases) const {
    const auto stride = static_cast<std::size_t>(chosen({1, 16, 60}));
    ModelOfDisk model(temp / "prototype");
    for (std::size_t point = 0; point <= changes.size() && !HasFailure(); ++point) {
        const bool isLast = point == changes.size();
        SCOPED_TRACE("cut " + std::to_string(point) +
                     (isLast ? " at the end" : " before " + changes[point].kind + " " + changes[point].path));
        if (isLast || point % stride == 0 || changes[point].kind == "exchange") {
            model.layAfterCut(place, unsynced);
            ++(*phases)[expectAfterCut(isLast || (point > 0 && changes[point - 1].hasSaid))];
            ++(*phases)["cuts"];
        }
        if (!isLast)
            model.apply(changes[point]);
    }
}

void ReplayTest::expectWholeAfterEachCut() const {
    reset();
    const std::vector<Change> changes = traceOf(operation.arguments);
    expectComplete(changes);
    Phases phases;
    std::vector<Unsynced> ways{Unsynced::LOST, Unsynced::KEPT, Unsynced::HALF, Unsynced::ZEROED};
    ways.resize(static_cast<std::size_t>(chosen({4, 2, 1})));
    for (const Unsynced unsynced : ways)
        cutEverywhere(changes, unsynced, &phases);
    EXPECT_GT(phases["old"], 0);
    EXPECT_GE(phases["new"] + phases["new when recovered"], static_cast<int>(ways.size()));
    for (const auto& [phase, count] : phases)
        std::printf("replayed, %s: %s: %d\n", nameOf({operation, way}).c_str(), phase.c_str(), count);
}

} // namespace Kelvra::SCADA::Test
