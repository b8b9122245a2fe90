#include "ToolTest.h"
#include "jsonText.h"
#include "rowName.h"

#include <gmock/gmock.h>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct UsageRow {
    const char* name;
    std::vector<std::string> arguments;
    const char* message;
};

class BadUsage : public ToolTest, public ::testing::WithParamInterface<UsageRow> {};

TEST_P(BadUsage, isToldOnStderr) {
    const ToolRun result = runTool(GetParam().arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("scada-sensors: ") + GetParam().message + "\nscada-sensors: try --help\n");
}

TEST_P(BadUsage, isAnsweredToPrograms) {
    Json::Value expected = parsed(R"({"format_version": 1, "status": "fail"})");
    // The escapes are for terminals.
    expected["error"] = replaced(GetParam().message, "\\x1b", "\x1b");
    for (const char* json : {"--json", "--json=true"}) {
        std::vector<std::string> arguments = GetParam().arguments;
        arguments.insert(arguments.begin(), json);
        const ToolRun result = runTool(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(parsed(result.out), expected);
        EXPECT_EQ(result.err, std::string("scada-sensors: ") + GetParam().message + "\nscada-sensors: try --help\n");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tool, BadUsage,
    ::testing::Values(
        UsageRow{"no_command", {}, "no command given"},
        UsageRow{"unknown_command", {"nosuch", "x"}, "unknown command or option: nosuch"},
        UsageRow{"unknown_option", {"list", "--nosuch"}, "The following argument was not expected: --nosuch"},
        UsageRow{"unknown_option_before_the_command",
                 {"--nosuch", "list"},
                 "The following argument was not expected: --nosuch"},
        UsageRow{"escaped_argument", {"list", "\x1b[2J"}, "The following argument was not expected: \\x1b[2J"},
        UsageRow{"operand_of_list", {"list", "x"}, "The following argument was not expected: x"},
        UsageRow{"json_as_operand", {"show", "--", "--json", "x", "y"}, "The following argument was not expected: y"},
        UsageRow{"json_with_a_value", {"list", "--json=1"}, "json was given a disallowed flag override"},
        UsageRow{"two_commands", {"sensors", "list"}, "The following argument was not expected: list"},
        UsageRow{"unknown_storage", {"list", "--storage", "x"}, "--storage: x not in {both,default,custom}"},
        UsageRow{"show_without_name", {"show"}, "NAME is required"},
        UsageRow{"show_with_too_many", {"show", "a", "b", "c"}, "The following argument was not expected: c"},
        UsageRow{"check_with_too_many", {"check", "a", "b"}, "The following argument was not expected: b"},
        UsageRow{"resolve_without_id", {"resolve", "lora"}, "ID is required"},
        UsageRow{
            "resolve_with_too_many", {"resolve", "a", "b", "c", "d"}, "The following argument was not expected: d"},
        UsageRow{"database_number_too_high", {"list", "--db", "256"}, "--db: Value 256 not in range 0 to 255"},
        UsageRow{"database_number_negative", {"list", "--db", "-1"}, "--db: Value -1 not in range 0 to 255"},
        UsageRow{"database_number_is_a_word", {"list", "--db", "x"}, "--db: Value x not in range 0 to 255"},
        UsageRow{"unknown_log_level",
                 {"list", "--log-level", "loud"},
                 "--log-level: loud not in {off,error,warning,debug,trace}"},
        UsageRow{"option_without_value", {"list", "--map"}, "--map: 1 required FILE missing"},
        UsageRow{"option_twice", {"--map", "a", "list", "--map", "b"}, "--map: At Most 1 required but received 2"}),
    rowName);

TEST_F(ToolTest, versionIsTheProjects) {
    const ToolRun result = runTool({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "scada-sensors " SCADA_TOOL_VERSION "\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(ToolTest, helpListsEveryCommand) {
    const ToolRun result = runTool({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char* synopsis :
         {"list [--storage both|default|custom]", "show NAME [PROPERTY]", "check [SRC_DIR]", "sensors",
          "resolve SRC ID [PROPERTY]", "db get|set|expire|push|pop ...", "watch [--count N] [--timeout S]"})
        EXPECT_THAT(result.out, HasSubstr(std::string("\n  ") + synopsis + "  "));
}

TEST_F(ToolTest, helpOfACommandNamesItsOperands) {
    const ToolRun result = runTool({"resolve", "--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Usage: scada-sensors resolve [OPTIONS] SRC ID [PROPERTY]\n"));
}

TEST_F(ToolTest, optionsStandBeforeOrBehindTheCommand) {
    addDefinition(custom, "lora/demo/th1");
    const std::vector<std::string> options = {"--json",        "--db",          "7",      "--socket", "/nosuch",
                                              "--staging-dir", "/nosuch",       "--map",  "/nosuch",  "--custom-dir",
                                              temp / "custom", "--default-dir", "/nosuch"};
    std::vector<std::string> before = options;
    before.emplace_back("list");
    std::vector<std::string> behind = {"list"};
    behind.insert(behind.end(), options.begin(), options.end());
    const ToolRun first = run(before);
    const ToolRun second = run(behind);
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.err, "");
    EXPECT_THAT(first.out, HasSubstr("\"name\" : \"lora/demo/th1\""));
    EXPECT_EQ(second.out, first.out);
}

TEST_F(ToolTest, namesOfCommandsAreOrdinaryOperands) {
    writeList({R"({"id": "list", "src": "check", "sensor": "x"})"});
    const ToolRun result = run({"resolve", "check", "list", "show"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: Sensor definition [check/x] not found.\n");
}

TEST_F(ToolTest, operandsBehindTwoDashesMayStartWithADash) {
    writeList({R"({"id": "-5", "src": "lora", "sensor": "x"})"});
    const ToolRun result = run({"resolve", "lora", "--", "-5"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: Sensor definition [lora/x] not found.\n");
}

struct FullRow {
    const char* name;
    std::vector<std::string> arguments;
};

class FullDevice : public ToolTest, public ::testing::WithParamInterface<FullRow> {};

TEST_P(FullDevice, isAFailure) {
    writeList({});
    const ToolRun result = run(GetParam().arguments, "/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("scada-sensors: cannot write to standard output: No space left on device\n"));
}

INSTANTIATE_TEST_SUITE_P(Tool, FullDevice,
                         ::testing::Values(FullRow{"help", {"--help"}}, FullRow{"version", {"--version"}},
                                           FullRow{"text", {"list"}}, FullRow{"json", {"check", "--json"}}),
                         rowName);

struct LevelRow {
    const char* name;
    const char* level;
    const char* logged;
};

class LogLevel : public ToolTest, public ::testing::WithParamInterface<LevelRow> {};

TEST_P(LogLevel, decidesWhatIsLogged) {
    writeList({GOOD_SENSOR, "7"});
    const ToolRun result = run({"sensors", "--log-level", GetParam().level});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, GetParam().logged);
}

constexpr const char* REJECTED = "WARNING: [MAP] Incorrect entry in the managed sensors list [$T/list.json]. "
                                 "Corresponding json section is not an object.\n";
constexpr const char* REGISTERED_AND_REJECTED =
    "TRACE: [MAP] Registered managed sensor: [lora@aa] -> [lora/demo/th1]\n"
    "WARNING: [MAP] Incorrect entry in the managed sensors list [$T/list.json]. "
    "Corresponding json section is not an object.\n";

INSTANTIATE_TEST_SUITE_P(Tool, LogLevel,
                         ::testing::Values(LevelRow{"off", "off", ""}, LevelRow{"error", "error", ""},
                                           LevelRow{"warning", "warning", REJECTED},
                                           LevelRow{"debug", "debug", REJECTED},
                                           LevelRow{"trace", "trace", REGISTERED_AND_REJECTED}),
                         rowName);

TEST_F(ToolTest, warningsAreLoggedByDefault) {
    writeList({"7"});
    const ToolRun result = runTool({"sensors", "--map", temp / "list.json", "--custom-dir", "", "--default-dir", ""});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(replaced(result.err, temp.path(), "$T"), REJECTED);
}

} // namespace
