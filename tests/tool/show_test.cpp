#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

namespace {

using namespace Kelvra::SCADA::Test;

class Show : public ToolTest, public ::testing::WithParamInterface<RunRow> {
protected:
    Show() {
        addDefinition(standard, "lora/demo/th1");
        addDefinition(standard, "lora/demo/z");
        custom.definition("lora/demo/th1", R"(// comment
            {"properties": {"temperature": {"unit": "\u00b0C\u009b"}, "word": "x"}})");
        custom.definition("lora/demo/z", "{");
        custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
    }
};

TEST_P(Show, tellsWhatIsKnown) {
    expectRun("show", GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Show,
    ::testing::Values(
        RunRow{"whole_definition",
               {"lora/demo/th1"},
               0,
               "definition: lora/demo/th1\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/th1.json\n"
               "hides:      default\n"
               "decoder:    -\n"
               "state:      ok\n"
               "document:\n"
               "{\n"
               "  \"properties\" : \n"
               "  {\n"
               "    \"temperature\" : \n"
               "    {\n"
               "      \"unit\" : \"\xc2\xb0"
               "C\\xc2\\x9b\"\n"
               "    },\n"
               "    \"word\" : \"x\"\n"
               "  }\n"
               "}\n",
               ""},
        RunRow{"one_property",
               {"lora/demo/z", "temperature", "--custom-dir", ""},
               0,
               "definition: lora/demo/z\n"
               "storage:    default\n"
               "file:       $T/default/lora/demo/z.json\n"
               "hides:      -\n"
               "decoder:    $T/default/lora/demo/z.js\n"
               "state:      ok\n"
               "property:   temperature\n"
               "description:\n"
               "{\n"
               "  \"name\" : \"Air\"\n"
               "}\n",
               ""},
        RunRow{"property_that_is_no_object",
               {"lora/demo/th1", "word"},
               4,
               "definition: lora/demo/th1\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/th1.json\n"
               "hides:      default\n"
               "decoder:    -\n"
               "state:      ok\n",
               "scada-sensors: Sensor definition [lora/demo/th1] does not contain [word] property.\n"},
        RunRow{"broken_definition_that_hides_a_good_one",
               {"lora/demo/z"},
               1,
               "definition: lora/demo/z\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/z.json\n"
               "hides:      default\n"
               "decoder:    -\n"
               "state:      Invalid syntax of the sensor definition [lora/demo/z].\n",
               "$T/custom/lora/demo/z.json:1:2: error: Invalid syntax of the sensor definition [lora/demo/z]. Missing "
               "'}' or object member name [definition/syntax]\n"},
        RunRow{"nested_too_deep",
               {"lora/demo/deep"},
               1,
               "definition: lora/demo/deep\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/deep.json\n"
               "hides:      -\n"
               "decoder:    -\n"
               "state:      Exceeded stackLimit in readValue().\n",
               "$T/custom/lora/demo/deep.json: error: Exceeded stackLimit in readValue(). [definition/too-deep]\n"},
        RunRow{"unknown",
               {"lora/demo/nosuch"},
               4,
               "",
               "scada-sensors: Sensor definition [lora/demo/nosuch] not found.\n"
               "scada-sensors: \"scada-sensors list\" shows the definitions\n"}),
    rowName);

TEST_F(Show, asJsonIsReadableByOthers) {
    const ToolRun result = run({"show", "lora/demo/th1", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "decoder" : null,
    "definition" : "lora/demo/th1",
    "document" : 
    {
      "properties" : 
      {
        "temperature" : 
        {
          "unit" : "\u00b0C\u009b"
        },
        "word" : "x"
      }
    },
    "file" : "$T/custom/lora/demo/th1.json",
    "hides" : "default",
    "state" : "ok",
    "storage" : "custom"
  },
  "status" : "success"
}
)");
}

TEST_F(Show, failsAsJsonWithEveryFault) {
    const ToolRun result = run({"show", "lora/demo/z", "temperature", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "failed",
  "error" : "Invalid syntax of the sensor definition [lora/demo/z]. Missing '}' or object member name",
  "format_version" : 2,
  "result" : 
  {
    "decoder" : null,
    "definition" : "lora/demo/z",
    "file" : "$T/custom/lora/demo/z.json",
    "findings" : 
    [
      {
        "column" : 2,
        "file" : "$T/custom/lora/demo/z.json",
        "line" : 1,
        "remedy" : "Correct the file at this place.",
        "rule" : "definition/syntax",
        "severity" : "error",
        "text" : "Invalid syntax of the sensor definition [lora/demo/z]. Missing '}' or object member name"
      }
    ],
    "hides" : "default",
    "state" : "Invalid syntax of the sensor definition [lora/demo/z].",
    "storage" : "custom"
  },
  "status" : "fail"
}
)");
}

} // namespace
