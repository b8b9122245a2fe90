// Power cuts. The tool's changes of files are recorded with their data, and replayed up to each point on a model of a
// disk that loses all data that has not been synced.

#include "ReplayTest.h"

#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

class ReplayedCut : public ReplayTest, public ::testing::WithParamInterface<Case> {
protected:
    void SetUp() override { prepare(GetParam().operation, GetParam().way); }
};

TEST_P(ReplayedCut, leavesOldOrNew) {
    expectWholeAfterEachCut();
}

INSTANTIATE_TEST_SUITE_P(Tool, ReplayedCut, ::testing::ValuesIn(everyCase()), caseName);

// Otherwise the cases above would prove nothing.
class WithoutSyncs : public ReplayTest, public ::testing::WithParamInterface<Way> {};

TEST_P(WithoutSyncs, theModelLosesTheData) {
    prepare(operationNamed("overwriting_installation"), GetParam());
    ModelOfDisk model(temp / "prototype");
    int syncs = 0;
    for (const Change& change : traceOf(operation.arguments)) {
        if (change.kind.find("sync") == 0)
            ++syncs;
        else
            model.apply(change);
    }
    EXPECT_GT(syncs, 0);
    model.layAfterCut(place, Unsynced::LOST);
    EXPECT_FALSE(isOld());
    EXPECT_FALSE(isNew());
    model.layAfterCut(place, Unsynced::KEPT);
    EXPECT_TRUE(isNew());
}

INSTANTIATE_TEST_SUITE_P(Tool, WithoutSyncs, ::testing::Values(Way::EXCHANGE, Way::IN_PLACE),
                         [](const auto& row) { return row.param == Way::EXCHANGE ? "by_exchange" : "in_place"; });

} // namespace
