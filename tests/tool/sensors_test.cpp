#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

namespace {

using namespace Kelvra::SCADA::Test;

TEST_F(ToolTest, sensorsInTheOrderOfTheList) {
    addDefinition(standard, "lora/demo/th1");
    custom.definition("Net/a/b", "{");
    writeList({R"({"id": "B", "src": " Net ", "sensor": "a/b "})", GOOD_SENSOR, "7",
               R"({"id": "aa", "src": "lora", "sensor": "other"})", R"({"id": "c", "src": "lora", "sensor": "x"})"});
    const ToolRun result = run({"sensors"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "scada-sensors: 2 of 5 list elements are faulty: scada-sensors check\n");
    EXPECT_EQ(result.out, "SENSOR   DEFINITION     STATE\n"
                          "Net@b    Net/a/b        Invalid syntax of the sensor definition [Net/a/b].\n"
                          "lora@aa  lora/demo/th1  ok\n"
                          "lora@c   lora/x         Sensor definition [lora/x] not found.\n");
}

TEST_F(ToolTest, sensorsAsJson) {
    addDefinition(standard, "lora/demo/th1");
    writeList({GOOD_SENSOR});
    const ToolRun result = run({"sensors", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  [
    {
      "definition" : "lora/demo/th1",
      "sensor" : "lora@aa",
      "state" : "ok"
    }
  ],
  "status" : "success"
}
)");
}

TEST_F(ToolTest, sensorsGoOnAfterADefinitionNestedTooDeep) {
    custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
    addDefinition(standard, "lora/demo/th1");
    writeList({R"({"id": "1", "src": "lora", "sensor": "demo/deep"})", GOOD_SENSOR});
    const ToolRun result = run({"sensors"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "SENSOR   DEFINITION      STATE\n"
                          "lora@1   lora/demo/deep  Exceeded stackLimit in readValue().\n"
                          "lora@aa  lora/demo/th1   ok\n");
    EXPECT_EQ(result.err, "scada-sensors: 1 definition could not be read: scada-sensors check\n");
}

struct UselessRow : NamedRow {
    std::string list;
    const char* place; ///< the text after the path
    const char* rule;
    const char* error;
};

class UselessList : public ToolTest, public ::testing::WithParamInterface<UselessRow> {};

TEST_P(UselessList, failsEveryCommandThatNeedsIt) {
    writeFile(temp / "list.json", GetParam().list);
    const UselessRow& row = GetParam();
    const std::string message =
        withRemedies(std::string("$T/list.json") + row.place + ": error: " + row.error + " [" + row.rule + "]\n");
    const ToolRun sensors = run({"sensors"});
    EXPECT_EQ(sensors.status, 1);
    EXPECT_EQ(sensors.out, "");
    EXPECT_EQ(sensors.err, message);
    const ToolRun resolve = run({"resolve", "lora", "aa"});
    EXPECT_EQ(resolve.status, 1);
    EXPECT_EQ(resolve.out, "");
    EXPECT_EQ(resolve.err, message);
    const ToolRun json = run({"sensors", "--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.err, "");
    Json::Value answer = parsed(json.out);
    EXPECT_EQ(answer["result"]["findings"][0]["rule"], row.rule);
    answer.removeMember("result");
    Json::Value expected = envelope(1);
    expected["error"] = row.error;
    EXPECT_EQ(answer, expected);
}

INSTANTIATE_TEST_SUITE_P(Tool, UselessList,
                         ::testing::Values(UselessRow{"empty", "", ":1:1", "list/syntax",
                                                      "Failed to parse the managed sensors list [$T/list.json]: "
                                                      "Syntax error: value, object or array expected."},
                                           UselessRow{"an_object", "{}", ":1:1", "list/not-an-array",
                                                      "Failed to parse the managed sensors list [$T/list.json]: "
                                                      "json is not an array object"},
                                           UselessRow{"nested_too_deep", nestedArrays(NESTING_LIMIT + 1), "",
                                                      "list/too-deep",
                                                      "Failed to parse the managed sensors list [$T/list.json]: "
                                                      "Exceeded stackLimit in readValue()."}),
                         rowName);

TEST_F(ToolTest, sensorsWithoutAList) {
    const ToolRun result = run({"sensors"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, withRemedies("$T/list.json: error: Failed to open the managed sensors list [$T/list.json]: "
                                       "No such file or directory [list/unreadable]\n"));
}

} // namespace
