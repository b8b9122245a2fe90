// Nothing can be written from some step on, or a single step fails.

#include "FaultTest.h"
#include "NamedRow.h"
#include "mount_privately.h"

#include <sys/mount.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

struct Lack : NamedRow {
    const char* fault;
    std::vector<const char*> reasons; ///< one of them is named
    bool (*matters)(const Step& step);
    Extent stride; ///< every n-th step is tried
    Case row;
};

std::vector<Lack> everyLack() {
    // A quota differs from a full disk only in the reason.
    const std::vector<Lack> kinds = {
        {"full", "full", {"No space left on device"}, [](const Step& step) { return step.takesSpace; }, {1, 5, 40}, {}},
        {"no_inodes",
         "no-inodes",
         {"No space left on device"},
         [](const Step& step) { return step.takesInode; },
         {1, 3, 40},
         {}},
        {"quota", "quota", {"Disk quota exceeded"}, [](const Step& step) { return step.takesSpace; }, {1, 16, 200}, {}},
        {"error", "error", {"Input/output error"}, [](const Step& step) { return step.number > 0; }, {1, 6, 40}, {}},
    };
    std::vector<Lack> rows;
    for (const Lack& kind : kinds) {
        for (const Case& row : everyCase())
            rows.push_back({kind.name, kind.fault, kind.reasons, kind.matters, kind.stride, row});
    }
    return rows;
}

// Returns whether one of the words is in the text.
bool hasOneOf(const std::vector<const char*>& words, const std::string& text) {
    return std::any_of(words.begin(), words.end(),
                       [&text](const char* word) { return text.find(word) != std::string::npos; });
}

class Lacking : public FaultTest, public ::testing::WithParamInterface<Lack> {
protected:
    void SetUp() override { prepare(GetParam().row.operation, GetParam().row.way); }

    std::vector<Step> stepsThatMatter() const {
        std::vector<Step> steps;
        for (const Step& step : stepsOfOperation(below())) {
            if (GetParam().matters(step))
                steps.push_back(step);
        }
        return steps;
    }
    Variables below() const { return {{"SCADA_TEST_FAULT_DIR", place + "/"}}; }
    // The library reports which operation failed, but not why, and the tool cannot change its texts. The library
    // silently skips a staged copy that does not read back, so the tool cannot know more.
    static bool isLibrarysOwn(const std::string& text) {
        static const std::vector<const char*> own = {" while importing ", "Invalid syntax of the sensor definition [",
                                                     "scada-sensors: some definitions could not be installed\n"};
        return hasOneOf(own, text);
    }
    static bool namesReason(const ToolRun& result) { return hasOneOf(GetParam().reasons, result.err); }
};

TEST_P(Lacking, leavesOldOrNew) {
    const std::vector<Step> steps = stepsThatMatter();
    Phases phases;
    for (std::size_t at = 0; at < steps.size(); at += static_cast<std::size_t>(chosen(GetParam().stride))) {
        const Step& step = steps[at];
        SCOPED_TRACE(std::to_string(step.number) + " " + step.function + " " + step.path);
        reset();
        const ToolRun result = runOperation(below() + faultAt(GetParam().fault, step.number));
        if (result.status == 0) {
            ++phases["new"];
            EXPECT_TRUE(isNew()) << result.out << result.err;
        } else {
            ++phases[expectNothingTorn(result)];
            phases["without a reason, as the library gives none"] += namesReason(result) ? 0 : 1;
            EXPECT_TRUE(namesReason(result) || isLibrarysOwn(result.out + result.err)) << result.out << result.err;
        }
        expectNextInstallation();
        ASSERT_FALSE(HasFailure()) << result.status << " " << result.out << result.err;
    }
    EXPECT_GT(phases["old"], 0);
    for (const auto& [phase, count] : phases)
        std::printf("%s, %s: %s: %d\n", GetParam().name.c_str(), nameOf(GetParam().row).c_str(), phase.c_str(), count);
}

INSTANTIATE_TEST_SUITE_P(Tool, Lacking, ::testing::ValuesIn(everyLack()),
                         [](const auto& row) { return row.param.name + ("_" + nameOf(row.param.row)); });

// --- a full file system

constexpr std::uint64_t PAGE = 4096;
constexpr std::uint64_t SIZES = 30;
constexpr const char* LARGE = "size=4m,nr_inodes=1k";

enum class Limit { SPACE, INODES };

struct SmallDisk {
    Limit limit;
    Case row;
};

void PrintTo(const SmallDisk& disk, std::ostream* out) {
    *out << (disk.limit == Limit::SPACE ? "space_" : "inodes_") << nameOf(disk.row);
}

std::vector<SmallDisk> smallDisks() {
    std::vector<SmallDisk> disks;
    for (const Case& row : everyCase()) {
        disks.push_back({Limit::SPACE, row});
        disks.push_back({Limit::INODES, row});
    }
    return disks;
}

class FullDisk : public FaultTest, public ::testing::WithParamInterface<SmallDisk> {
protected:
    void SetUp() override {
        ASSERT_TRUE(mountPrivately(place, LARGE));
        prepare(GetParam().row.operation, GetParam().row.way);
    }
    void TearDown() override { umount(place.c_str()); }

    void enlarge() const { ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", MS_REMOUNT, LARGE), 0); }

    /// Leaves so many free pages, or so many pairs of inodes.
    void leave(std::uint64_t count) const {
        struct statvfs status {};
        ASSERT_EQ(statvfs(place.c_str(), &status), 0);
        // A size of 0 would mean no limit.
        const std::uint64_t used = (status.f_blocks - status.f_bfree) * status.f_frsize / PAGE;
        const std::uint64_t pages = std::max(used + count, std::uint64_t{1});
        const std::uint64_t inodes = status.f_files - status.f_ffree + 2 * count;
        const std::string options = GetParam().limit == Limit::SPACE ? "size=" + std::to_string(pages * PAGE)
                                                                     : "nr_inodes=" + std::to_string(inodes);
        ASSERT_EQ(mount("tmpfs", place.c_str(), "tmpfs", MS_REMOUNT, options.c_str()), 0);
    }

    // The library does not report the reason of a failed write, and the check before it counts inodes less exactly than
    // bytes.
    static bool namesReason(const ToolRun& result) {
        const std::string said = result.out + result.err;
        return said.find("No space left on device") != std::string::npos ||
               said.find("[install/no-space]") != std::string::npos ||
               (GetParam().limit == Limit::INODES && said.find(" while importing ") != std::string::npos);
    }
};

// The smallest file systems leave no space, the largest ones have enough for everything.
TEST_P(FullDisk, leavesOldOrNew) {
    Phases phases;
    for (std::uint64_t count = 0; count < SIZES; count += static_cast<std::uint64_t>(chosen({1, 5, 9}))) {
        SCOPED_TRACE(count);
        reset();
        leave(count);
        const ToolRun result = runOperation();
        if (result.status == 0) {
            ++phases["new"];
            EXPECT_TRUE(isNew()) << result.out << result.err;
        } else {
            EXPECT_TRUE(namesReason(result)) << result.out << result.err;
            enlarge();
            ++phases[expectNothingTorn(result)];
        }
        enlarge();
        expectNextInstallation();
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(phases["old"], 0);
    EXPECT_GT(phases["new"], 0);
    for (const auto& [phase, count] : phases)
        std::printf("%s: %s: %d\n", nameOf(GetParam().row).c_str(), phase.c_str(), count);
}

INSTANTIATE_TEST_SUITE_P(Tool, FullDisk, ::testing::ValuesIn(whereMountable(smallDisks())),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FullDisk);

} // namespace
