// An installation, its dry run and the check of its source must come to the same verdict on a source.

#include "PreflightTest.h"
#include "json_text.h"
#include "row_name.h"

namespace {

using namespace Kelvra::SCADA::Test;

class RefusedSource : public PreflightTest, public ::testing::WithParamInterface<Plant> {};

TEST_P(RefusedSource, isRefusedByAllThreeAlike) {
    GetParam().plant(temp.path());
    const auto before = directories();
    const ToolRun installation = runOnSource("install", GetParam(), {"--json"});
    const ToolRun dryRun = runOnSource("install", GetParam(), {"--dry-run", "--json"});
    const ToolRun check = runOnSource("check", GetParam(), {"--json"});
    EXPECT_EQ(directories(), before);
    EXPECT_EQ(installation.status, 5);
    EXPECT_EQ(dryRun.status, 5);
    EXPECT_EQ(check.status, 1);
    const Json::Value findings = parsed(installation.out)["result"]["findings"];
    EXPECT_EQ(rulesOf(findings), GetParam().rules);
    EXPECT_EQ(parsed(dryRun.out)["result"]["findings"], findings);
    EXPECT_EQ(parsed(check.out)["result"]["findings"], findings);
    EXPECT_EQ(parsed(dryRun.out)["error"], parsed(installation.out)["error"]);
    EXPECT_EQ(installation.err + dryRun.err + check.err, "");
}

TEST_P(RefusedSource, isRefusedInTheSameLines) {
    GetParam().plant(temp.path());
    const auto before = directories();
    const ToolRun installation = runOnSource("install", GetParam());
    const ToolRun dryRun = runOnSource("install", GetParam(), {"--dry-run"});
    const ToolRun check = runOnSource("check", GetParam());
    EXPECT_EQ(directories(), before);
    EXPECT_FALSE(installation.out.empty());
    EXPECT_EQ(dryRun.out.substr(0, installation.out.size()), installation.out);
    EXPECT_EQ(check.out.substr(0, installation.out.size()), installation.out);
    EXPECT_EQ(dryRun.err, installation.err);
    EXPECT_EQ(check.err, "");
}

INSTANTIATE_TEST_SUITE_P(Tool, RefusedSource, ::testing::ValuesIn(refusals()), rowName);
INSTANTIATE_TEST_SUITE_P(Unprintable, RefusedSource, ::testing::ValuesIn(refusalsOfUnprintableNames()), rowName);

class AcceptedSource : public PreflightTest {
protected:
    void expectInstalled(const Plant& row, int statusOfCheck) const {
        row.plant(temp.path());
        const auto before = directories();
        const ToolRun dryRun = runOnSource("install", row, {"--dry-run", "--json"});
        const ToolRun check = runOnSource("check", row, {"--json"});
        EXPECT_EQ(directories(), before);
        const Json::Value findings = parsed(dryRun.out)["result"]["findings"];
        EXPECT_EQ(rulesOf(findings), row.rules);
        EXPECT_EQ(parsed(check.out)["result"]["findings"], findings);
        EXPECT_EQ(dryRun.status, 0);
        EXPECT_EQ(check.status, statusOfCheck);
        const ToolRun installation = runOnSource("install", row, {"--json"});
        EXPECT_EQ(installation.status, 0);
        EXPECT_EQ(parsed(installation.out)["result"]["findings"], findings);
        EXPECT_EQ(parsed(installation.out)["result"]["installed"], parsed(R"(["lora/demo/th1"])"));
        EXPECT_EQ(installation.err, "");
        EXPECT_EQ(treeOf(temp / "custom/lora/demo"), (std::set<std::string>{"th1-decoder", "th1.json"}));
    }
};

class SourceWithWarning : public AcceptedSource, public ::testing::WithParamInterface<Plant> {};

TEST_P(SourceWithWarning, isInstalledAndFailsTheCheck) {
    expectInstalled(GetParam(), 1);
}

INSTANTIATE_TEST_SUITE_P(Tool, SourceWithWarning, ::testing::ValuesIn(warnings()), rowName);

class SourceWithNote : public AcceptedSource, public ::testing::WithParamInterface<Plant> {};

TEST_P(SourceWithNote, isInstalledAndPassesTheCheck) {
    expectInstalled(GetParam(), 0);
}

INSTANTIATE_TEST_SUITE_P(Tool, SourceWithNote, ::testing::ValuesIn(notes()), rowName);

TEST_F(AcceptedSource, isOneWhereOverwritingIsAllowed) {
    const Plant row{"", nullptr, {}, {"--allow-overwrite"}};
    addDefinition(custom, "lora/demo/th1", "Cellar");
    EXPECT_EQ(runOnSource("check", row).out, "0 faults in 1 definition\n");
    EXPECT_EQ(runOnSource("install", row, {"--dry-run"}).status, 0);
    EXPECT_EQ(runOnSource("install", row).out, "installed lora/demo/th1\n");
}

} // namespace
