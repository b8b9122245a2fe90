// Every allocation of an installation fails in turn.

#include "FailingNew.h"
#include "InstallationTest.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <new>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;

using Kelvra::SCADA::DefinitionsDeployment;

enum class Outcome { INSTALLED, THREW, HID_THE_FAILURE };

constexpr int SHARES = 8;

// Each case takes every eighth allocation, so that the cases can run side by side.
class AllocationFailure : public InstallationTest, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override {
        InstallationTest::SetUp();
        removeTree(source);
        addDefinition(source, ACME_NEW);
        makeDir(staging);
        installed = before;
        addInstalled(&installed, ACME_NEW);
        otherDefinitions = others();
        expectInstallation();
    }

    void expectInstallation() {
        FakeSupport::inst().commands.clear();
        EXPECT_TRUE(DefinitionsDeployment().deploy(source, true, &error));
        EXPECT_EQ(snapshot(custom), installed);
        FakeSupport::inst().commands.clear();
    }

    void removeInstalled() const {
        removeTree(custom + "/lora/acme/new.json");
        removeTree(custom + "/lora/acme/new-decoder");
    }

    Outcome installWithoutAllocation(long nth) {
        const AllocationFault fault(nth);
        try {
            DefinitionsDeployment().deploy(source, true, &error);
        } catch (const std::bad_alloc&) {
            return Outcome::THREW;
        }
        return fault.hit() ? Outcome::HID_THE_FAILURE : Outcome::INSTALLED;
    }

    Snapshot otherDefinitions;
};
INSTANTIATE_TEST_SUITE_P(Shares, AllocationFailure, ::testing::Range(0, SHARES));

TEST_P(AllocationFailure, comesOutAndLeaksNothing) {
    long failures = 0;
    for (long nth = 1 + GetParam();; nth += SHARES) {
        SCOPED_TRACE(nth);
        removeInstalled();
        error.clear();
        const long balance = liveAllocations();
        const Outcome outcome = installWithoutAllocation(nth);
        FakeSupport::inst().commands.clear();
        if (outcome == Outcome::INSTALLED)
            break;
        ASSERT_EQ(outcome, Outcome::THREW);
        EXPECT_EQ(liveAllocations(), balance);
        EXPECT_EQ(snapshot(staging), Snapshot());
        EXPECT_EQ(others(), otherDefinitions);
        expectInstallation();
        ASSERT_FALSE(HasFailure());
        ++failures;
    }
    EXPECT_GT(failures, 0);
    std::printf("%ld failing allocations\n", failures);
}

} // namespace
