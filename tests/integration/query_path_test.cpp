#include "FakeSupport.h"
#include "TempDir.h"
#include "files.h"
#include "json_text.h"
#include "log_line.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* const OLD_TEXT = "old text";

std::string caseName(std::string file) {
    std::replace(file.begin(), file.end(), '-', '_');
    return file.substr(0, file.find('.'));
}

// Functions that name the cases.
constexpr auto fileName = [](const auto& info) { return caseName(info.param); };
constexpr auto rowFileName = [](const auto& info) { return caseName(info.param.file); };
constexpr auto sensorName = [](const auto& info) { return std::string("id_") + info.param.id; };

std::string replaced(std::string text, const std::string& word, const std::string& by) {
    const std::string::size_type place = text.find(word);
    return place == std::string::npos ? text : text.replace(place, word.size(), by);
}

std::set<std::string> filesOf(const std::string& folder, const std::string& prefix) {
    std::set<std::string> files;
    for (const std::string& file : treeOf(SCADA_TEST_DATA "/" + folder))
        if (file.compare(0, prefix.size(), prefix) == 0)
            files.insert(file);
    return files;
}

std::vector<FakeSupport::LogLine>& logs() {
    return FakeSupport::inst().logs;
}

// --- the samples of the examples

const char* const EXAMPLE_LIST = SCADA_EXAMPLES "/sensors_map.json";
const char* const EXAMPLE_DEFAULT = SCADA_EXAMPLES "/storages/default";
const char* const EXAMPLE_CUSTOM = SCADA_EXAMPLES "/storages/custom";

class Examples : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        Env::inst().conf().setDfnDefaultDir(EXAMPLE_DEFAULT);
        Env::inst().conf().setDfnCustomDir(EXAMPLE_CUSTOM);
        Env::inst().conf().setSensorMapFile(EXAMPLE_LIST);
    }
};

TEST_F(Examples, listLogsItsSensorsAndItsFaults) {
    SensorMap map;
    ASSERT_TRUE(map.Load());
    const std::string faulty =
        std::string("[MAP] Incorrect entry in the managed sensors list [") + EXAMPLE_LIST + "]. ";
    EXPECT_THAT(
        logs(),
        ElementsAre(traceLine("[MAP] Registered managed sensor: [lora@02a1f00000007411] -> [lora/demo/th1]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f0000000d001] -> [lora/demo/door1]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f0000000e020] -> [lora/acme/wm20]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f0000000e003] -> [lora/acme/em3]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f00000005013] -> [lora/fieldlab/soil3]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f00000007ac2] -> [lora/fieldlab/track2]"),
                    traceLine("[MAP] Registered managed sensor: [lora@02a1f0000000ffff] -> [lora/acme/gas7]"),
                    warningLine(std::string("[MAP] Incorrect entry in the  [") + EXAMPLE_LIST +
                                "]: duplicate key id=[02a1f00000007411] src=[lora]. Skipping."),
                    warningLine(faulty + "Source value is not specified for the [02a1f0000000d002] sensor."),
                    warningLine(faulty + "Invalid identifier [cellar@north] specified for a managed sensor sensor."),
                    warningLine(faulty + "Specified sensor identifier is empty."),
                    warningLine(faulty + "Corresponding json section is not an object.")));
}

struct Resolved {
    const char* id;
    const char* definition;
    STORAGE_TYPE origin;
    const char* property;
    const char* label; ///< the member "name" of the property
    const char* unit;
    const char* decoder; ///< below the storage

    friend void PrintTo(const Resolved& row, std::ostream* out) { *out << row.id; }
};

const Resolved RESOLVED[] = {
    {"02a1f00000007411", "lora/demo/th1", STORAGE_CUSTOM, "temperature", "Cold-store temperature", "\u00b0C",
     "/lora/demo/th1-decoder"},
    {"02a1f0000000d001", "lora/demo/door1", STORAGE_DEFAULT, "battery", "Battery level", "%", "/lora/demo/door1.js"},
    {"02a1f0000000e020", "lora/acme/wm20", STORAGE_DEFAULT, "volume", "Volume", "l", "/lora/acme/wm20.js"},
    {"02a1f0000000e003", "lora/acme/em3", STORAGE_DEFAULT, "activePower", "Active power", "W", "/lora/acme/em3.js"},
    {"02a1f00000005013", "lora/fieldlab/soil3", STORAGE_DEFAULT, "battery", "Battery voltage", "mV",
     "/lora/fieldlab/soil3.js"},
    {"02a1f00000007ac2", "lora/fieldlab/track2", STORAGE_CUSTOM, "latitude", "Latitude", "\u00b0",
     "/lora/fieldlab/track2-decoder"},
};

class ExampleSensor : public Examples, public ::testing::WithParamInterface<Resolved> {};
INSTANTIATE_TEST_SUITE_P(Rows, ExampleSensor, ::testing::ValuesIn(RESOLVED), sensorName);

TEST_P(ExampleSensor, isResolved) {
    SensorMap map;
    ASSERT_TRUE(map.Load());
    std::string name;
    EXPECT_TRUE(map.getSensorDefinitionName("lora", GetParam().id, &name));
    EXPECT_EQ(name, GetParam().definition);
    std::string error = OLD_TEXT;
    const Json::Value& property = map.getMeasurement("lora", GetParam().id, GetParam().property, &error);
    EXPECT_EQ(error, OLD_TEXT);
    EXPECT_EQ(property["name"].asString(), GetParam().label);
    EXPECT_EQ(property["unit"].asString(), GetParam().unit);
    std::string decoder;
    EXPECT_TRUE(map.getDecoderPath("lora", GetParam().id, &decoder));
    const char* const dir = GetParam().origin == STORAGE_CUSTOM ? EXAMPLE_CUSTOM : EXAMPLE_DEFAULT;
    EXPECT_EQ(decoder, std::string(dir) + GetParam().decoder);
    EXPECT_NE(readFile(decoder), "");
}

TEST_P(ExampleSensor, definitionNamesItsStorage) {
    SensorDefinitions registry(STORAGE_BOTH);
    STORAGE_TYPE origin = STORAGE_BOTH;
    EXPECT_TRUE(registry.getDefinition(GetParam().definition, &origin, nullptr).isObject());
    EXPECT_EQ(origin, GetParam().origin);
}

TEST_F(Examples, overriddenDefinitionIsStillInTheDefaultStorage) {
    SensorDefinitions registry(STORAGE_DEFAULT);
    EXPECT_EQ(registry.getMeasurement("lora/demo/th1", "temperature", nullptr)["name"].asString(), "Temperature");
}

TEST_F(Examples, everyDefinitionIsValidAndHasADecoder) {
    SensorDefinitions registry(STORAGE_BOTH);
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_THAT(names, ElementsAre("lora/acme/em3", "lora/acme/wm20", "lora/demo/door1", "lora/demo/th1",
                                   "lora/fieldlab/soil3", "lora/fieldlab/track2"));
    for (const std::string& name : names)
        EXPECT_TRUE(registry.getDecoderPath(name, nullptr)) << name;
}

TEST_F(Examples, everyPropertySaysItsNameUnitAndType) {
    SensorDefinitions registry(STORAGE_BOTH);
    std::set<std::string> names;
    registry.findNames(&names);
    for (const std::string& name : names) {
        const Json::Value& properties = registry.getDefinition(name, nullptr, nullptr)["properties"];
        EXPECT_FALSE(properties.empty()) << name;
        for (const std::string& property : properties.getMemberNames())
            for (const char* const member : {"name", "unit", "type"})
                EXPECT_TRUE(registry.getMeasurement(name, property, nullptr)[member].isString())
                    << name << " " << property << " " << member;
    }
}

TEST_F(Examples, sensorWhoseDefinitionIsNotInstalled) {
    SensorMap map;
    ASSERT_TRUE(map.Load());
    logs().clear();
    std::string error;
    EXPECT_EQ(&map.getMeasurement("lora", "02a1f0000000ffff", "volume", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor definition [lora/acme/gas7] not found.");
    EXPECT_THAT(logs(), ElementsAre(warningLine("[DFN] Sensor definition [lora/acme/gas7] not found.")));
}

TEST_F(Examples, sensorThatIsNotInTheList) {
    SensorMap map;
    ASSERT_TRUE(map.Load());
    std::string error;
    EXPECT_EQ(&map.getMeasurement("lora", "02a1f0000000d002", "open", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor [lora@02a1f0000000d002] is not defined in the Managed Sensors list.");
}

// --- single files, valid and invalid: the folder gives the verdict

class Files : public SupportTest {
protected:
    // The folder becomes the second level of a default storage.
    void install(const std::string& folder) {
        makeDir(storage + "/lora");
        std::filesystem::copy(SCADA_TEST_DATA "/" + folder, storage + "/lora/" + folder);
        Env::inst().conf().setDfnCustomDir("");
        Env::inst().conf().setDfnDefaultDir(storage);
    }

    TempDir root;
    const std::string storage = root / "storage";
};

std::string definitionName(const std::string& folder, const std::string& file) {
    return "lora/" + folder + "/" + file.substr(0, file.size() - 5);
}

class ValidDefinition : public Files, public ::testing::WithParamInterface<std::string> {};
INSTANTIATE_TEST_SUITE_P(Files, ValidDefinition, ::testing::ValuesIn(filesOf("valid", "definition-")), fileName);

TEST_P(ValidDefinition, isReadAndLoaded) {
    install("valid");
    const std::string name = definitionName("valid", GetParam());
    DefinitionSpec spec;
    std::string error = OLD_TEXT;
    EXPECT_TRUE(DefinitionsStorage{storage}.getSpec(name, &spec, &error));
    EXPECT_EQ(error, OLD_TEXT);
    EXPECT_TRUE(spec.json["properties"].isObject());
    if (!spec.decoderPath.empty()) {
        EXPECT_EQ(readFile(spec.decoderPath), readFile(SCADA_TEST_DATA "/valid/decoder.js"));
    }
    SensorDefinitions registry(STORAGE_BOTH);
    EXPECT_EQ(registry.getDefinition(name, nullptr, &error), spec.json);
    EXPECT_EQ(registry.getDecoderPath(name, nullptr), !spec.decoderPath.empty());
    EXPECT_THAT(logs(), ElementsAre(traceLine("[DFN] Loaded [" + name +
                                              "] sensor definition from the default storage [" + storage + "]")));
}

struct Fault {
    std::string file;
    std::string text; ///< "NAME" stands for the definition's name

    friend void PrintTo(const Fault& row, std::ostream* out) { *out << row.file; }
};

std::vector<Fault> definitionFaults() {
    const char* const syntax = "Invalid syntax of the sensor definition [NAME].";
    const char* const noSection = "Invalid syntax of the sensor definition [NAME]: no [properties] section defined.";
    const char* const noDecoder = "Invalid sensor definition [NAME]: no decoder file found.";
    return {
        {"definition-blank-file.json", syntax},
        {"definition-brace-missing.json", syntax},
        {"definition-comma-missing.json", syntax},
        {"definition-comment-only.json", syntax},
        {"definition-decoder-climbs-and-returns.json",
         "Invalid sensor definition [NAME]: bad decoder path [sub/../decoder.js]."},
        {"definition-decoder-climbs.json", "Invalid sensor definition [NAME]: bad decoder path [../decoder.js]."},
        {"definition-decoder-file-missing.json", noDecoder},
        {"definition-decoder-is-directory.json", noDecoder},
        {"definition-decoder-missing-and-properties-missing.json", noDecoder},
        {"definition-empty-file.json", syntax},
        {"definition-key-twice-last-is-bad.json", noSection},
        {"definition-properties-in-upper-case.json", noSection},
        {"definition-properties-is-array.json", noSection},
        {"definition-properties-is-null.json", noSection},
        {"definition-properties-missing.json", noSection},
        {"definition-root-is-array.json", syntax},
        {"definition-root-is-null.json", syntax},
        {"definition-root-is-number.json", syntax},
        {"definition-root-is-string.json", syntax},
        {"definition-single-quotes.json", syntax},
        {"definition-text-before-the-value.json", syntax},
    };
}

class InvalidDefinition : public Files, public ::testing::WithParamInterface<Fault> {};
INSTANTIATE_TEST_SUITE_P(Files, InvalidDefinition, ::testing::ValuesIn(definitionFaults()), rowFileName);

TEST_P(InvalidDefinition, isRefused) {
    install("invalid");
    const std::string name = definitionName("invalid", GetParam().file);
    const std::string reason = replaced(GetParam().text, "NAME", name);
    DefinitionSpec spec(Json::Value(7), OLD_TEXT);
    std::string error = OLD_TEXT;
    EXPECT_FALSE(DefinitionsStorage{storage}.getSpec(name, &spec, &error));
    EXPECT_EQ(error, reason);
    const bool onlyPropertiesMissing = reason.find("section defined") != std::string::npos;
    EXPECT_EQ(spec.json, onlyPropertiesMissing ? parsed(readFile(storage + "/" + name + ".json")) : Json::Value());
    SensorDefinitions registry(STORAGE_BOTH);
    EXPECT_EQ(&registry.getDefinition(name, nullptr, &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, "Sensor definition [" + name + "] not found.");
    EXPECT_THAT(logs(), ElementsAre(warningLine("[DFN] " + reason)));
}

class ValidList : public Files, public ::testing::WithParamInterface<std::string> {};
INSTANTIATE_TEST_SUITE_P(Files, ValidList, ::testing::ValuesIn(filesOf("valid", "list-")), fileName);

TEST_P(ValidList, everyElementIsRegistered) {
    const std::string file = SCADA_TEST_DATA "/valid/" + GetParam();
    Env::inst().conf().setSensorMapFile(file);
    SensorMap map;
    EXPECT_TRUE(map.isFileExists());
    EXPECT_TRUE(map.Load());
    EXPECT_EQ(logs().size(), parsed(readFile(file)).size());
    for (const FakeSupport::LogLine& line : logs())
        EXPECT_EQ(line.text.rfind("[MAP] Registered managed sensor: [", 0), 0U) << line.text;
}

struct FaultyList {
    std::string file;
    bool loaded;
    std::string text; ///< the message after the list's path

    friend void PrintTo(const FaultyList& row, std::ostream* out) { *out << row.file; }
    FakeSupport::LogLine line() const {
        const std::string path = SCADA_TEST_DATA "/invalid/" + file;
        if (!loaded)
            return errorLine("[MAP] Failed to parse the managed sensors list [" + path + "]: " + text);
        if (text.rfind("duplicate", 0) == 0)
            return warningLine("[MAP] Incorrect entry in the  [" + path + "]: " + text);
        return warningLine("[MAP] Incorrect entry in the managed sensors list [" + path + "]. " + text);
    }
};

std::vector<FaultyList> unusableLists() {
    const char* const noArray = "json is not an array object";
    return {
        {"list-bracket-missing.json", false, "* Line 2, Column 1\n  Missing ',' or ']' in array declaration\n"},
        {"list-comma-missing.json", false, "* Line 1, Column 68\n  Missing ',' or ']' in array declaration\n"},
        {"list-empty-file.json", false, "* Line 1, Column 1\n  Syntax error: value, object or array expected.\n"},
        {"list-root-is-null.json", false, noArray},
        {"list-root-is-number.json", false, noArray},
        {"list-root-is-object.json", false, noArray},
        {"list-root-is-string.json", false, noArray},
        {"list-root-is-true.json", false, noArray},
    };
}

std::vector<FaultyList> listsWithAFault() {
    const char* const noObject = "Corresponding json section is not an object.";
    const char* const noId = "Identifier of a managed sensor is not provided.";
    const char* const idNoString = "Specified sensor identifier is not a string.";
    const char* const idEmpty = "Specified sensor identifier is empty.";
    const char* const duplicate = "duplicate key id=[0242ac1100000001] src=[lora]. Skipping.";
    return {
        {"list-element-is-array.json", true, noObject},
        {"list-element-is-empty-object.json", true, noId},
        {"list-element-is-null.json", true, noObject},
        {"list-element-is-number.json", true, noObject},
        {"list-element-is-string.json", true, noObject},
        {"list-element-id-has-at-sign-and-src-missing.json", true,
         "Source value is not specified for the [x@y] sensor."},
        {"list-element-id-has-at-sign.json", true, "Invalid identifier [x@y] specified for a managed sensor sensor."},
        {"list-element-id-is-blank.json", true, idEmpty},
        {"list-element-id-is-empty.json", true, idEmpty},
        {"list-element-id-is-null.json", true, idNoString},
        {"list-element-id-is-number.json", true, idNoString},
        {"list-element-id-missing.json", true, noId},
        {"list-element-sensor-has-at-sign.json", true,
         "Invalid sensor definition [X@y] specified for the [lora@i-1] managed sensor sensor."},
        {"list-element-sensor-is-blank.json", true, "Specified sensor definition value is empty for the [i-1] sensor."},
        {"list-element-sensor-is-empty.json", true, "Specified sensor definition value is empty for the [i-1] sensor."},
        {"list-element-sensor-is-null.json", true, "Sensor definition value is not a string for the [i-1] sensor."},
        {"list-element-sensor-is-number.json", true, "Sensor definition value is not a string for the [i-1] sensor."},
        {"list-element-sensor-missing.json", true, "Sensor definition is not specified for the [i-1] sensor."},
        {"list-element-src-has-at-sign.json", true,
         "Invalid source value [X@y] specified for [i-1] the managed sensor sensor."},
        {"list-element-src-is-blank.json", true, "Specified source value is empty for the [i-1] sensor."},
        {"list-element-src-is-empty.json", true, "Specified source value is empty for the [i-1] sensor."},
        {"list-element-src-is-null.json", true, "Specified source value is not a string for the [i-1] sensor."},
        {"list-element-src-is-number.json", true, "Specified source value is not a string for the [i-1] sensor."},
        {"list-element-src-missing.json", true, "Source value is not specified for the [i-1] sensor."},
        {"list-sensor-twice-in-other-case.json", true, duplicate},
        {"list-sensor-twice.json", true, duplicate},
    };
}

class InvalidList : public Files, public ::testing::WithParamInterface<FaultyList> {};
INSTANTIATE_TEST_SUITE_P(Unusable, InvalidList, ::testing::ValuesIn(unusableLists()), rowFileName);
INSTANTIATE_TEST_SUITE_P(WithAFault, InvalidList, ::testing::ValuesIn(listsWithAFault()), rowFileName);

TEST_P(InvalidList, hasItsFaultLogged) {
    Env::inst().conf().setSensorMapFile(SCADA_TEST_DATA "/invalid/" + GetParam().file);
    SensorMap map;
    EXPECT_EQ(map.Load(), GetParam().loaded);
    std::vector<FakeSupport::LogLine> faults;
    for (const FakeSupport::LogLine& line : logs())
        if (line.level != Kelvra::Logger::PrintLevel::TRACE_LEVEL)
            faults.push_back(line);
    EXPECT_THAT(faults, ElementsAre(GetParam().line()));
}

TEST(InvalidFiles, eachHasItsRow) {
    std::set<std::string> definitions;
    for (const Fault& row : definitionFaults())
        definitions.insert(row.file);
    EXPECT_EQ(definitions, filesOf("invalid", "definition-"));
    std::set<std::string> lists;
    for (const auto& rows : {unusableLists(), listsWithAFault()})
        for (const FaultyList& row : rows)
            lists.insert(row.file);
    EXPECT_EQ(lists, filesOf("invalid", "list-"));
}

} // namespace
