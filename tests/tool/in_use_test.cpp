// Losses of the managed sensors when definitions are removed or replaced, and queries for the definitions in use.

#include "ToolTest.h"
#include "json_text.h"

#include <gmock/gmock.h>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

constexpr const char* TWO_PROPERTIES = R"({"decoder": "th1.js", "properties": {"humidity": {}, "temperature": {}}})";
constexpr const char* ONE_PROPERTY = R"({"decoder": "th1.js", "properties": {"temperature": {}, "humidity": "none"}})";
constexpr const char* LOSES_PROPERTY = "sensor lora@aa loses the property [humidity] of lora/demo/th1\n";

class InUse : public ToolTest {
protected:
    InUse() {
        define(custom, TWO_PROPERTIES);
        writeList({GOOD_SENSOR, R"({"id": "bb", "src": "lora", "sensor": "demo/th1"})"});
    }

    static void define(const StorageBuilder& storage, const std::string& document) {
        writeFile(storage.dir() + "/lora/demo/th1.json", document);
        writeFile(storage.dir() + "/lora/demo/th1.js", "");
    }

    ToolRun install(std::vector<std::string> more) const {
        std::vector<std::string> arguments = {"install", temp / "source", "--allow-overwrite"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }

    StorageBuilder source{temp / "source"};
};

TEST_F(InUse, removalNamesTheSensorsThatLoseTheirDefinition) {
    const ToolRun result = run({"remove", "lora/demo/th1"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "removed lora/demo/th1\n"
                          "sensor lora@aa loses its definition lora/demo/th1\n"
                          "sensor lora@bb loses its definition lora/demo/th1\n");
}

TEST_F(InUse, removalNamesThePropertiesThatTheDefaultOneDoesNotHave) {
    define(standard, ONE_PROPERTY);
    EXPECT_THAT(run({"remove", "--all", "--yes"}).out, HasSubstr(LOSES_PROPERTY));
}

TEST_F(InUse, removalTakesNothingWhereTheDefaultOneHasAll) {
    define(standard, TWO_PROPERTIES);
    EXPECT_EQ(run({"remove", "lora/demo/th1", "--if-unused"}).out,
              "removed lora/demo/th1; the default definition is in force again\n");
}

TEST_F(InUse, removalLosesTheDefinitionWhereTheDefaultOneIsFaulty) {
    define(standard, "{");
    EXPECT_THAT(run({"remove", "lora/demo/th1"}).out, HasSubstr("sensor lora@aa loses its definition lora/demo/th1\n"));
}

TEST_F(InUse, removalOfAFaultyDefinitionTakesNothing) {
    define(custom, "{");
    EXPECT_EQ(run({"remove", "lora/demo/th1", "--if-unused"}).out, "removed lora/demo/th1\n");
}

TEST_F(InUse, removalIsRefusedOnDemand) {
    const auto before = snapshot(temp / "custom");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"remove", "lora/demo/th1", "--if-unused"},
          std::vector<std::string>{"remove", "--all", "--yes", "--if-unused"}}) {
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 5);
        EXPECT_EQ(result.out, "sensor lora@aa loses its definition lora/demo/th1\n"
                              "sensor lora@bb loses its definition lora/demo/th1\n");
        EXPECT_EQ(result.err,
                  "scada-sensors: 2 sensors would lose a definition or a property; nothing has been changed\n");
        EXPECT_EQ(snapshot(temp / "custom"), before);
    }
}

TEST_F(InUse, nothingIsRemovedWithoutAListToAsk) {
    writeFile(temp / "list.json", "[");
    const ToolRun result = run({"remove", "lora/demo/th1", "--if-unused"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, "scada-sensors: it is not known what is in use, because the managed-sensors list cannot be "
                          "read: scada-sensors check; nothing has been changed\n");
    EXPECT_EQ(treeOf(temp / "custom").count("lora/demo/th1.json"), 1U);
    EXPECT_EQ(run({"remove", "lora/demo/th1"}).status, 0);
}

TEST_F(InUse, removalSaysWhenItCannotKnowTheSensors) {
    writeFile(temp / "list.json", "[");
    const ToolRun result = run({"remove", "lora/demo/th1"});
    EXPECT_THAT(result.err, HasSubstr("the managed-sensors list cannot be used, so no sensors are shown"));
}

TEST_F(InUse, installationNamesTheSensorsThatLoseAProperty) {
    define(source, ONE_PROPERTY);
    const ToolRun result = install({});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr(std::string("installed lora/demo/th1\n") + LOSES_PROPERTY));
}

TEST_F(InUse, installationIsRefusedOnDemand) {
    define(source, ONE_PROPERTY);
    const auto before = snapshot(temp / "custom");
    for (const std::vector<std::string>& more :
         {std::vector<std::string>{"--if-unused"}, std::vector<std::string>{"--if-unused", "--dry-run"}}) {
        const ToolRun result = install(more);
        EXPECT_EQ(result.status, 5);
        EXPECT_EQ(result.err,
                  "scada-sensors: 2 sensors would lose a definition or a property; nothing has been changed\n");
        EXPECT_EQ(snapshot(temp / "custom"), before);
    }
}

TEST_F(InUse, installationThatTakesNothingIsNotRefused) {
    define(source, R"({"decoder": "th1.js", "properties": {"humidity": {"unit": "%"}, "temperature": {}, "x": {}}})");
    EXPECT_EQ(install({"--if-unused"}).status, 0);
}

TEST_F(InUse, lossesForPrograms) {
    define(source, ONE_PROPERTY);
    EXPECT_EQ(parsed(install({"--json"}).out)["result"]["losses"],
              parsed(R"([{"definition": "lora/demo/th1", "sensors": ["lora@aa", "lora@bb"],
                          "properties": ["humidity"]}])"));
    EXPECT_EQ(parsed(run({"remove", "lora/demo/th1", "--json"}).out)["result"]["losses"],
              parsed(R"([{"definition": "lora/demo/th1", "sensors": ["lora@aa", "lora@bb"], "properties": null}])"));
}

TEST_F(InUse, sensorsOfOneDefinition) {
    addDefinition(standard, "lora/demo/other");
    writeList({GOOD_SENSOR, R"({"id": "cc", "src": "lora", "sensor": "demo/missing"})"});
    EXPECT_EQ(run({"sensors", "--definition", "lora/demo/th1"}).out, "SENSOR   DEFINITION     STATE\n"
                                                                     "lora@aa  lora/demo/th1  ok\n");
    EXPECT_EQ(run({"sensors", "--definition", "lora/demo/other"}).out, "SENSOR  DEFINITION  STATE\n");
    EXPECT_THAT(run({"sensors", "--definition", "lora/demo/missing"}).out, HasSubstr("lora@cc  lora/demo/missing  "));
    const ToolRun unknown = run({"sensors", "--definition", "lora/demo/th"});
    EXPECT_EQ(unknown.status, 4);
    EXPECT_EQ(unknown.err, "scada-sensors: Sensor definition [lora/demo/th] not found.\n"
                           "scada-sensors: \"scada-sensors list\" shows the definitions\n");
}

TEST_F(InUse, unusedDefinitions) {
    addDefinition(standard, "lora/demo/other");
    const ToolRun result = run({"list", "--unused"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("lora/demo/other"));
    EXPECT_THAT(result.out, ::testing::Not(HasSubstr("lora/demo/th1")));
    writeFile(temp / "list.json", "{}");
    EXPECT_EQ(run({"list", "--unused"}).status, 1);
}

} // namespace
