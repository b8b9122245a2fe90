#include "NamedRow.h"
#include "RedisServer.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "option_texts.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <regex>
#include <sstream>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct BadUsageRow : NamedRow {
    std::vector<std::string> arguments;
    std::string message;
};

class BadUsage : public ToolTest, public ::testing::WithParamInterface<BadUsageRow> {};

TEST_P(BadUsage, isToldOnStderr) {
    const ToolRun result = runTool(GetParam().arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: " + GetParam().message + "\nscada-sensors: try --help\n");
}

TEST_P(BadUsage, isAnsweredToPrograms) {
    Json::Value expected = envelope(2);
    // The escape sequences are for terminals.
    expected["error"] = replaced(GetParam().message, "\\x1b", "\x1b");
    for (const char* json : {"--json", "--json=true"}) {
        std::vector<std::string> arguments = GetParam().arguments;
        arguments.insert(arguments.begin(), json);
        const ToolRun result = runTool(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(parsed(result.out), expected);
        EXPECT_EQ(result.err, "scada-sensors: " + GetParam().message + "\nscada-sensors: try --help\n");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tool, BadUsage,
    ::testing::Values(
        BadUsageRow{"no_command", {}, "no command given"},
        BadUsageRow{"unknown_command", {"nosuch", "x"}, "unknown command or option: nosuch"},
        BadUsageRow{"unknown_option", {"list", "--nosuch"}, "The following argument was not expected: --nosuch"},
        BadUsageRow{"unknown_option_before_the_command",
                    {"--nosuch", "list"},
                    "The following argument was not expected: --nosuch"},
        BadUsageRow{"escaped_argument", {"list", "\x1b[2J"}, "The following argument was not expected: \\x1b[2J"},
        BadUsageRow{"operand_of_list", {"list", "x"}, "The following argument was not expected: x"},
        BadUsageRow{
            "json_as_operand", {"show", "--", "--json", "x", "y"}, "The following argument was not expected: y"},
        BadUsageRow{"json_with_a_value", {"list", "--json=1"}, "json was given a disallowed flag override"},
        BadUsageRow{"two_commands", {"sensors", "list"}, "The following argument was not expected: list"},
        BadUsageRow{"unknown_storage", {"list", "--storage", "x"}, "--storage: x not in {both,default,custom}"},
        BadUsageRow{"show_without_name", {"show"}, "NAME is required"},
        BadUsageRow{"show_with_too_many", {"show", "a", "b", "c"}, "The following argument was not expected: c"},
        BadUsageRow{"check_with_too_many", {"check", "a", "b"}, "The following argument was not expected: b"},
        BadUsageRow{
            "resolve_with_too_many", {"resolve", "a", "b", "c", "d"}, "The following argument was not expected: d"},
        BadUsageRow{"database_number_too_high", {"list", "--db", "256"}, "--db: " + notInRange(0, 255, "256")},
        BadUsageRow{"database_number_negative", {"list", "--db", "-1"}, "--db: " + notInRange(0, 255, "-1")},
        BadUsageRow{"database_number_is_a_word", {"list", "--db", "x"}, "--db: " + notInRange(0, 255, "x")},
        BadUsageRow{"unknown_log_level",
                    {"list", "--log-level", "loud"},
                    "--log-level: loud not in {off,error,warning,debug,trace}"},
        BadUsageRow{"option_without_value", {"list", "--map"}, "--map: 1 required FILE missing"},
        BadUsageRow{
            "option_twice", {"--map", "a", "list", "--map", "b"}, CLI::ArgumentMismatch::AtMost("--map", 1, 2).what()}),
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
    // The completion offers every command of the table, behind a line that says what it offers.
    std::istringstream offered(runTool({"--complete", ""}).out);
    std::string name;
    std::getline(offered, name);
    EXPECT_EQ(name, "words");
    int count = 0;
    while (std::getline(offered, name)) {
        EXPECT_THAT(result.out, HasSubstr("\n  " + name + " "));
        ++count;
    }
    EXPECT_GT(count, 0);
}

TEST_F(ToolTest, helpOfACommandNamesItsOperands) {
    for (const char* usage :
         {"resolve [OPTIONS] [SRC] ID [PROPERTY]", "doctor [OPTIONS] [[SRC] ID]",
          "read [OPTIONS] [[SRC] ID [PROPERTY]]", "decode [OPTIONS] [SRC] ID BYTES|-", "remove [OPTIONS] [NAME...]"}) {
        const std::string line = usage;
        const ToolRun result = runTool({line.substr(0, line.find(' ')), "--help"});
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, HasSubstr("scada-sensors " + line + "\n"));
    }
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
    EXPECT_EQ(
        result.err,
        withRemedies(
            "$T/list.json:2:1: error: element 0: Sensor definition [check/x] not found. [list/definition-missing]\n"));
}

TEST_F(ToolTest, operandsBehindTwoDashesMayStartWithADash) {
    writeList({R"({"id": "-5", "src": "lora", "sensor": "x"})"});
    const ToolRun result = run({"resolve", "lora", "--", "-5"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(
        result.err,
        withRemedies(
            "$T/list.json:2:1: error: element 0: Sensor definition [lora/x] not found. [list/definition-missing]\n"));
}

struct FullOutputRow : NamedRow {
    std::vector<std::string> arguments;
};

class FullDevice : public ToolTest, public ::testing::WithParamInterface<FullOutputRow> {};

TEST_P(FullDevice, isAFailure) {
    writeList({});
    const ToolRun result = run(GetParam().arguments, "/dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("scada-sensors: cannot write to standard output: No space left on device\n"));
}

INSTANTIATE_TEST_SUITE_P(Tool, FullDevice,
                         ::testing::Values(FullOutputRow{"help", {"--help"}}, FullOutputRow{"version", {"--version"}},
                                           FullOutputRow{"text", {"list"}}, FullOutputRow{"json", {"check", "--json"}}),
                         rowName);

struct LevelRow : NamedRow {
    std::vector<std::string> options;
    const char* logged;
};

class LogLevel : public ToolTest, public ::testing::WithParamInterface<LevelRow> {};

TEST_P(LogLevel, decidesWhatIsLogged) {
    const RedisServer server;
    std::vector<std::string> arguments = {"--socket", server.socket(), "db", "set", "k", "f", "1"};
    arguments.insert(arguments.begin(), GetParam().options.begin(), GetParam().options.end());
    const ToolRun result = runTool(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, GetParam().logged);
}

constexpr const char* CONNECTED = "DEBUG: [DB ] Connected to the database\n";

INSTANTIATE_TEST_SUITE_P(Tool, LogLevel,
                         ::testing::Values(LevelRow{"by_default", {}, ""}, LevelRow{"off", {"--log-level", "off"}, ""},
                                           LevelRow{"error", {"--log-level", "error"}, ""},
                                           LevelRow{"warning", {"--log-level", "warning"}, ""},
                                           LevelRow{"debug", {"--log-level", "debug"}, CONNECTED},
                                           LevelRow{"trace", {"--log-level", "trace"}, CONNECTED},
                                           LevelRow{"verbose", {"-v"}, CONNECTED},
                                           LevelRow{"verbose_in_full", {"--verbose"}, CONNECTED},
                                           LevelRow{"level_before_verbose", {"-v", "--log-level", "warning"}, ""}),
                         rowName);

struct QuietRow : NamedRow {
    const char* option;
};

class Quiet : public ToolTest, public ::testing::WithParamInterface<QuietRow> {};

TEST_P(Quiet, leavesOutNotesAndKeepsFailures) {
    writeList({GOOD_SENSOR, "7"});
    addDefinition(standard, "lora/demo/th1");
    const ToolRun noted = run({"sensors"});
    EXPECT_EQ(noted.err, "scada-sensors: 1 of 2 list elements is faulty: scada-sensors check\n");
    const ToolRun quiet = run({"sensors", GetParam().option});
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out, noted.out);
    EXPECT_EQ(quiet.err, "");
    const ToolRun failed = run({"resolve", "lora", "x", GetParam().option});
    EXPECT_EQ(failed.status, 4);
    EXPECT_EQ(failed.err, "scada-sensors: Sensor [lora@x] is not defined in the Managed Sensors list.\n");
}

INSTANTIATE_TEST_SUITE_P(Tool, Quiet, ::testing::Values(QuietRow{"short", "-q"}, QuietRow{"in_full", "--quiet"}),
                         rowName);

struct CodeRow : NamedRow {
    std::vector<std::string> arguments;
    int status;
};

class Code : public ToolTest, public ::testing::WithParamInterface<CodeRow> {};

TEST_P(Code, isTheExitStatusInAWord) {
    writeList({GOOD_SENSOR});
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), {"--json", "--socket", "/nosuch"});
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, GetParam().status);
    Json::Value answer = parsed(result.out);
    EXPECT_EQ(answer.isMember("error"), result.status != 0);
    answer.removeMember("error");
    answer.removeMember("result");
    EXPECT_EQ(answer, envelope(GetParam().status));
}

INSTANTIATE_TEST_SUITE_P(Tool, Code,
                         ::testing::Values(CodeRow{"done", {"list"}, 0}, CodeRow{"failed", {"check"}, 1},
                                           CodeRow{"usage", {"show"}, 2},
                                           CodeRow{"no_database", {"db", "get", "k", "f"}, 3},
                                           CodeRow{"not_found", {"show", "lora/demo/none"}, 4},
                                           CodeRow{"refused", {"install", "/nosuch"}, 5}),
                         rowName);

} // namespace
