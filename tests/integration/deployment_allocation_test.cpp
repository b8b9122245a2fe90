// Every allocation of an installation fails in turn.

#include "AllocationFault.h"
#include "InstallationTest.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdio>
#include <new>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;

using Kelvra::SCADA::DefinitionsDeployment;

enum class Result { INSTALLED, THREW, HID_THE_FAILURE, SYSTEM_FAILED };

constexpr int ALLOCATION_SHARES = 8;

// Each case takes every eighth allocation, so that the cases can run in parallel.
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

    Result installWithoutAllocation(long nth) {
        std::string text;
        const AllocationFault fault(nth);
        try {
            DefinitionsDeployment().deploy(source, true, &text);
        } catch (const std::bad_alloc&) {
            return Result::THREW;
        } catch (const Json::Exception&) { // the JSON library's own exception for its texts
            return Result::THREW;
        }
        if (!fault.hit())
            return Result::INSTALLED;
        return fault.inSystem() ? Result::SYSTEM_FAILED : Result::HID_THE_FAILURE;
    }

    Snapshot otherDefinitions;
};
INSTANTIATE_TEST_SUITE_P(Shares, AllocationFailure, ::testing::Range(0, ALLOCATION_SHARES));

TEST_P(AllocationFailure, comesOutAndLeaksNothing) {
    long failures = 0;
    for (long nth = 1 + GetParam();; nth += ALLOCATION_SHARES) {
        SCOPED_TRACE(nth);
        removeInstalled();
        const long balance = liveAllocations();
        const Result outcome = installWithoutAllocation(nth);
        FakeSupport::inst().commands.clear();
        if (outcome == Result::INSTALLED)
            break;
        ASSERT_NE(outcome, Result::HID_THE_FAILURE);
        EXPECT_EQ(liveAllocations(), balance);
        if (outcome == Result::THREW) { // otherwise the start of the emptying may have failed
            EXPECT_EQ(snapshot(staging), Snapshot());
        }
        EXPECT_EQ(others(), otherDefinitions);
        expectInstallation();
        ASSERT_FALSE(HasFailure());
        ++failures;
    }
    EXPECT_GT(failures, 0);
    std::printf("%ld failing allocations\n", failures);
}

} // namespace
