// Whoever installs the same definition again accepts the default one that it hides now. The tool is killed, or the
// power is cut, while it renews its memory of that default.

#include "NamedRow.h"
#include "ReplayTest.h"
#include "StorageBuilder.h"
#include "device/HiddenDefaults.h"
#include "files.h"
#include "json_text.h"
#include "row_name.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
namespace Tool = Kelvra::SCADA::Tool;

constexpr const char* NAME = "lora/demo/old";

/// A change of the default definition between two installations of the same custom one.
struct Renewed : NamedRow {
    const char* told; ///< what the list says of it until the second installation has accepted it
    bool wasThere;    ///< whether there was a default definition at the first installation
    bool isThere;     ///< and at the second one
};

class Renewal : public ReplayTest, public ::testing::WithParamInterface<Renewed> {
protected:
    void SetUp() override {
        prepare(operationNamed("overwriting_installation"), Way::EXCHANGE);
        if (HasFatalFailure())
            return;
        if (!GetParam().wasThere)
            removeDefault();
        ASSERT_EQ(runOperation().status, 0);
        removeDefault();
        if (GetParam().isThere)
            bringDefault();
        ASSERT_EQ(told(), GetParam().told);
        former = kept();
        beginHere();
        ASSERT_EQ(runOperation().status, 0);
        renewed = kept();
        ASSERT_EQ(told(), "");
        ASSERT_EQ(former.empty(), !GetParam().wasThere);
        ASSERT_EQ(renewed.empty(), !GetParam().isThere);
        ASSERT_NE(former, renewed);
    }

    void removeDefault() const { removeTree(place + "/default/lora"); }
    void bringDefault() const { addDefinition(place + "/default", NAME, "Firmware", "// decodes Firmware\n"); }

    // Returns the word for what has become of the default definition; empty if nothing is told.
    std::string told() const {
        const ToolRun list = run({"list", "--json"});
        EXPECT_EQ(list.status, 0) << list.err;
        const Json::Value answer = parsed(list.out);
        for (const Json::Value& row : answer["result"]) {
            if (row["name"] == NAME)
                return row["hidden_state"].isNull() ? "" : row["hidden_state"].asString();
        }
        return "not listed";
    }

    State kept() const {
        const Tool::InstalledFiles installed = Tool::installedFiles(place + "/custom", NAME);
        return stateOf(place + "/custom.generations/hidden/" + Tool::hiddenEntry(NAME, installed));
    }

    // Returns the memory found in words. Half of a default definition is never in force, and nothing is told that was
    // not true before.
    std::string expectOldOrNew() const {
        EXPECT_TRUE(isNew());
        const State found = kept();
        const std::string word = told();
        EXPECT_TRUE(word.empty() || word == GetParam().told) << word;
        EXPECT_TRUE(found.empty() || found == former || found == renewed) << ::testing::PrintToString(found);
        return word.empty() ? "new" : "old";
    }

    // The second installation, repeated, comes to its end, and the memory lasts.
    void expectAcceptedAtLast() const {
        EXPECT_EQ(runOperation().status, 0);
        EXPECT_EQ(told(), "");
        EXPECT_EQ(kept(), renewed);
        expectNextInstallation();
        EXPECT_EQ(told(), "");
        removeDefault();
        if (!GetParam().isThere)
            bringDefault();
        EXPECT_EQ(told(), GetParam().isThere ? "gone" : "new");
    }

    static void print(const char* fault, const Phases& phases) {
        for (const auto& [phase, count] : phases)
            std::printf("%s, %s: %s: %d\n", fault, GetParam().name.c_str(), phase.c_str(), count);
    }

    State former;  ///< the files of the default definition that is kept at first
    State renewed; ///< and in the end
};

TEST_P(Renewal, isOldOrNewWhenItWasKilledAtAStep) {
    const Variables here{{"SCADA_TEST_FAULT_DIR", place + "/"}};
    const auto steps = static_cast<long>(stepsOfOperation(here).size());
    Phases phases;
    for (long step = 1; step <= steps; step += chosen({1, 3, 4})) {
        SCOPED_TRACE(step);
        reset();
        EXPECT_EQ(runOperation(faultAt("kill", step) + here).status, KILLED);
        ++phases[expectOldOrNew()];
        expectAcceptedAtLast();
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_EQ(phases.count("old"), 1U);
    EXPECT_EQ(phases.count("new"), 1U);
    print("killed", phases);
}

TEST_P(Renewal, isOldOrNewAfterAPowerCut) {
    reset();
    const std::vector<Change> changes = traceOf(operation.arguments);
    Phases phases;
    std::vector<Unsynced> ways{Unsynced::LOST, Unsynced::KEPT, Unsynced::HALF, Unsynced::ZEROED};
    ways.resize(static_cast<std::size_t>(chosen({4, 2, 1})));
    for (const Unsynced unsynced : ways) {
        ModelOfDisk model(temp / "prototype");
        for (std::size_t point = 0; point <= changes.size(); ++point) {
            const bool isLast = point == changes.size();
            SCOPED_TRACE("cut " + std::to_string(point) +
                         (isLast ? " at the end" : " before " + changes[point].kind + " " + changes[point].path));
            model.layAfterCut(place, unsynced);
            const std::string found = expectOldOrNew();
            ++phases[found];
            if (isLast) {
                EXPECT_EQ(kept(), renewed);
                EXPECT_EQ(found, "new");
            }
            expectAcceptedAtLast();
            ASSERT_FALSE(HasFailure());
            if (!isLast)
                model.apply(changes[point]);
        }
    }
    EXPECT_EQ(phases.count("old"), 1U);
    print("cut off", phases);
}

INSTANTIATE_TEST_SUITE_P(Tool, Renewal,
                         ::testing::Values(Renewed{"changed_default", "changed", true, true},
                                           Renewed{"default_that_is_gone", "gone", true, false},
                                           Renewed{"new_default", "new", false, true}),
                         rowName);

} // namespace
