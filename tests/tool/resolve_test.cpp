#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

namespace {

using namespace Kelvra::SCADA::Test;

class Resolve : public ToolTest, public ::testing::WithParamInterface<RunRow> {
protected:
    Resolve() {
        addDefinition(standard, "lora/demo/th1");
        addDefinition(custom, "lora/demo/th1", "Cellar");
        addDefinition(standard, "lora/demo/z");
        custom.definition("lora/demo/z", R"({"properties": {}, "decoder": "nosuch"})");
        custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
        writeList({"7", GOOD_SENSOR, R"({"id": "aa", "src": "lora", "sensor": "demo/z"})",
                   R"({"id": "z", "src": "lora", "sensor": "demo/z"})",
                   R"({"id": "deep", "src": "lora", "sensor": "demo/deep"})",
                   R"({"id": "gone", "src": "lora", "sensor": "demo/gone"})", R"({"id": "f@1", "src": "lora"})"});
    }
};

TEST_P(Resolve, showsTheChainAsFarAsItGoes) {
    expectRun("resolve", GetParam());
}

#define CHAIN_TO_SENSOR                                                                                                \
    "list:       $T/list.json\n"                                                                                       \
    "element:    [1] line 3: {\"id\":\"AA\",\"sensor\":\"demo/th1\",\"src\":\"lora\"}\n"                               \
    "sensor:     lora@aa\n"                                                                                            \
    "definition: lora/demo/th1\n"
#define CHAIN_OVERRIDDEN                                                                                               \
    "storage:    custom\n"                                                                                             \
    "file:       $T/custom/lora/demo/th1.json\n"                                                                       \
    "hides:      default\n"                                                                                            \
    "decoder:    $T/custom/lora/demo/th1.js\n"                                                                         \
    "state:      ok\n"

INSTANTIATE_TEST_SUITE_P(
    Tool, Resolve,
    ::testing::Values(
        RunRow{"overridden_definition",
               {"lora", "aa", "temperature"},
               0,
               "source:     lora\n"
               "identifier: aa\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN "property:   temperature\n"
               "description:\n"
               "{\n"
               "  \"name\" : \"Cellar\"\n"
               "}\n",
               ""},
        RunRow{"normalised_without_property",
               {" lora", "AA\t"},
               0,
               "source:     lora (given as [ lora])\n"
               "identifier: aa (given as [AA\\x09])\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN
               "properties: [\"temperature\"]\n",
               ""},
        RunRow{"default_definition",
               {"lora", "aa", "--custom-dir", ""},
               0,
               "source:     lora\n"
               "identifier: aa\n" CHAIN_TO_SENSOR "storage:    default\n"
               "file:       $T/default/lora/demo/th1.json\n"
               "hides:      -\n"
               "decoder:    $T/default/lora/demo/th1.js\n"
               "state:      ok\n"
               "properties: [\"temperature\"]\n",
               ""},
        RunRow{"missing_property",
               {"lora", "aa", "nosuch"},
               4,
               "source:     lora\n"
               "identifier: aa\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN,
               "scada-sensors: Sensor definition [lora/demo/th1] does not contain [nosuch] property.\n"},
        RunRow{"identifier_alone",
               {"AA"},
               0,
               "source:     lora\n"
               "identifier: aa (given as [AA])\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN "properties: [\"temperature\"]\n",
               ""},
        RunRow{"identifier_and_property",
               {"aa", "nosuch"},
               4,
               "source:     lora\n"
               "identifier: aa\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN,
               "scada-sensors: Sensor definition [lora/demo/th1] does not contain [nosuch] property.\n"},
        RunRow{"faulty_element",
               {"lora", "f@1"},
               1,
               "list:       $T/list.json\n"
               "element:    [6] line 8: {\"id\":\"f@1\",\"src\":\"lora\"}\n",
               "$T/list.json:8:1: error: element 6: Sensor definition is not specified for the [f@1] sensor. "
               "[list/bad-definition-name]\n"
               "$T/list.json:8:1: error: element 6: Invalid identifier [f@1] specified for a managed sensor sensor. "
               "[list/bad-identifier]\n"},
        RunRow{"unknown_identifier_alone",
               {"nosuch"},
               4,
               "",
               "scada-sensors: 3 of 7 list elements are faulty: scada-sensors check\n"

               "scada-sensors: No managed sensor has the identifier [nosuch].\n"
               "scada-sensors: \"scada-sensors sensors\" shows the managed sensors\n"},
        RunRow{"empty_property",
               {"lora", "aa", ""},
               4,
               "source:     lora\n"
               "identifier: aa\n" CHAIN_TO_SENSOR CHAIN_OVERRIDDEN,
               "scada-sensors: Sensor definition [lora/demo/th1] does not contain [] property.\n"},
        RunRow{"broken_custom_definition",
               {"lora", "z"},
               1,
               "source:     lora\n"
               "identifier: z\n"
               "list:       $T/list.json\n"
               "element:    [3] line 5: {\"id\":\"z\",\"sensor\":\"demo/z\",\"src\":\"lora\"}\n"
               "sensor:     lora@z\n"
               "definition: lora/demo/z\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/z.json\n"
               "hides:      default\n"
               "decoder:    -\n"
               "state:      Invalid sensor definition [lora/demo/z]: no decoder file found.\n",
               "$T/custom/lora/demo/z.json:1:31: error: Invalid sensor definition [lora/demo/z]: no decoder file "
               "found. [definition/decoder-missing]\n"},
        RunRow{"nested_too_deep",
               {"lora", "deep", "temperature"},
               1,
               "source:     lora\n"
               "identifier: deep\n"
               "list:       $T/list.json\n"
               "element:    [4] line 6: {\"id\":\"deep\",\"sensor\":\"demo/deep\",\"src\":\"lora\"}\n"
               "sensor:     lora@deep\n"
               "definition: lora/demo/deep\n"
               "storage:    custom\n"
               "file:       $T/custom/lora/demo/deep.json\n"
               "hides:      -\n"
               "decoder:    -\n"
               "state:      Exceeded stackLimit in readValue().\n",
               "$T/custom/lora/demo/deep.json: error: Exceeded stackLimit in readValue(). [definition/too-deep]\n"},
        RunRow{"definition_not_installed",
               {"lora", "gone", "temperature"},
               1,
               "source:     lora\n"
               "identifier: gone\n"
               "list:       $T/list.json\n"
               "element:    [5] line 7: {\"id\":\"gone\",\"sensor\":\"demo/gone\",\"src\":\"lora\"}\n"
               "sensor:     lora@gone\n"
               "definition: lora/demo/gone\n",
               "$T/list.json:7:1: error: element 5: Sensor definition [lora/demo/gone] not found. "
               "[list/definition-missing]\n"},
        RunRow{"unknown_sensor",
               {"lora", "nosuch"},
               4,
               "",
               "scada-sensors: 3 of 7 list elements are faulty: scada-sensors check\n"
               "scada-sensors: Sensor [lora@nosuch] is not defined in the Managed Sensors list.\n"
               "scada-sensors: \"scada-sensors sensors\" shows the managed sensors\n"},
        RunRow{"source_in_other_case",
               {"LORA", "aa"},
               4,
               "",
               "scada-sensors: 3 of 7 list elements are faulty: scada-sensors check\n"
               "scada-sensors: Sensor [LORA@aa] is not defined in the Managed Sensors list.\n"
               "scada-sensors: \"scada-sensors sensors\" shows the managed sensors\n"}),
    rowName);

TEST_F(Resolve, asJson) {
    const ToolRun result = run({"resolve", "lora", "AA", "temperature", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "decoder" : "$T/custom/lora/demo/th1.js",
    "definition" : "lora/demo/th1",
    "description" : 
    {
      "name" : "Cellar"
    },
    "element" : 
    {
      "column" : 1,
      "index" : 1,
      "line" : 3,
      "value" : 
      {
        "id" : "AA",
        "sensor" : "demo/th1",
        "src" : "lora"
      }
    },
    "file" : "$T/custom/lora/demo/th1.json",
    "hides" : "default",
    "identifier" : "aa",
    "list" : "$T/list.json",
    "property" : "temperature",
    "sensor" : "lora@aa",
    "source" : "lora",
    "state" : "ok",
    "storage" : "custom"
  },
  "status" : "success"
}
)");
}

TEST_F(Resolve, failsAsJsonWithTheChainSoFar) {
    const ToolRun result = run({"resolve", "lora", "gone", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, R"({
  "code" : "failed",
  "error" : "Sensor definition [lora/demo/gone] not found.",
  "format_version" : 2,
  "result" : 
  {
    "definition" : "lora/demo/gone",
    "element" : 
    {
      "column" : 1,
      "index" : 5,
      "line" : 7,
      "value" : 
      {
        "id" : "gone",
        "sensor" : "demo/gone",
        "src" : "lora"
      }
    },
    "findings" : 
    [
      {
        "column" : 1,
        "element" : 5,
        "file" : "$T/list.json",
        "line" : 7,
        "remedy" : "Install the definition, or correct \"sensor\"; \"scada-sensors list\" shows what there is.",
        "rule" : "list/definition-missing",
        "severity" : "error",
        "text" : "Sensor definition [lora/demo/gone] not found."
      }
    ],
    "identifier" : "gone",
    "list" : "$T/list.json",
    "sensor" : "lora@gone",
    "source" : "lora"
  },
  "status" : "fail"
}
)");
    Json::Value unknown = envelope(4);
    unknown["error"] = "Sensor [lora@nosuch] is not defined in the Managed Sensors list.";
    EXPECT_EQ(parsed(run({"resolve", "lora", "nosuch", "--json"}).out), unknown);
}

TEST_F(Resolve, asksForTheSourceOfAnIdentifierThatIsNotUnique) {
    writeList({GOOD_SENSOR, R"({"id": "aa", "src": "other", "sensor": "demo/z"})"});
    const ToolRun result = run({"resolve", "AA", "temperature"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: The identifier [aa] belongs to several sensors: lora@aa, other@aa. Give the "
                          "source too.\n");
}

TEST_F(Resolve, asksForAnIdentifierThatIsNotBlank) {
    writeList({R"({"src": "lora", "sensor": "demo/th1"})", "7"});
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"resolve", ""}, {"resolve", "  "}, {"resolve", "lora", ""}}) {
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "scada-sensors: ID is blank\n");
    }
}

TEST_F(Resolve, theSampleSensorThroughTheOverridingDefinition) {
    const std::string examples = SCADA_EXAMPLES;
    const ToolRun result = run({"resolve", "lora", "02A1F00000007411", "temperature", "--json", "--default-dir",
                                examples + "/storages/default", "--custom-dir", examples + "/storages/custom", "--map",
                                examples + "/sensors_map.json"});
    EXPECT_EQ(result.status, 0);
    const Json::Value chain = parsed(result.out)["result"];
    EXPECT_EQ(chain["sensor"], "lora@02a1f00000007411");
    EXPECT_EQ(chain["definition"], "lora/demo/th1");
    EXPECT_EQ(chain["storage"], "custom");
    EXPECT_EQ(chain["hides"], "default");
    EXPECT_EQ(chain["decoder"], examples + "/storages/custom/lora/demo/th1-decoder");
    EXPECT_EQ(chain["description"]["unit"], "\xc2\xb0"
                                            "C");
}

} // namespace
