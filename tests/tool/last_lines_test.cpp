// The last messages of commands: if something is broken, missing or already there, and if nobody reads the output.

#include "NamedRow.h"
#include "RedisServer.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

#include <filesystem>
#include <map>

namespace {

using namespace Kelvra::SCADA::Test;
namespace fs = std::filesystem;

#define SYNTAX_ERROR                                                                                                   \
    " [definition/syntax]"                                                                                             \
    "\n"

class Broken : public ToolTest, public ::testing::WithParamInterface<RunRow> {
protected:
    Broken() {
        addDefinition(standard, "lora/demo/th1");
        custom.definition("lora/demo/comma", "{\n  \"decoder\": 1\n  \"properties\": {}\n}");
        custom.definition("lora/demo/escapes", R"({"a": "\q"})");
        custom.definition("lora/demo/both", "{\"decoder\": \"none.js\",\n \"properties\": []}");
        writeList({GOOD_SENSOR, R"({"id": "dd", "src": "lora", "sensor": "demo/th1"})",
                   R"({"id": "dd", "src": "wire", "sensor": "demo/th1"})", R"({"id": "x@y", "src": " ", "sensor": 5})",
                   R"({"id": "EE", "src": "lora", "sensor": "a@b"})", R"({"id": "ff", "sensor": ""})",
                   R"({"id": "gg", "src": "lora", "sensor": "demo/comma"})"});
    }
};

TEST_P(Broken, isNamedWithItsPlaceAndItsRemedy) {
    expectRun(GetParam().arguments[0], {GetParam().name,
                                        {GetParam().arguments.begin() + 1, GetParam().arguments.end()},
                                        GetParam().status,
                                        GetParam().out,
                                        GetParam().err});
}

#define BROKEN_FIELDS(name, state)                                                                                     \
    "definition: " name "\n"                                                                                           \
    "storage:    custom\n"                                                                                             \
    "file:       $T/custom/" name ".json\n"                                                                            \
    "hides:      -\n"                                                                                                  \
    "decoder:    -\n"                                                                                                  \
    "state:      " state "\n"

INSTANTIATE_TEST_SUITE_P(
    Definitions, Broken,
    ::testing::Values(
        RunRow{"comma_missing",
               {"show", "lora/demo/comma"},
               1,
               BROKEN_FIELDS("lora/demo/comma", "Invalid syntax of the sensor definition [lora/demo/comma]."),
               "$T/custom/lora/demo/comma.json:3:3: error: Invalid syntax of the sensor definition [lora/demo/comma]. "
               "Missing ',' or '}' in object declaration" SYNTAX_ERROR},
        RunRow{"asked_for_one_property",
               {"show", "lora/demo/escapes", "temperature"},
               1,
               BROKEN_FIELDS("lora/demo/escapes", "Invalid syntax of the sensor definition [lora/demo/escapes]."),
               "$T/custom/lora/demo/escapes.json:1:7: error: Invalid syntax of the sensor definition "
               "[lora/demo/escapes]. Bad escape sequence in string See Line 1, Column 10 for detail." SYNTAX_ERROR},
        RunRow{"one_fault_behind_another",
               {"show", "lora/demo/both"},
               1,
               BROKEN_FIELDS("lora/demo/both", "Invalid sensor definition [lora/demo/both]: no decoder file found."),
               "$T/custom/lora/demo/both.json:1:13: error: Invalid sensor definition [lora/demo/both]: no decoder file "
               "found. [definition/decoder-missing]"
               "\n"
               "$T/custom/lora/demo/both.json:2:16: "
               "error: Invalid syntax of the sensor "
               "definition [lora/demo/both]: "
               "no [properties] section defined. "
               "[definition/no-properties]"
               "\n"},
        RunRow{"not_listed",
               {"show", "lora/demo/none"},
               4,
               "",
               "scada-sensors: Sensor definition [lora/demo/none] not found.\n"
               "scada-sensors: \"scada-sensors list\" shows the definitions\n"},
        RunRow{"broken_definition_of_a_sensor",
               {"resolve", "gg", "temperature"},
               1,
               "source:     lora\n"
               "identifier: gg\n"
               "list:       $T/list.json\n"
               "element:    [6] line 8: {\"id\":\"gg\",\"sensor\":\"demo/comma\",\"src\":\"lora\"}\n"
               "sensor:     lora@gg\n" BROKEN_FIELDS("lora/demo/comma",
                                                     "Invalid syntax of the sensor definition [lora/demo/comma]."),
               "$T/custom/lora/demo/comma.json:3:3: error: Invalid syntax of the sensor definition [lora/demo/comma]. "
               "Missing ',' or '}' in object declaration" SYNTAX_ERROR}),
    rowName);

#define BAD_NAME                                                                                                       \
    " [list/bad-definition-name]"                                                                                      \
    "\n"

INSTANTIATE_TEST_SUITE_P(
    Elements, Broken,
    ::testing::Values(
        RunRow{"one_fault",
               {"resolve", "lora", "ee"},
               1,
               "list:       $T/list.json\n"
               "element:    [4] line 6: {\"id\":\"EE\",\"sensor\":\"a@b\",\"src\":\"lora\"}\n",
               "$T/list.json:6:1: error: element 4: Invalid sensor definition [a@b] specified for the [lora@ee] "
               "managed sensor sensor." BAD_NAME},
        RunRow{"two_faults_and_no_source",
               {"resolve", "lora", "ff", "temperature"},
               1,
               "list:       $T/list.json\n"
               "element:    [5] line 7: {\"id\":\"ff\",\"sensor\":\"\"}\n",
               "$T/list.json:7:1: error: element 5: Source value is not specified for the [ff] sensor. "
               "[list/bad-source]"
               "\n"
               "$T/list.json:7:1: error: element 5: "
               "Specified sensor definition value is empty "
               "for the [ff] sensor." BAD_NAME},
        RunRow{"three_faults",
               {"resolve", "x@Y"},
               1,
               "list:       $T/list.json\n"
               "element:    [3] line 5: {\"id\":\"x@y\",\"sensor\":5,\"src\":\" \"}\n",
               "$T/list.json:5:1: error: element 3: Specified source value is empty for the [x@y] sensor. "
               "[list/bad-source]"
               "\n"
               "$T/list.json:5:1: error: element 3: Sensor "
               "definition value is not a string for the "
               "[x@y] sensor." BAD_NAME "$T/list.json:5:1: error: element 3: "
               "Invalid identifier [x@y] specified for a "
               "managed sensor sensor. "
               "[list/bad-identifier]"
               "\n"},
        RunRow{"several_sensors",
               {"resolve", "DD"},
               2,
               "",
               "scada-sensors: The identifier [dd] belongs to several sensors: lora@dd, wire@dd. Give the source "
               "too.\n"},
        RunRow{"unknown_identifier",
               {"resolve", "none"},
               4,
               "",
               "scada-sensors: 3 of 7 list elements are faulty: scada-sensors check\n"
               "scada-sensors: No managed sensor has the identifier [none].\n"
               "scada-sensors: \"scada-sensors sensors\" shows the managed sensors\n"},
        RunRow{"unknown_sensor",
               {"resolve", "wire", "aa", "-q"},
               4,
               "",
               "scada-sensors: Sensor [wire@aa] is not defined in the Managed Sensors list.\n"}),
    rowName);

#define SOUND_FIELDS                                                                                                   \
    "source:     lora\n"                                                                                               \
    "identifier: aa\n"                                                                                                 \
    "list:       $T/list.json\n"                                                                                       \
    "element:    [0] line 2: {\"id\":\"AA\",\"sensor\":\"demo/th1\",\"src\":\"lora\"}\n"                               \
    "sensor:     lora@aa\n"                                                                                            \
    "definition: lora/demo/th1\n"                                                                                      \
    "storage:    default\n"                                                                                            \
    "file:       $T/default/lora/demo/th1.json\n"                                                                      \
    "hides:      -\n"                                                                                                  \
    "decoder:    $T/default/lora/demo/th1.js\n"                                                                        \
    "state:      ok\n"
#define SOUND_DESCRIPTION "property:   temperature\ndescription:\n{\n  \"name\" : \"Air\"\n}\n"

class Sound : public ToolTest, public ::testing::WithParamInterface<RunRow> {
protected:
    Sound() {
        addDefinition(standard, "lora/demo/th1");
        writeList({GOOD_SENSOR});
    }
};

TEST_P(Sound, isSaidWithoutAMessage) {
    expectRun(GetParam().arguments[0], {GetParam().name,
                                        {GetParam().arguments.begin() + 1, GetParam().arguments.end()},
                                        GetParam().status,
                                        GetParam().out,
                                        GetParam().err});
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Sound,
    ::testing::Values(
        RunRow{"sensors",
               {"sensors", "--log-level", "warning"},
               0,
               "SENSOR   DEFINITION     STATE\nlora@aa  lora/demo/th1  ok\n",
               ""},
        RunRow{
            "source_and_identifier", {"resolve", "lora", "aa"}, 0, SOUND_FIELDS "properties: [\"temperature\"]\n", ""},
        RunRow{"identifier_alone", {"resolve", "aa"}, 0, SOUND_FIELDS "properties: [\"temperature\"]\n", ""},
        RunRow{"identifier_and_property", {"resolve", "aa", "temperature"}, 0, SOUND_FIELDS SOUND_DESCRIPTION, ""},
        RunRow{"all_three", {"resolve", "lora", "aa", "temperature"}, 0, SOUND_FIELDS SOUND_DESCRIPTION, ""},
        RunRow{"property_that_is_not_there",
               {"resolve", "aa", "gone"},
               4,
               SOUND_FIELDS,
               "scada-sensors: Sensor definition [lora/demo/th1] does not contain [gone] property.\n"}),
    rowName);

TEST_F(Sound, sensorsAreShownBesideFaultyElements) {
    const std::string sensors = "SENSOR   DEFINITION     STATE\nlora@aa  lora/demo/th1  ok\n";
    writeList({GOOD_SENSOR, "7", R"({"id": "b"})", GOOD_SENSOR});
    const ToolRun three = run({"sensors", "--log-level", "warning"});
    EXPECT_EQ(three.status, 0);
    EXPECT_EQ(three.out, sensors);
    EXPECT_EQ(three.err, "scada-sensors: 3 of 4 list elements are faulty: scada-sensors check\n");
    writeList({GOOD_SENSOR, "7"});
    EXPECT_EQ(run({"sensors"}).err, "scada-sensors: 1 of 2 list elements is faulty: scada-sensors check\n");
    EXPECT_EQ(run({"sensors", "-q"}).err, "");
}

// --- sources at another level

struct SourceLevelRow : NamedRow {
    const char* source;
    const char* text;
};

class SourceLevel : public ToolTest, public ::testing::WithParamInterface<SourceLevelRow> {
protected:
    SourceLevel() {
        StorageBuilder pack(temp / "packs/one");
        addDefinition(pack, "lora/demo/th1");
        addDefinition(pack, "lora/demo/th2");
        StorageBuilder left(temp / "both/left");
        addDefinition(left, "lora/demo/th1");
        StorageBuilder right(temp / "both/right");
        addDefinition(right, "lora/demo/th1");
        StorageBuilder other(temp / "strange");
        addDefinition(other, "family/demo/deeper/th1");
        writeFile(temp / "broken/pack/lora/demo/th1.json", "{");
        writeFile(temp / "suffix/lora/demo/th1.JSON", "{}");
        addDefinition(custom, "lora/demo/th1", "Cellar");
    }
};

TEST_P(SourceLevel, isNamedRight) {
    const std::string source = replaced(GetParam().source, "$T", temp.path());
    const auto before = snapshot(temp.path());
    const std::string finding = std::string(GetParam().source) + ": error: " + GetParam().text +
                                " [source/wrong-level]\n    Give the directory that contains \"lora\".\n";
    const ToolRun dryRun = run({"install", source, "--dry-run"});
    EXPECT_EQ(dryRun.status, 5);
    EXPECT_EQ(dryRun.out, finding + "0 definitions\n");
    const ToolRun check = run({"check", source});
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(check.out, finding + "1 fault in 0 definitions\n");
    EXPECT_EQ(snapshot(temp.path()), before);
    const ToolRun result = run({"install", source});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, finding);
    EXPECT_EQ(result.err, "scada-sensors: the installation is refused: 1 error; nothing has been changed\n");
    // The lock files stay.
    fs::remove(temp / "custom.lock");
    fs::remove(temp / "staging.lock");
    EXPECT_EQ(snapshot(temp.path()), before);
}

#define LEVEL_TEXT "The definitions are at another level. Install "

INSTANTIATE_TEST_SUITE_P(
    Tool, SourceLevel,
    ::testing::Values(
        SourceLevelRow{"parent", "$T/packs", LEVEL_TEXT "[$T/packs/one] instead."},
        SourceLevelRow{"family", "$T/packs/one/lora", LEVEL_TEXT "[$T/packs/one] instead."},
        SourceLevelRow{"family_with_a_slash", "$T/packs/one/lora/", LEVEL_TEXT "[$T/packs/one] instead."},
        SourceLevelRow{"maker", "$T/packs/one/lora/demo", LEVEL_TEXT "[$T/packs/one] instead."},
        SourceLevelRow{"parent_of_two", "$T/both", LEVEL_TEXT "[$T/both/left] or [$T/both/right] instead."},
        SourceLevelRow{"no_family", "$T/strange",
                       "There is no definition at lora/MAKER/MODEL.json, but "
                       "[$T/strange/family/demo/deeper/th1.json] looks like one."},
        SourceLevelRow{"broken", "$T/broken", LEVEL_TEXT "[$T/broken/pack] instead."},
        SourceLevelRow{"another_suffix", "$T/suffix",
                       "There is no definition at lora/MAKER/MODEL.json, but [$T/suffix/lora/demo/th1.JSON] "
                       "looks like one."}),
    rowName);

// --- definitions that are already installed

class Installed : public ToolTest {
protected:
    Installed() : source(temp / "source") { addDefinition(source, "lora/demo/th1"); }
    void SetUp() override {
        ASSERT_EQ(run({"install", temp / "source"}).status, 0);
        for (const std::string& path : treeOf(temp / "custom"))
            fs::last_write_time(temp / ("custom/" + path), longAgo);
    }

    std::map<std::string, fs::file_time_type> times() const {
        std::map<std::string, fs::file_time_type> result;
        for (const std::string& path : treeOf(temp / "custom"))
            result[path] = fs::last_write_time(temp / ("custom/" + path));
        return result;
    }

    // Any time other than that of the test.
    const fs::file_time_type longAgo = fs::last_write_time(temp.path()) - std::chrono::hours(1000);
    StorageBuilder source;
};

TEST_F(Installed, isLeftAlone) {
    const auto before = times();
    const auto content = snapshot(temp / "custom");
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--allow-overwrite"}}) {
        std::vector<std::string> arguments = {"install", temp / "source"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "unchanged lora/demo/th1\n");
        EXPECT_EQ(result.err, "");
    }
    EXPECT_EQ(times(), before);
    EXPECT_EQ(snapshot(temp / "custom"), content);
}

TEST_F(Installed, isToldToPrograms) {
    const ToolRun result = run({"install", temp / "source", "--json"});
    const Json::Value answer = parsed(result.out);
    EXPECT_EQ(answer["code"], "done");
    EXPECT_EQ(answer["result"], parsed(R"({"findings": [], "installed": [], "unchanged": ["lora/demo/th1"],
                                           "not_installed": []})"));
}

TEST_F(Installed, standsBesideWhatIsNew) {
    const auto before = snapshot(temp / "custom");
    addDefinition(source, "lora/demo/th2");
    const ToolRun dryRun = run({"install", temp / "source", "--dry-run"});
    EXPECT_EQ(dryRun.status, 0);
    EXPECT_EQ(snapshot(temp / "custom"), before);
    const ToolRun result = run({"install", temp / "source"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "installed lora/demo/th2\nunchanged lora/demo/th1\n");
    EXPECT_EQ(result.err, "");
    auto after = snapshot(temp / "custom");
    EXPECT_EQ(after.erase("lora/demo/th2.json") + after.erase("lora/demo/th2-decoder"), 2U);
    EXPECT_EQ(after, before);
}

TEST_F(Installed, doesNotCoverWhatDiffers) {
    const auto before = times();
    addDefinition(source, "lora/demo/th1", "Cellar");
    addDefinition(source, "lora/demo/th2");
    const ToolRun result = run({"install", temp / "source"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(times(), before);
}

// --- closed descriptors

class Closed : public ToolTest {
protected:
    Closed() : source(temp / "source") {
        addDefinition(standard, "lora/demo/th1");
        addDefinition(source, "lora/demo/th2");
    }

    ToolRun runWith(const std::string& redirections, std::vector<std::string> arguments) const {
        const std::vector<std::string> options = {"--default-dir", temp / "default", "--custom-dir",
                                                  temp / "custom", "--staging-dir",  temp / "staging"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return runToolWith(redirections, arguments);
    }

    StorageBuilder source;
};

constexpr const char* NOT_WRITTEN = "scada-sensors: cannot write to standard output: Bad file descriptor\n";

TEST_F(Closed, outputIsAFailure) {
    const ToolRun result = runWith(">&-", {"list"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, NOT_WRITTEN);
}

TEST_F(Closed, errorOutputTakesTheMessageAlong) {
    const ToolRun result = runWith("2>&-", {"show", "lora/demo/none"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.out + result.err, "");
}

TEST_F(Closed, inputIsNotNeeded) {
    const ToolRun result = runWith("<&-", {"list", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(parsed(result.out)["result"][0]["name"], "lora/demo/th1");
}

struct ClosedRow : NamedRow {
    const char* redirections;
    const char* err;
};

class ClosedInstallation : public Closed, public ::testing::WithParamInterface<ClosedRow> {};

TEST_P(ClosedInstallation, leavesItsAnswerInNoFile) {
    ASSERT_EQ(run({"install", temp / "source", "--custom-dir", temp / "other/custom", "--staging-dir",
                   temp / "other/staging"})
                  .status,
              0);
    const auto installed = snapshot(temp / "other/custom");
    const ToolRun result = runWith(GetParam().redirections, {"install", temp / "source"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, GetParam().err);
    EXPECT_EQ(snapshot(temp / "custom"), installed);
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
    EXPECT_EQ(readFile(temp / "custom.lock"), "");
    EXPECT_EQ(readFile(temp / "staging.lock"), "");
}

TEST_P(ClosedInstallation, leavesItsRefusalInNoFile) {
    addDefinition(custom, "lora/demo/th2", "Cellar");
    const auto before = snapshot(temp / "custom");
    const ToolRun result = runWith(GetParam().redirections, {"install", temp / "source"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(snapshot(temp / "custom"), before);
    EXPECT_EQ(readFile(temp / "custom.lock"), "");
    EXPECT_EQ(readFile(temp / "staging.lock"), "");
}

INSTANTIATE_TEST_SUITE_P(Tool, ClosedInstallation,
                         ::testing::Values(ClosedRow{"output", ">&-", NOT_WRITTEN},
                                           ClosedRow{"input_and_output", "<&- >&-", NOT_WRITTEN},
                                           ClosedRow{"output_and_error_output", ">&- 2>&-", ""},
                                           ClosedRow{"all", "<&- >&- 2>&-", ""}),
                         rowName);

class ClosedDatabase : public Closed, public ::testing::WithParamInterface<ClosedRow> {
protected:
    RedisServer server;
};

// The first connection must not become the standard output: the output would be commands to the server.
TEST_P(ClosedDatabase, isToldNothingThatItStores) {
    server.run({"HSET", "hash", "field", "FLUSHALL"});
    server.run({"LPUSH", "list", "FLUSHALL"});
    const ToolRun get = runWith(GetParam().redirections, {"db", "get", "hash", "field", "--socket", server.socket()});
    EXPECT_EQ(get.status, 1);
    EXPECT_EQ(get.out, "");
    EXPECT_EQ(get.err, GetParam().err);
    EXPECT_EQ(server.run({"HGET", "hash", "field"}), "\"FLUSHALL\"");
    const ToolRun pop =
        runWith(GetParam().redirections, {"db", "pop", "list", "--timeout", "1", "--socket", server.socket()});
    EXPECT_EQ(pop.status, 1);
    EXPECT_EQ(server.run({"HGET", "hash", "field"}), "\"FLUSHALL\"");
}

INSTANTIATE_TEST_SUITE_P(Tool, ClosedDatabase,
                         ::testing::Values(ClosedRow{"output", ">&-", NOT_WRITTEN},
                                           ClosedRow{"output_and_error_output", ">&- 2>&-", ""}),
                         rowName);

} // namespace
