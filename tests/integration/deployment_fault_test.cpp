// Every command of an installation fails in turn.

#include "InstallationTest.h"
#include "NamedRow.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

using Command = FakeSupport::Command;
using Fault = FakeSupport::Fault;

enum class Decoder { WHOLE, HALF, OLDER, MISSING };
enum class Staging { ABSENT, EMPTY, FILLED };

struct Installed {
    const char* name;
    Decoder decoder;
};

using InstalledList = std::vector<Installed>;

const InstalledList ALL{{ACME_NEW, Decoder::WHOLE}, {ACME_OLD, Decoder::WHOLE}, {ZETA_NEW, Decoder::WHOLE}};

// One command in the order of an installation, and the result if it does nothing.
struct Step {
    const char* name;
    const char* program;
    std::vector<std::string> arguments; // SOURCE, STAGING and CUSTOM at the start mean the directories
    const char* text;                   // UNTOUCHED if the installation succeeds nevertheless
    InstalledList installed;
    Staging staging;
};

constexpr const char* NO_STAGING = "Failed to cleanup the staging directory.";
constexpr const char* NO_ACME = "Failed to create a directory while importing [lora/acme/new] definition.";
constexpr const char* NO_ZETA = "Failed to create a directory while importing [lora/zeta/new] definition.";
constexpr const char* NO_COPY_1 = "File copying error while importing decoder for the [lora/acme/new] definition.";
constexpr const char* NO_COPY_2 = "File copying error while importing decoder for the [lora/acme/old] definition.";
constexpr const char* NO_COPY_3 = "File copying error while importing decoder for the [lora/zeta/new] definition.";

const std::vector<Step> STEPS{
    {"make_staging", "mkdir", {"-p", "STAGING"}, NO_STAGING, {}, Staging::ABSENT},
    {"empty_staging_first", "sh -c", {"rm -rf STAGING/*"}, UNTOUCHED, ALL, Staging::EMPTY},
    {"stage_directory", "mkdir", {"-p", "STAGING/lora/acme"}, NO_ACME, {}, Staging::EMPTY},
    {"stage_first",
     "cp",
     {"-f", "SOURCE/lora/acme/new.js", "STAGING/lora/acme/new-decoder"},
     NO_COPY_1,
     {},
     Staging::EMPTY},
    {"stage_second",
     "cp",
     {"-f", "SOURCE/lora/acme/old.js", "STAGING/lora/acme/old-decoder"},
     NO_COPY_2,
     {},
     Staging::EMPTY},
    {"stage_other_directory", "mkdir", {"-p", "STAGING/lora/zeta"}, NO_ZETA, {}, Staging::EMPTY},
    {"stage_third",
     "cp",
     {"-f", "SOURCE/lora/zeta/new.js", "STAGING/lora/zeta/new-decoder"},
     NO_COPY_3,
     {},
     Staging::EMPTY},
    {"import_first",
     "cp",
     {"-f", "STAGING/lora/acme/new-decoder", "CUSTOM/lora/acme/new-decoder"},
     NO_COPY_1,
     {{ACME_NEW, Decoder::MISSING}},
     Staging::EMPTY},
    {"import_over_older",
     "cp",
     {"-f", "STAGING/lora/acme/old-decoder", "CUSTOM/lora/acme/old-decoder"},
     UNTOUCHED,
     {{ACME_NEW, Decoder::WHOLE}, {ACME_OLD, Decoder::OLDER}, {ZETA_NEW, Decoder::WHOLE}},
     Staging::EMPTY},
    {"import_directory",
     "mkdir",
     {"-p", "CUSTOM/lora/zeta"},
     NO_ZETA,
     {{ACME_NEW, Decoder::WHOLE}, {ACME_OLD, Decoder::WHOLE}},
     Staging::EMPTY},
    {"import_third",
     "cp",
     {"-f", "STAGING/lora/zeta/new-decoder", "CUSTOM/lora/zeta/new-decoder"},
     NO_COPY_3,
     {{ACME_NEW, Decoder::WHOLE}, {ACME_OLD, Decoder::WHOLE}, {ZETA_NEW, Decoder::MISSING}},
     Staging::EMPTY},
    {"empty_staging_last", "sh -c", {"rm -rf STAGING/*"}, UNTOUCHED, ALL, Staging::FILLED},
};

struct StepFault : NamedRow {
    std::size_t index;
    Fault fault;
};

std::vector<StepFault> stepFaults() {
    std::vector<StepFault> rows;
    for (std::size_t index = 0; index < STEPS.size(); ++index) {
        const std::string name = STEPS[index].name;
        rows.push_back({name + "_does_nothing", index, Fault::NOTHING});
        rows.push_back({name + "_fails", index, Fault::FAILURE});
        if (std::string(STEPS[index].program) == "cp")
            rows.push_back({name + "_leaves_half", index, Fault::HALF_FILE});
    }
    return rows;
}

// Returns which run of its program the step is, counted from 1.
int runOf(std::size_t index) {
    int run = 0;
    for (std::size_t i = 0; i <= index; ++i)
        run += std::string(STEPS[i].program) == STEPS[index].program ? 1 : 0;
    return run;
}

InstalledList installedAfter(const StepFault& row) {
    const Step& step = STEPS[row.index];
    if (row.fault != Fault::HALF_FILE)
        return step.installed;
    InstalledList all = ALL;
    for (Installed& one : all) {
        if (step.arguments.back().find(std::string(one.name) + "-decoder") != std::string::npos)
            one.decoder = Decoder::HALF;
    }
    return all;
}

class CommandFault : public InstallationTest {
protected:
    std::string replaced(std::string text) const {
        const std::pair<std::string, std::string> places[] = {
            {"SOURCE", source}, {"STAGING", staging}, {"CUSTOM", custom}};
        for (const auto& [word, place] : places) {
            const std::string::size_type position = text.find(word);
            if (position != std::string::npos)
                text.replace(position, word.size(), place);
        }
        return text;
    }

    std::vector<Command> expectedCommands() const {
        std::vector<Command> commands;
        for (const Step& step : STEPS) {
            commands.push_back({step.program, {}});
            for (const std::string& argument : step.arguments)
                commands.back().arguments.push_back(replaced(argument));
        }
        return commands;
    }

    Snapshot customWith(const InstalledList& list) const {
        Snapshot tree = before;
        for (const Installed& one : list) {
            addInstalled(&tree, one.name);
            std::string& decoder = tree[std::string(one.name) + "-decoder"];
            if (one.decoder == Decoder::HALF)
                decoder.resize(decoder.size() / 2);
            else if (one.decoder == Decoder::OLDER)
                decoder = OLDER_DECODER;
            else if (one.decoder == Decoder::MISSING)
                tree.erase(std::string(one.name) + "-decoder");
        }
        return tree;
    }

    static Snapshot stagingTree(Staging state) {
        Snapshot tree;
        if (state == Staging::FILLED) {
            for (const Installed& one : ALL)
                addInstalled(&tree, one.name);
        }
        return tree;
    }

    void expectStaging(Staging state) const {
        const bool exists = access(staging.c_str(), F_OK) == 0;
        EXPECT_EQ(exists, state != Staging::ABSENT);
        EXPECT_EQ(exists ? snapshot(staging) : Snapshot(), stagingTree(state));
    }
};

class OneCommandFault : public CommandFault, public ::testing::WithParamInterface<StepFault> {};
INSTANTIATE_TEST_SUITE_P(Steps, OneCommandFault, ::testing::ValuesIn(stepFaults()), rowName);

TEST_P(OneCommandFault, leavesItsStateAndTheNextInstallationSucceeds) {
    const Step& step = STEPS[GetParam().index];
    const std::string program = step.program;
    FakeSupport::inst().fault(program == "sh -c" ? "sh" : program, GetParam().fault, runOf(GetParam().index));
    const std::string text = GetParam().fault == Fault::HALF_FILE ? UNTOUCHED : step.text;
    EXPECT_EQ(deploy(), text == UNTOUCHED);
    EXPECT_EQ(error, text);
    EXPECT_EQ(snapshot(custom), customWith(installedAfter(GetParam())));
    expectStaging(step.staging);
    expectNextInstallationToSucceed();
}

TEST_F(CommandFault, everyCommandHasItsStep) {
    EXPECT_TRUE(deploy());
    EXPECT_EQ(FakeSupport::inst().commands, expectedCommands());
    EXPECT_EQ(snapshot(custom), installed);
    std::printf("%zu commands, %zu command faults\n", FakeSupport::inst().commands.size(), stepFaults().size());
}

TEST_F(CommandFault, leftoversOfAStagingDirectoryThatIsNotEmptiedAreInstalled) {
    addDefinition(staging, "lora/left/over");
    FakeSupport::inst().fault("sh", Fault::FAILURE, 1);
    addInstalled(&installed, "lora/left/over");
    EXPECT_TRUE(deploy());
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(custom), installed);
    EXPECT_EQ(snapshot(staging), Snapshot());
}

TEST_F(CommandFault, otherDefinitionsStayThroughout) {
    const Snapshot expected = others();
    FakeSupport::inst().afterCommand = [&](std::size_t index) { EXPECT_EQ(others(), expected) << index; };
    EXPECT_TRUE(deploy());
    EXPECT_FALSE(FakeSupport::inst().commands.empty());
}

} // namespace
