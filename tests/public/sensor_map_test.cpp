#include "FakeSupport.h"
#include "NamedRow.h"
#include "StorageBuilder.h"
#include "TempDir.h"
#include "demo_sensor.h"
#include "files.h"
#include "json_text.h"
#include "log_line.h"
#include "row_name.h"

#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <gmock/gmock.h>

#include <map>
#include <new>
#include <type_traits>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace PrintLevel = Kelvra::Logger::PrintLevel;

static_assert(std::is_default_constructible<SensorMap>::value && !std::is_polymorphic<SensorMap>::value);

// The layout of the fields that compiled host programs rely on.
struct MapLayout {
    SensorDefinitions definitions;
    std::unordered_map<std::string, std::string> sensors;
};
static_assert(sizeof(SensorMap) == sizeof(MapLayout));

const char* const ONE_SENSOR = R"([{"id": "AbC", "src": "Net", "sensor": "demo/th1"}])";

// A level, named in a table before the level objects can be read.
enum Level { ERROR, WARNING, TRACE };

struct Message {
    Level level;
    std::string text; ///< "FILE" stands for the path of the list
};

class SensorMapTest : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        Env::inst().conf().setDfnCustomDir(root / "custom");
        Env::inst().conf().setDfnDefaultDir(root / "default");
        Env::inst().conf().setSensorMapFile(file);
    }

    static std::vector<FakeSupport::LogLine>& logs() { return FakeSupport::inst().logs; }
    FakeSupport::LogLine lineOf(const Message& message) const {
        std::string text = message.text;
        const std::string::size_type place = text.find("FILE");
        if (place != std::string::npos)
            text.replace(place, 4, file);
        return message.level == ERROR     ? errorLine(text)
               : message.level == WARNING ? warningLine(text)
                                          : traceLine(text);
    }
    void expectLogged(const std::vector<Message>& messages) const {
        std::vector<FakeSupport::LogLine> lines;
        lines.reserve(messages.size());
        for (const Message& message : messages)
            lines.push_back(lineOf(message));
        EXPECT_EQ(logs(), lines);
    }
    void writeList(const std::string& text) const { writeFile(file, text); }
    void loadOneSensor(SensorMap& map) const {
        writeList(ONE_SENSOR);
        ASSERT_TRUE(map.Load());
        logs().clear();
    }

    TempDir root;
    const std::string file = root / "sensors_map.json";
};

std::string nameOf(const SensorMap& map, const std::string& src, const std::string& id) {
    std::string name = "not managed";
    map.getSensorDefinitionName(src, id, &name);
    return name;
}

// --- reading the list

struct List : NamedRow {
    std::string text;
    bool loaded;
    std::vector<Message> messages;
    std::map<std::string, std::string> sensors; ///< sensor key to definition name
};

const char* const NO_ARRAY = "[MAP] Failed to parse the managed sensors list [FILE]: json is not an array object";
const char* const BAD_ELEMENT = "[MAP] Incorrect entry in the managed sensors list [FILE]. ";

const char* const PARSE_FAILED = "[MAP] Failed to parse the managed sensors list [FILE]: ";

const std::string NUL(1, '\0');

const std::string NUL_IN_THE_IDENTIFIER = R"([{"id": "A)" + NUL + R"(b", "src": "s", "sensor": "d"}])";

const std::vector<List> LISTS = {
    {"empty_file",
     "",
     false,
     {{ERROR, PARSE_FAILED + std::string("* Line 1, Column 1\n  Syntax error: value, object or array expected.\n")}},
     {}},
    {"blank_file",
     " \n",
     false,
     {{ERROR, PARSE_FAILED + std::string("* Line 2, Column 1\n  Syntax error: value, object or array expected.\n")}},
     {}},
    {"comma_missing",
     "[1 2]",
     false,
     {{ERROR, PARSE_FAILED + std::string("* Line 1, Column 4\n  Missing ',' or ']' in array declaration\n")}},
     {}},
    {"root_is_object", "{}", false, {{ERROR, NO_ARRAY}}, {}},
    {"root_is_string", "\"[]\"", false, {{ERROR, NO_ARRAY}}, {}},
    {"root_is_number", "7", false, {{ERROR, NO_ARRAY}}, {}},
    {"root_is_true", "true", false, {{ERROR, NO_ARRAY}}, {}},
    {"root_is_false", "false", false, {{ERROR, NO_ARRAY}}, {}},
    {"root_is_null", "null", false, {{ERROR, NO_ARRAY}}, {}},
    {"empty_array", "[]", true, {}, {}},
    {"one_sensor",
     ONE_SENSOR,
     true,
     {{TRACE, "[MAP] Registered managed sensor: [Net@abc] -> [Net/demo/th1]"}},
     {{"Net@abc", "Net/demo/th1"}}},
    {"faulty_then_good",
     R"([7, {"id": "AbC", "src": "Net", "sensor": "Model"}])",
     true,
     {{WARNING, BAD_ELEMENT + std::string("Corresponding json section is not an object.")},
      {TRACE, "[MAP] Registered managed sensor: [Net@abc] -> [Net/Model]"}},
     {{"Net@abc", "Net/Model"}}},
    {"good_then_faulty",
     R"([{"id": "a", "src": "Net", "sensor": "M"}, {"id": "B"}])",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [Net@a] -> [Net/M]"},
      {WARNING, BAD_ELEMENT + std::string("Source value is not specified for the [b] sensor.")}},
     {{"Net@a", "Net/M"}}},
    {"only_faulty",
     R"([null, {"id": "i", "src": "s@t", "sensor": "d"}])",
     true,
     {{WARNING, BAD_ELEMENT + std::string("Corresponding json section is not an object.")},
      {WARNING, BAD_ELEMENT + std::string("Invalid source value [s@t] specified for [i] the managed sensor sensor.")}},
     {}},
    {"duplicate_in_other_case",
     R"([{"id": "ABC", "src": "Net", "sensor": "M1"}, {"id": " abc ", "src": "Net ", "sensor": "M2"}])",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [Net@abc] -> [Net/M1]"},
      {WARNING, "[MAP] Incorrect entry in the  [FILE]: duplicate key id=[abc] src=[Net]. Skipping."}},
     {{"Net@abc", "Net/M1"}}},
    {"sources_differ",
     R"([{"id": "a", "src": "Net", "sensor": "M"}, {"id": "a", "src": "net", "sensor": "M"}])",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [Net@a] -> [Net/M]"},
      {TRACE, "[MAP] Registered managed sensor: [net@a] -> [net/M]"}},
     {{"Net@a", "Net/M"}, {"net@a", "net/M"}}},
    {"comments_and_text_behind",
     "// list\n[{\"id\": \"a\", \"src\": \"s\", \"sensor\": \"d\"} /* one */] ]]",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [s@a] -> [s/d]"}},
     {{"s@a", "s/d"}}},
    {"byte_order_mark",
     "\xEF\xBB\xBF[{\"id\": \"a\", \"src\": \"s\", \"sensor\": \"d\"}]",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [s@a] -> [s/d]"}},
     {{"s@a", "s/d"}}},
    {"nul_before",
     NUL + ONE_SENSOR,
     false,
     {{ERROR, PARSE_FAILED + std::string("* Line 1, Column 1\n  Syntax error: value, object or array expected.\n")}},
     {}},
    {"nul_between_elements",
     "[1" + NUL + ", 2]",
     false,
     {{ERROR, PARSE_FAILED + std::string("* Line 1, Column 3\n  Missing ',' or ']' in array declaration\n")}},
     {}},
    {"nul_and_text_after",
     ONE_SENSOR + NUL + "x",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [Net@abc] -> [Net/demo/th1]"}},
     {{"Net@abc", "Net/demo/th1"}}},
    REFUSES_CONTROL_CHARACTERS
        ? List{"nul_in_the_identifier",
               NUL_IN_THE_IDENTIFIER,
               false,
               {{ERROR, PARSE_FAILED + std::string("* Line 1, Column 9\n  Control character in string\n"
                                                   "See Line 1, Column 11 for detail.\n")}},
               {}}
        : List{"nul_in_the_identifier",
               NUL_IN_THE_IDENTIFIER,
               true,
               {{TRACE, "[MAP] Registered managed sensor: [s@a] -> [s/d]"}},
               {{"s@a" + NUL + "b", "s/d"}}},
    {"format_characters",
     R"([{"id": "%s", "src": "%n", "sensor": "%d"}])",
     true,
     {{TRACE, "[MAP] Registered managed sensor: [%n@%s] -> [%n/%d]"}},
     {{"%n@%s", "%n/%d"}}},
};

class SensorMapList : public SensorMapTest, public ::testing::WithParamInterface<List> {};
INSTANTIATE_TEST_SUITE_P(Rows, SensorMapList, ::testing::ValuesIn(LISTS), rowName);

TEST_P(SensorMapList, load) {
    writeList(GetParam().text);
    SensorMap map;
    EXPECT_TRUE(map.isFileExists());
    EXPECT_EQ(map.Load(), GetParam().loaded);
    expectLogged(GetParam().messages);
    for (const auto& sensor : GetParam().sensors) {
        const std::string::size_type at = sensor.first.find('@');
        EXPECT_EQ(nameOf(map, sensor.first.substr(0, at), sensor.first.substr(at + 1)), sensor.second);
    }
}

TEST_P(SensorMapList, loadKeepsWhatWasLoadedBefore) {
    SensorMap map;
    writeList(R"([{"id": "first", "src": "Net", "sensor": "Old"}])");
    ASSERT_TRUE(map.Load());
    logs().clear();
    writeList(GetParam().text);
    EXPECT_EQ(map.Load(), GetParam().loaded);
    expectLogged(GetParam().messages);
    EXPECT_EQ(nameOf(map, "Net", "first"), "Net/Old");
}

TEST_F(SensorMapTest, missingFile) {
    SensorMap map;
    EXPECT_FALSE(map.isFileExists());
    EXPECT_FALSE(map.Load());
    expectLogged({{ERROR, "[MAP] Failed to open the managed sensors list [FILE]"}});
    EXPECT_FALSE(map.isSensorPresent("Net", "abc"));
}

TEST_F(SensorMapTest, emptyFileName) {
    Env::inst().conf().setSensorMapFile("");
    SensorMap map;
    EXPECT_FALSE(map.isFileExists());
    EXPECT_FALSE(map.Load());
    expectLogged({{ERROR, "[MAP] Failed to open the managed sensors list []"}});
}

// A directory can be opened like a file, but has no text.
TEST_F(SensorMapTest, directoryAsList) {
    makeDir(file);
    SensorMap map;
    EXPECT_TRUE(map.isFileExists());
    EXPECT_FALSE(map.Load());
    expectLogged({{ERROR, "[MAP] Failed to parse the managed sensors list [FILE]: * Line 1, Column 1\n"
                          "  Syntax error: value, object or array expected.\n"}});
}

TEST_F(SensorMapTest, isFileExistsLogsNothingAndLoadsNothing) {
    writeList(ONE_SENSOR);
    SensorMap map;
    EXPECT_TRUE(map.isFileExists());
    EXPECT_FALSE(map.isSensorPresent("Net", "abc"));
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(SensorMapTest, linkToTheListIsFollowed) {
    writeFile(root / "real.json", ONE_SENSOR);
    makeLink("real.json", file);
    SensorMap map;
    EXPECT_TRUE(map.isFileExists());
    EXPECT_TRUE(map.Load());
    EXPECT_TRUE(map.isSensorPresent("Net", "abc"));
}

TEST_F(SensorMapTest, fileNameIsReadAtEachLoad) {
    SensorMap map;
    EXPECT_FALSE(map.Load());
    writeFile(root / "other.json", ONE_SENSOR);
    Env::inst().conf().setSensorMapFile(root / "other.json");
    EXPECT_TRUE(map.isFileExists());
    EXPECT_TRUE(map.Load());
    EXPECT_TRUE(map.isSensorPresent("Net", "abc"));
}

TEST_F(SensorMapTest, secondLoadReportsEveryEntryAsDuplicate) {
    writeList(R"([{"id": "A", "src": "s", "sensor": "d1"}, 7, {"id": "b", "src": "s", "sensor": "d2"}])");
    SensorMap map;
    ASSERT_TRUE(map.Load());
    logs().clear();
    EXPECT_TRUE(map.Load());
    expectLogged({{WARNING, "[MAP] Incorrect entry in the  [FILE]: duplicate key id=[a] src=[s]. Skipping."},
                  {WARNING, BAD_ELEMENT + std::string("Corresponding json section is not an object.")},
                  {WARNING, "[MAP] Incorrect entry in the  [FILE]: duplicate key id=[b] src=[s]. Skipping."}});
}

TEST_F(SensorMapTest, secondLoadOnlyAdds) {
    writeList(R"([{"id": "gone", "src": "s", "sensor": "d"}, {"id": "stays", "src": "s", "sensor": "first"}])");
    SensorMap map;
    ASSERT_TRUE(map.Load());
    writeList(R"([{"id": "stays", "src": "s", "sensor": "second"}, {"id": "new", "src": "s", "sensor": "d"}])");
    EXPECT_TRUE(map.Load());
    EXPECT_EQ(nameOf(map, "s", "gone"), "s/d");
    EXPECT_EQ(nameOf(map, "s", "stays"), "s/first");
    EXPECT_EQ(nameOf(map, "s", "new"), "s/d");
}

TEST_F(SensorMapTest, mapsShareNothing) {
    SensorMap first;
    loadOneSensor(first);
    const SensorMap second;
    EXPECT_TRUE(first.isSensorPresent("Net", "abc"));
    EXPECT_FALSE(second.isSensorPresent("Net", "abc"));
}

// The entry's text is cut at 255 bytes; the log line around it is not.
TEST_F(SensorMapTest, longEntryTextIsCutInTheLog) {
    const std::string id(300, 'i');
    writeList(R"([{"id": ")" + id + R"("}])");
    SensorMap map;
    EXPECT_TRUE(map.Load());
    const std::string text = "Source value is not specified for the [" + id + "] sensor.";
    expectLogged({{WARNING, BAD_ELEMENT + text.substr(0, 255)}});
}

TEST_F(SensorMapTest, nestingBeyondTheLimitThrowsAndKeepsTheMap) {
    SensorMap map;
    loadOneSensor(map);
    writeList(nestedArrays(NESTING_LIMIT + 1));
    EXPECT_THROW(map.Load(), Json::Exception);
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_TRUE(map.isSensorPresent("Net", "abc"));
    writeList(R"([{"id": "later", "src": "Net", "sensor": "demo/th1"}])");
    EXPECT_TRUE(map.Load());
    EXPECT_TRUE(map.isSensorPresent("Net", "later"));
}

TEST_F(SensorMapTest, nestingUpToTheLimitIsAFaultyElementLikeAnother) {
    writeList(nestedArrays(NESTING_LIMIT));
    SensorMap map;
    EXPECT_TRUE(map.Load());
    expectLogged({{WARNING, BAD_ELEMENT + std::string("Corresponding json section is not an object.")}});
}

// --- sensors, by source and identifier

struct Sensor : NamedRow {
    std::string src;
    std::string id;
    const char* definition; ///< null: not managed
    const char* error;      ///< of a measurement of a sensor that is not managed
};

class SensorMapSensor : public SensorMapTest, public ::testing::WithParamInterface<Sensor> {
protected:
    void SetUp() override {
        SensorMapTest::SetUp();
        writeList(R"([{"id": " AbC ", "src": " Net ", "sensor": "demo/th1"}, {"id": "a b", "src": "x/y", "sensor": "z"},
                      {"id": "n\u0000l", "src": "Net", "sensor": "nul"}])");
        ASSERT_TRUE(map.Load());
        logs().clear();
    }
    SensorMap map;
};
INSTANTIATE_TEST_SUITE_P(
    Rows, SensorMapSensor,
    ::testing::Values(
        Sensor{"managed", "Net", "abc", "Net/demo/th1", nullptr},
        Sensor{"slash_and_blank", "x/y", "a b", "x/y/z", nullptr},
        Sensor{"nul", "Net", std::string("n\0l", 3), "Net/nul", nullptr},
        Sensor{"up_to_the_nul", "Net", "n", nullptr, "Sensor [Net@n] is not defined in the Managed Sensors list."},
        Sensor{"unknown", "Net", "xyz", nullptr, "Sensor [Net@xyz] is not defined in the Managed Sensors list."},
        Sensor{"id_in_upper_case", "Net", "ABC", nullptr,
               "Sensor [Net@ABC] is not defined in the Managed Sensors list."},
        Sensor{"id_as_in_the_file", "Net", "AbC", nullptr,
               "Sensor [Net@AbC] is not defined in the Managed Sensors list."},
        Sensor{"source_in_lower_case", "net", "abc", nullptr,
               "Sensor [net@abc] is not defined in the Managed Sensors list."},
        Sensor{"swapped", "abc", "Net", nullptr, "Sensor [abc@Net] is not defined in the Managed Sensors list."},
        Sensor{"id_in_blanks", "Net", " abc ", nullptr,
               "Sensor [Net@ abc ] is not defined in the Managed Sensors list."},
        Sensor{"source_in_blanks", " Net ", "abc", nullptr,
               "Sensor [ Net @abc] is not defined in the Managed Sensors list."},
        Sensor{"source_ends_in_at_sign", "Net@", "abc", nullptr,
               "Sensor [Net@@abc] is not defined in the Managed Sensors list."},
        Sensor{"both_empty", "", "", nullptr, "Sensor [@] is not defined in the Managed Sensors list."},
        Sensor{"format_characters", "%s", "%n", nullptr, "Sensor [%s@%n] is not defined in the Managed Sensors list."}),
    rowName);

TEST_P(SensorMapSensor, isSensorPresent) {
    EXPECT_EQ(map.isSensorPresent(GetParam().src, GetParam().id), GetParam().definition != nullptr);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_P(SensorMapSensor, getSensorDefinitionName) {
    std::string name = UNTOUCHED;
    EXPECT_EQ(map.getSensorDefinitionName(GetParam().src, GetParam().id, &name), GetParam().definition != nullptr);
    EXPECT_EQ(name, GetParam().definition != nullptr ? GetParam().definition : UNTOUCHED);
    EXPECT_EQ(map.getSensorDefinitionName(GetParam().src, GetParam().id, nullptr), GetParam().definition != nullptr);
    EXPECT_THAT(logs(), IsEmpty());
}

// The definitions are not installed: for a managed sensor the text is the registry's, for any other the map's own.
TEST_P(SensorMapSensor, getMeasurement) {
    std::string error = UNTOUCHED;
    EXPECT_EQ(&map.getMeasurement(GetParam().src, GetParam().id, "p", &error), &Json::Value::nullSingleton());
    if (GetParam().definition != nullptr) {
        const std::string text = std::string("Sensor definition [") + GetParam().definition + "] not found.";
        EXPECT_EQ(error, text);
        expectLogged({{WARNING, "[DFN] " + text}});
    } else {
        EXPECT_EQ(error, GetParam().error);
        EXPECT_THAT(logs(), IsEmpty());
    }
}

TEST_P(SensorMapSensor, errorTextIsOptional) {
    EXPECT_EQ(&map.getMeasurement(GetParam().src, GetParam().id, "p", nullptr), &Json::Value::nullSingleton());
}

TEST_P(SensorMapSensor, getDecoderPath) {
    std::string path = UNTOUCHED;
    EXPECT_FALSE(map.getDecoderPath(GetParam().src, GetParam().id, &path));
    EXPECT_EQ(path, UNTOUCHED);
    EXPECT_FALSE(map.getDecoderPath(GetParam().src, GetParam().id, nullptr));
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(SensorMapTest, everySensorIsUnknownBeforeTheFirstLoad) {
    writeList(ONE_SENSOR);
    SensorMap map;
    std::string error;
    EXPECT_FALSE(map.isSensorPresent("Net", "abc"));
    EXPECT_EQ(&map.getMeasurement("Net", "abc", "p", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor [Net@abc] is not defined in the Managed Sensors list.");
    EXPECT_THAT(FakeSupport::inst().asked, IsEmpty());
}

TEST_F(SensorMapTest, longErrorTextIsCutAt255Bytes) {
    SensorMap map;
    std::string error;
    map.getMeasurement("s", std::string(300, 'i'), "p", &error);
    EXPECT_EQ(error, "Sensor [s@" + std::string(245, 'i'));
}

// --- through the registry

TEST_F(SensorMapTest, measurementAndDecoderComeFromTheDefinition) {
    StorageBuilder(root / "default")
        .definition("Net/demo/th1", R"({"decoder": "d.js", "properties": {"t": {"unit": "C"}, "s": "no object"}})")
        .decoder("Net/demo/th1", "d.js");
    SensorMap map;
    loadOneSensor(map);
    std::string error = UNTOUCHED;
    const Json::Value& property = map.getMeasurement("Net", "abc", "t", &error);
    EXPECT_EQ(property, parsed(R"({"unit": "C"})"));
    EXPECT_EQ(&map.getMeasurement("Net", "abc", "t", nullptr), &property);
    EXPECT_EQ(error, UNTOUCHED);
    std::string path;
    EXPECT_TRUE(map.getDecoderPath("Net", "abc", &path));
    EXPECT_EQ(path, root / "default/Net/demo/d.js");
    EXPECT_TRUE(map.getDecoderPath("Net", "abc", nullptr));
    expectLogged({{TRACE, "[DFN] Loaded [Net/demo/th1] sensor definition from the default storage [" +
                              (root / "default") + "]"}});
}

TEST_F(SensorMapTest, propertyThatIsNoObjectGivesTheRegistrysText) {
    StorageBuilder(root / "custom").definition("Net/demo/th1", R"({"properties": {"s": "no object"}})");
    SensorMap map;
    loadOneSensor(map);
    std::string error = UNTOUCHED;
    EXPECT_EQ(&map.getMeasurement("Net", "abc", "s", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor definition [Net/demo/th1] does not contain [s] property.");
    EXPECT_FALSE(map.getDecoderPath("Net", "abc", nullptr));
}

TEST_F(SensorMapTest, customDefinitionHidesTheDefaultOne) {
    StorageBuilder(root / "custom").definition("Net/demo/th1", R"({"properties": {"t": {"from": "custom"}}})");
    StorageBuilder(root / "default").definition("Net/demo/th1", R"({"properties": {"t": {"from": "default"}}})");
    SensorMap map;
    loadOneSensor(map);
    EXPECT_EQ(map.getMeasurement("Net", "abc", "t", nullptr), parsed(R"({"from": "custom"})"));
}

TEST_F(SensorMapTest, brokenCustomDefinitionIsNotReplacedByTheDefaultOne) {
    StorageBuilder(root / "custom").definition("Net/demo/th1", "{");
    StorageBuilder(root / "default").definition("Net/demo/th1", R"({"properties": {"t": {}}})");
    SensorMap map;
    loadOneSensor(map);
    std::string error;
    EXPECT_EQ(&map.getMeasurement("Net", "abc", "t", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor definition [Net/demo/th1] not found.");
    expectLogged({{WARNING, "[DFN] Invalid syntax of the sensor definition [Net/demo/th1]."},
                  {WARNING, "[DFN] Sensor definition [Net/demo/th1] not found."}});
}

TEST_F(SensorMapTest, nestingInTheDefinitionThrowsAndLeavesTheMapUsable) {
    StorageBuilder(root / "custom")
        .definition("Net/demo/th1", R"({"properties": )" + nestedArrays(NESTING_LIMIT) + "}");
    SensorMap map;
    loadOneSensor(map);
    EXPECT_THROW(map.getMeasurement("Net", "abc", "t", nullptr), Json::Exception);
    EXPECT_THROW(map.getDecoderPath("Net", "abc", nullptr), Json::Exception);
    StorageBuilder(root / "custom").definition("Net/demo/th1", R"({"properties": {"t": {}}})");
    EXPECT_EQ(map.getMeasurement("Net", "abc", "t", nullptr), parsed("{}"));
}

// --- logging

TEST_F(SensorMapTest, nothingIsPrintedWhenTheLevelIsOff) {
    FakeSupport::inst().allPrintable(false);
    SensorMap map;
    EXPECT_FALSE(map.Load());
    writeList("{}");
    EXPECT_FALSE(map.Load());
    writeList("[");
    EXPECT_FALSE(map.Load());
    writeList(R"([7, {"id": "a", "src": "s", "sensor": "d"}, {"id": "A", "src": "s", "sensor": "d"}])");
    EXPECT_TRUE(map.Load());
    EXPECT_TRUE(map.isSensorPresent("s", "a"));
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_THAT(FakeSupport::inst().asked,
                ElementsAre(PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LEVEL,
                            PrintLevel::WARNING_LEVEL, PrintLevel::TRACE_LEVEL, PrintLevel::WARNING_LEVEL));
}

TEST_F(SensorMapTest, levelIsReadOnceAndTheLabelWhenPrinting) {
    const int level = PrintLevel::ERROR_LEVEL;
    FakeSupport::inst().onIsPrintable = [](int) {
        PrintLevel::ERROR_LEVEL = 77;
        PrintLevel::ERROR_LABEL = "later label";
    };
    SensorMap map;
    EXPECT_FALSE(map.Load());
    EXPECT_THAT(logs(), ElementsAre(FakeSupport::LogLine{
                            level, "later label", "[MAP] Failed to open the managed sensors list [" + file + "]"}));
    EXPECT_THAT(FakeSupport::inst().asked, ElementsAre(level));
}

TEST_F(SensorMapTest, exceptionKeepsTheEntriesBeforeIt) {
    writeList(R"([{"id": "a", "src": "s", "sensor": "d"}, {"id": "b", "src": "s", "sensor": "d"}])");
    SensorMap map;
    int asked = 0;
    FakeSupport::inst().onIsPrintable = [&](int) {
        if (++asked == 2)
            throw std::bad_alloc();
    };
    EXPECT_THROW(map.Load(), std::bad_alloc);
    EXPECT_TRUE(map.isSensorPresent("s", "a"));
    EXPECT_FALSE(map.isSensorPresent("s", "b"));
}

// A host may query the map from within its logging: the message comes before the entry.
TEST_F(SensorMapTest, entryIsRegisteredAfterItsMessage) {
    writeList(ONE_SENSOR);
    SensorMap map;
    bool presentBefore = true;
    FakeSupport::inst().onIsPrintable = [&](int) { presentBefore = map.isSensorPresent("Net", "abc"); };
    EXPECT_TRUE(map.Load());
    EXPECT_FALSE(presentBefore);
    EXPECT_TRUE(map.isSensorPresent("Net", "abc"));
}

TEST_F(SensorMapTest, runsNoProgram) {
    SensorMap map;
    loadOneSensor(map);
    EXPECT_THAT(FakeSupport::inst().commands, IsEmpty());
}

} // namespace
