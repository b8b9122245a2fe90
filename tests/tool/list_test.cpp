#include "NamedRow.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

namespace {

using namespace Kelvra::SCADA::Test;

struct ListRow : NamedRow {
    std::vector<std::string> arguments;
    const char* out;
};

class List : public ToolTest, public ::testing::WithParamInterface<ListRow> {
protected:
    List() {
        addDefinition(standard, "lora/demo/th1");
        addDefinition(standard, "lora/demo/z");
        addDefinition(custom, "lora/demo/th1");
        custom.definition("lora/demo/bare", R"({"properties": {}})");
        custom.definition("lora/demo/cut", "{");
        custom.definition("lora/demo/empty", R"({"decoder": "th1.js"})");
    }
};

// The width of the columns depends on the length of the temporary directory's path.
std::string narrowed(std::string text) {
    while (text.find("   ") != std::string::npos)
        text = replaced(text, "   ", "  ");
    return text;
}

TEST_P(List, showsTheDefinitions) {
    std::vector<std::string> arguments = {"list"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(narrowed(result.out), GetParam().out);
    EXPECT_EQ(result.err, "");
}

constexpr const char* BOTH =
    "NAME  STORAGE  HIDES  DECODER  STATE\n"
    "lora/demo/bare  custom  -  -  ok\n"
    "lora/demo/cut  custom  -  -  Invalid syntax of the sensor definition [lora/demo/cut].\n"
    "lora/demo/empty  custom  -  $T/custom/lora/demo/th1.js  "
    "Invalid syntax of the sensor definition [lora/demo/empty]: no [properties] section defined.\n"
    "lora/demo/th1  custom  default  $T/custom/lora/demo/th1.js  ok\n"
    "lora/demo/z  default  -  $T/default/lora/demo/z.js  ok\n";
constexpr const char* ONLY_DEFAULT = "NAME  STORAGE  HIDES  DECODER  STATE\n"
                                     "lora/demo/th1  default  -  $T/default/lora/demo/th1.js  ok\n"
                                     "lora/demo/z  default  -  $T/default/lora/demo/z.js  ok\n";
constexpr const char* ONLY_CUSTOM =
    "NAME  STORAGE  HIDES  DECODER  STATE\n"
    "lora/demo/bare  custom  -  -  ok\n"
    "lora/demo/cut  custom  -  -  Invalid syntax of the sensor definition [lora/demo/cut].\n"
    "lora/demo/empty  custom  -  $T/custom/lora/demo/th1.js  "
    "Invalid syntax of the sensor definition [lora/demo/empty]: no [properties] section defined.\n"
    "lora/demo/th1  custom  default  $T/custom/lora/demo/th1.js  ok\n";

INSTANTIATE_TEST_SUITE_P(Tool, List,
                         ::testing::Values(ListRow{"both_by_default", {}, BOTH},
                                           ListRow{"both", {"--storage", "both"}, BOTH},
                                           ListRow{"default_only", {"--storage", "default"}, ONLY_DEFAULT},
                                           ListRow{"custom_only", {"--storage", "custom"}, ONLY_CUSTOM},
                                           ListRow{"custom_not_configured", {"--custom-dir", ""}, ONLY_DEFAULT},
                                           ListRow{"nothing_there",
                                                   {"--custom-dir", "/nosuch", "--default-dir", "/nosuch"},
                                                   "NAME  STORAGE  HIDES  DECODER  STATE\n"}),
                         rowName);

TEST_F(ToolTest, listAsJson) {
    addDefinition(standard, "lora/demo/th1");
    custom.definition("lora/demo/th1", R"({"properties": {}})");
    const ToolRun result = run({"list", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  [
    {
      "decoder" : null,
      "file" : "$T/custom/lora/demo/th1.json",
      "hidden_state" : null,
      "hides" : "default",
      "name" : "lora/demo/th1",
      "state" : "ok",
      "storage" : "custom"
    }
  ],
  "status" : "success"
}
)");
}

TEST_F(ToolTest, listGoesOnAfterADefinitionNestedTooDeep) {
    custom.definition("lora/demo/a", nestedArrays(NESTING_LIMIT + 1));
    addDefinition(custom, "lora/demo/b");
    const ToolRun result = run({"list", "--json"});
    EXPECT_EQ(result.status, 1);
    const Json::Value answer = parsed(result.out);
    EXPECT_EQ(answer["status"], "fail");
    EXPECT_EQ(answer["error"], "1 definition could not be read: scada-sensors check");
    EXPECT_EQ(answer["result"][0]["state"], "Exceeded stackLimit in readValue().");
    EXPECT_EQ(answer["result"][1]["state"], "ok");
}

TEST_F(ToolTest, listEscapesNames) {
    const std::string name = "lora/demo/a\x1b[2J\n\x7f\xc2\x9b\xff\xc3\xa4\xe2\x82\xac";
    custom.definition(name, R"({"properties": {}})");
    const ToolRun text = run({"list"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out,
              "NAME                                      STORAGE  HIDES  DECODER  STATE\n"
              "lora/demo/a\\x1b[2J\\x0a\\x7f\\xc2\\x9b\\xff\xc3\xa4\xe2\x82\xac  custom   -      -        ok\n");
    const ToolRun json = run({"list", "--json"});
    for (const char c : json.out)
        EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << json.out;
}

} // namespace
