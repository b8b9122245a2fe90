// Every allocation of an operation fails in turn.

#include "FaultTest.h"

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;

// Each case takes some of the allocations, so that the cases can run in parallel.
constexpr int MEMORY_SHARES = 2;

struct Share {
    Case row;
    int number;
};

void PrintTo(const Share& share, std::ostream* out) {
    *out << nameOf(share.row) << "_" << share.number;
}

std::vector<Share> shares() {
    std::vector<Share> all;
    for (const char* name : {"overwriting_installation", "removal"}) {
        for (const Way way : {Way::EXCHANGE, Way::IN_PLACE}) {
            for (int share = 0; share < MEMORY_SHARES; ++share)
                all.push_back({{operationNamed(name), way}, share});
        }
    }
    return all;
}

class AllocationFailure : public FaultTest, public ::testing::WithParamInterface<Share> {
protected:
    void SetUp() override { prepare(GetParam().row.operation, GetParam().row.way); }

    /// Checks everything that must hold after a run without enough memory. Returns the state.
    std::string expectOldOrNew(const ToolRun& result) const {
        if (result.status == 0) {
            EXPECT_TRUE(isNew()) << result.out << result.err;
            return "new";
        }
        // The answer itself may have failed. Also, the standard library ends a process that cannot read its
        // directories.
        const std::string found = stateAfterRecovery();
        EXPECT_NE(found, "neither");
        EXPECT_NE(result.err, "");
        return found == "new" ? "new, not answered" : found;
    }
};

TEST_P(AllocationFailure, leavesOldOrNew) {
    const std::string log = temp / "log";
    Phases phases;
    const long stride = chosen({1, 397, 3001});
    for (long nth = 1 + GetParam().number * stride;; nth += MEMORY_SHARES * stride) {
        SCOPED_TRACE(nth);
        reset();
        removeTree(log);
        const ToolRun result = runOperation(faultAt("memory", nth) + Variables{{"SCADA_TEST_FAULT_LOG", log}});
        if (!std::filesystem::exists(log))
            break;
        ++phases[expectOldOrNew(result)];
        expectNextInstallation();
        ASSERT_FALSE(HasFailure()) << result.status << " " << result.out << result.err;
    }
    EXPECT_GT(phases["old"], 0);
    for (const auto& [phase, count] : phases)
        std::printf("%s: %s: %d\n", nameOf(GetParam().row).c_str(), phase.c_str(), count);
}

INSTANTIATE_TEST_SUITE_P(Tool, AllocationFailure, ::testing::ValuesIn(shares()),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });

} // namespace
