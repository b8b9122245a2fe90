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
#include <scada/SensorDefinitions.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <type_traits>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Info = SensorDefinitions::DefinitionInfo;
using Registry = SensorDefinitions;

static_assert(STORAGE_DEFAULT == 0 && STORAGE_CUSTOM == 1 && STORAGE_BOTH == 2);
static_assert(std::is_convertible<STORAGE_TYPE, Registry>::value);
static_assert(std::is_same<decltype(Registry::JSON_PROPERTIES_SECTION), const std::string>::value);
static_assert(std::is_same<decltype(Info::definition), Json::Value>::value);
static_assert(std::is_same<decltype(Info::decoderPath), std::string>::value);
static_assert(std::is_same<decltype(Info::storage), STORAGE_TYPE>::value);
static_assert(!std::is_polymorphic<Registry>::value);

// The layout of the fields that compiled host programs rely on.
struct InfoLayout {
    Json::Value definition;
    std::string decoderPath;
    STORAGE_TYPE storage;
};
static_assert(sizeof(Info) == sizeof(InfoLayout));
static_assert(offsetof(Info, definition) == offsetof(InfoLayout, definition));
static_assert(offsetof(Info, decoderPath) == offsetof(InfoLayout, decoderPath));
static_assert(offsetof(Info, storage) == offsetof(InfoLayout, storage));
struct RegistryLayout {
    STORAGE_TYPE storage;
    std::unordered_map<std::string, std::unique_ptr<Info>> cache;
};
static_assert(sizeof(Registry) == sizeof(RegistryLayout));

const char* const PLAIN = R"({"properties": {"temperature": {"unit": "C"}}})";

class SensorDefinitionsTest : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        conf().setDfnCustomDir(customDir());
        conf().setDfnDefaultDir(defaultDir());
    }

    static Conf& conf() { return Env::inst().conf(); }
    static std::vector<FakeSupport::LogLine>& logs() { return FakeSupport::inst().logs; }

    std::string customDir() const { return root / "custom"; }
    std::string defaultDir() const { return root / "default"; }
    void addCustom(const std::string& name, const std::string& text) {
        StorageBuilder(customDir()).definition(name, text);
    }
    void addDefault(const std::string& name, const std::string& text) {
        StorageBuilder(defaultDir()).definition(name, text);
    }
    std::string loadedText(const std::string& name, const char* storage) const {
        return "[DFN] Loaded [" + name + "] sensor definition from the " + storage + " storage [" +
               (std::string(storage) == "custom" ? customDir() : defaultDir()) + "]";
    }

    TempDir root;
};

void expectNotFound(Registry& registry, const std::string& name) {
    const std::string text = "Sensor definition [" + name + "] not found.";
    std::string error = UNTOUCHED;
    EXPECT_FALSE(registry.loadDefinition(name, &error));
    EXPECT_EQ(error, text);
    error = UNTOUCHED;
    EXPECT_EQ(registry.getDefinitionInfo(name, &error), nullptr);
    EXPECT_EQ(error, text);
    error = UNTOUCHED;
    STORAGE_TYPE origin = STORAGE_BOTH;
    EXPECT_EQ(&registry.getDefinition(name, &origin, &error), &Json::Value::nullSingleton());
    EXPECT_EQ(origin, STORAGE_BOTH);
    EXPECT_EQ(error, text);
    error = UNTOUCHED;
    EXPECT_EQ(&registry.getMeasurement(name, "temperature", &error), &Json::Value::nullSingleton());
    EXPECT_EQ(error, text);
    std::string path = UNTOUCHED;
    EXPECT_FALSE(registry.getDecoderPath(name, &path));
    EXPECT_EQ(path, UNTOUCHED);
}

void expectNotFoundWithoutTexts(Registry& registry, const std::string& name) {
    EXPECT_FALSE(registry.loadDefinition(name, nullptr));
    EXPECT_EQ(registry.getDefinitionInfo(name, nullptr), nullptr);
    EXPECT_EQ(&registry.getDefinition(name, nullptr, nullptr), &Json::Value::nullSingleton());
    EXPECT_EQ(&registry.getMeasurement(name, "temperature", nullptr), &Json::Value::nullSingleton());
    EXPECT_FALSE(registry.getDecoderPath(name, nullptr));
}

TEST(SensorDefinitions, constant) {
    EXPECT_EQ(Registry::JSON_PROPERTIES_SECTION, "properties");
}

TEST(SensorDefinitions, recordStartsEmptyWithItsMembersInOrder) {
    const Info info;
    EXPECT_EQ(info.definition.type(), Json::nullValue);
    EXPECT_EQ(info.decoderPath, "");
    EXPECT_EQ(info.storage, STORAGE_BOTH);
    EXPECT_LT(static_cast<const void*>(&info.definition), static_cast<const void*>(&info.decoderPath));
    EXPECT_LT(static_cast<const void*>(&info.decoderPath), static_cast<const void*>(&info.storage));
}

// --- which storage answers

struct Choice : NamedRow {
    STORAGE_TYPE searched;
    const char* custom;  ///< text of the custom file; null: none
    const char* factory; ///< text of the default file; null: none
    const char* answer;  ///< "custom", "default", or null: not found
    const char* reason;  ///< of the warning; null: no warning
};

const char* const LOGGED_NO_SECTION =
    "[DFN] Invalid syntax of the sensor definition [lora/demo/th1]: no [properties] section defined.";
const char* const SYNTAX = "[DFN] Invalid syntax of the sensor definition [lora/demo/th1].";
const char* const BAD_DECODER = "[DFN] Invalid sensor definition [lora/demo/th1]: bad decoder path [../x].";
const char* const NO_DECODER = "[DFN] Invalid sensor definition [lora/demo/th1]: no decoder file found.";

const Choice CHOICES[] = {
    {"both_in_both", STORAGE_BOTH, PLAIN, PLAIN, "custom", nullptr},
    {"both_in_default", STORAGE_DEFAULT, PLAIN, PLAIN, "default", nullptr},
    {"both_in_custom", STORAGE_CUSTOM, PLAIN, PLAIN, "custom", nullptr},
    {"default_in_both", STORAGE_BOTH, nullptr, PLAIN, "default", nullptr},
    {"default_in_default", STORAGE_DEFAULT, nullptr, PLAIN, "default", nullptr},
    {"default_in_custom", STORAGE_CUSTOM, nullptr, PLAIN, nullptr, nullptr},
    {"custom_in_both", STORAGE_BOTH, PLAIN, nullptr, "custom", nullptr},
    {"custom_in_default", STORAGE_DEFAULT, PLAIN, nullptr, nullptr, nullptr},
    {"custom_in_custom", STORAGE_CUSTOM, PLAIN, nullptr, "custom", nullptr},
    {"nowhere_in_both", STORAGE_BOTH, nullptr, nullptr, nullptr, nullptr},
    {"nowhere_in_default", STORAGE_DEFAULT, nullptr, nullptr, nullptr, nullptr},
    {"nowhere_in_custom", STORAGE_CUSTOM, nullptr, nullptr, nullptr, nullptr},
    {"custom_empty_file", STORAGE_BOTH, "", PLAIN, nullptr, SYNTAX},
    {"custom_malformed", STORAGE_BOTH, "{", PLAIN, nullptr, SYNTAX},
    {"custom_root_is_array", STORAGE_BOTH, "[]", PLAIN, nullptr, SYNTAX},
    {"custom_without_properties", STORAGE_BOTH, "{}", PLAIN, nullptr, LOGGED_NO_SECTION},
    {"custom_with_bad_decoder", STORAGE_BOTH, R"({"properties": {}, "decoder": " ../x "})", PLAIN, nullptr,
     BAD_DECODER},
    {"custom_without_its_decoder", STORAGE_BOTH, R"({"properties": {}, "decoder": "x"})", PLAIN, nullptr, NO_DECODER},
    {"custom_malformed_in_custom", STORAGE_CUSTOM, "{", PLAIN, nullptr, SYNTAX},
    {"custom_malformed_in_default", STORAGE_DEFAULT, "{", PLAIN, "default", nullptr},
    {"default_malformed_in_both", STORAGE_BOTH, nullptr, "{", nullptr, SYNTAX},
    {"default_malformed_in_default", STORAGE_DEFAULT, nullptr, "{", nullptr, SYNTAX},
    {"default_malformed_behind_custom", STORAGE_BOTH, PLAIN, "{", "custom", nullptr},
};

class SensorDefinitionsChoice : public SensorDefinitionsTest, public ::testing::WithParamInterface<Choice> {
protected:
    void SetUp() override {
        SensorDefinitionsTest::SetUp();
        if (GetParam().custom != nullptr)
            addCustom(NAME, GetParam().custom);
        if (GetParam().factory != nullptr)
            addDefault(NAME, GetParam().factory);
    }

    std::vector<FakeSupport::LogLine> loadLines() const {
        if (GetParam().answer != nullptr)
            return {traceLine(loadedText(NAME, GetParam().answer))};
        if (GetParam().reason != nullptr)
            return {warningLine(GetParam().reason)};
        return {};
    }
    static STORAGE_TYPE answeringStorage() {
        return GetParam().answer == std::string("custom") ? STORAGE_CUSTOM : STORAGE_DEFAULT;
    }
};
INSTANTIATE_TEST_SUITE_P(Rows, SensorDefinitionsChoice, ::testing::ValuesIn(CHOICES), rowName);

TEST_P(SensorDefinitionsChoice, loadDefinition) {
    Registry registry(GetParam().searched);
    std::string error = UNTOUCHED;
    EXPECT_EQ(registry.loadDefinition(NAME, &error), GetParam().answer != nullptr);
    EXPECT_EQ(error, GetParam().answer != nullptr ? UNTOUCHED : NOT_FOUND);
    EXPECT_THAT(logs(), ElementsAreArray(loadLines()));
}

TEST_P(SensorDefinitionsChoice, getDefinitionInfo) {
    Registry registry(GetParam().searched);
    std::string error = UNTOUCHED;
    const Info* info = registry.getDefinitionInfo(NAME, &error);
    EXPECT_EQ(info != nullptr, GetParam().answer != nullptr);
    EXPECT_EQ(error, GetParam().answer != nullptr ? UNTOUCHED : NOT_FOUND);
    EXPECT_THAT(logs(), ElementsAreArray(loadLines()));
    if (info != nullptr) {
        EXPECT_EQ(info->definition, parsed(PLAIN));
        EXPECT_EQ(info->decoderPath, "");
        EXPECT_EQ(info->storage, answeringStorage());
    }
}

TEST_P(SensorDefinitionsChoice, getDefinition) {
    Registry registry(GetParam().searched);
    std::string error = UNTOUCHED;
    STORAGE_TYPE origin = STORAGE_BOTH;
    const Json::Value& definition = registry.getDefinition(NAME, &origin, &error);
    EXPECT_EQ(&definition == &Json::Value::nullSingleton(), GetParam().answer == nullptr);
    EXPECT_EQ(definition, GetParam().answer != nullptr ? parsed(PLAIN) : Json::Value());
    EXPECT_EQ(origin, GetParam().answer != nullptr ? answeringStorage() : STORAGE_BOTH);
    EXPECT_EQ(error, GetParam().answer != nullptr ? UNTOUCHED : NOT_FOUND);
    EXPECT_THAT(logs(), ElementsAreArray(loadLines()));
}

TEST_P(SensorDefinitionsChoice, getMeasurement) {
    Registry registry(GetParam().searched);
    std::string error = UNTOUCHED;
    const Json::Value& property = registry.getMeasurement(NAME, "temperature", &error);
    std::vector<FakeSupport::LogLine> lines = loadLines();
    if (GetParam().answer == nullptr)
        lines.push_back(warningLine("[DFN] Sensor definition [lora/demo/th1] not found."));
    EXPECT_EQ(&property == &Json::Value::nullSingleton(), GetParam().answer == nullptr);
    EXPECT_EQ(property, GetParam().answer != nullptr ? parsed(R"({"unit": "C"})") : Json::Value());
    EXPECT_EQ(error, GetParam().answer != nullptr ? UNTOUCHED : NOT_FOUND);
    EXPECT_THAT(logs(), ElementsAreArray(lines));
}

TEST_P(SensorDefinitionsChoice, errorTextIsOptional) {
    Registry registry(GetParam().searched);
    if (GetParam().answer == nullptr)
        expectNotFoundWithoutTexts(registry, NAME);
    else
        EXPECT_EQ(registry.getMeasurement(NAME, "temperature", nullptr), parsed(R"({"unit": "C"})"));
}

// --- names

struct Listing : NamedRow {
    STORAGE_TYPE searched;
    std::set<std::string> names;
};

class SensorDefinitionsListing : public SensorDefinitionsTest, public ::testing::WithParamInterface<Listing> {
protected:
    void SetUp() override {
        SensorDefinitionsTest::SetUp();
        addCustom(NAME, "not even JSON");
        addCustom("lora/demo/own", PLAIN);
        addCustom("lora/shallow", PLAIN);
        addDefault(NAME, PLAIN);
        addDefault("lora/demo/factory", PLAIN);
        addDefault("lora/demo/x/deep", PLAIN);
    }
};
INSTANTIATE_TEST_SUITE_P(Rows, SensorDefinitionsListing,
                         ::testing::Values(Listing{"both", STORAGE_BOTH, {NAME, "lora/demo/own", "lora/demo/factory"}},
                                           Listing{"only_default", STORAGE_DEFAULT, {NAME, "lora/demo/factory"}},
                                           Listing{"only_custom", STORAGE_CUSTOM, {NAME, "lora/demo/own"}}),
                         rowName);

TEST_P(SensorDefinitionsListing, findNames) {
    Registry registry(GetParam().searched);
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_EQ(names, GetParam().names);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_P(SensorDefinitionsListing, findNamesKeepsWhatIsThere) {
    Registry registry(GetParam().searched);
    std::set<std::string> names{"already there"};
    registry.findNames(&names);
    std::set<std::string> expected = GetParam().names;
    expected.insert("already there");
    EXPECT_EQ(names, expected);
}

TEST_P(SensorDefinitionsListing, findNamesWithoutSetDoesNothing) {
    Registry registry(GetParam().searched);
    registry.findNames(nullptr);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_P(SensorDefinitionsListing, findNamesReadsTheConfigurationNow) {
    Registry registry(GetParam().searched);
    conf().setDfnCustomDir(root / "nothing here");
    conf().setDfnDefaultDir(root / "nor here");
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_THAT(names, IsEmpty());
}

TEST_F(SensorDefinitionsTest, findNamesNeitherReadsNorFillsTheCache) {
    addDefault(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    ASSERT_TRUE(registry.loadDefinition(NAME, nullptr));
    removeTree(defaultDir());
    addDefault("lora/demo/later", PLAIN);
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_THAT(names, ElementsAre("lora/demo/later"));
    removeTree(defaultDir());
    expectNotFound(registry, "lora/demo/later");
}

TEST_F(SensorDefinitionsTest, emptyDirectoryIsSkippedByLoadsButListedFromTheRoot) {
    // Two levels below the root directory, wherever the tests' temporary directory is.
    const TempDir top("/tmp");
    writeFile(top / "stem.json", PLAIN);
    const std::string name = (top / "stem").substr(1);
    conf().setDfnCustomDir("");
    conf().setDfnDefaultDir("");
    for (const STORAGE_TYPE searched : {STORAGE_DEFAULT, STORAGE_CUSTOM, STORAGE_BOTH}) {
        Registry registry(searched);
        std::set<std::string> names;
        registry.findNames(&names);
        EXPECT_THAT(names, Contains(name));
        expectNotFound(registry, name);
    }
}

TEST_F(SensorDefinitionsTest, emptyCustomDirectoryLeavesTheDefaultOne) {
    addDefault(NAME, PLAIN);
    conf().setDfnCustomDir("");
    Registry registry(STORAGE_BOTH);
    STORAGE_TYPE origin = STORAGE_BOTH;
    EXPECT_EQ(registry.getDefinition(NAME, &origin, nullptr), parsed(PLAIN));
    EXPECT_EQ(origin, STORAGE_DEFAULT);
}

TEST_F(SensorDefinitionsTest, emptyDefaultDirectoryLeavesTheCustomOne) {
    addCustom(NAME, PLAIN);
    conf().setDfnDefaultDir("");
    Registry registry(STORAGE_BOTH);
    STORAGE_TYPE origin = STORAGE_BOTH;
    EXPECT_EQ(registry.getDefinition(NAME, &origin, nullptr), parsed(PLAIN));
    EXPECT_EQ(origin, STORAGE_CUSTOM);
    expectNotFound(registry, "lora/demo/th2");
}

// A fourth value can be represented: it lists like the custom choice and loads like the choice of both.
TEST_F(SensorDefinitionsTest, valueOutsideTheEnumeration) {
    addCustom("lora/demo/own", PLAIN);
    addDefault(NAME, PLAIN);
    Registry registry(static_cast<STORAGE_TYPE>(3));
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_THAT(names, ElementsAre("lora/demo/own"));
    EXPECT_TRUE(registry.loadDefinition(NAME, nullptr));
    EXPECT_TRUE(registry.loadDefinition("lora/demo/own", nullptr));
}

struct Unlisted : NamedRow {
    const char* asked;
};

// Each of these names leads to a readable file, but none of them is listed.
const Unlisted UNLISTED[] = {
    {"one_level", "lora/shallow"},
    {"three_levels", "lora/demo/x/deep"},
    {"no_level", "top"},
    {"empty", ""},
    {"leading_slash", "/lora/demo/th1"},
    {"doubled_slash", "lora//demo/th1"},
    {"empty_first_component", "/lora/shallow"},
    {"empty_second_component", "lora//shallow"},
    {"dot_component", "lora/./shallow"},
    {"dot_in_front", "./lora/shallow"},
    {"dots_back", "lora/demo/../demo/th1"},
    {"dots_out", "lora/../top"},
    {"link_to_file", "lora/demo/filelink"},
    {"link_to_directory", "lora/dirlink/th1"},
    {"link_to_source", "sourcelink/demo/th1"},
    {"directory", "lora/demo/folder"},
    {"fifo", "lora/demo/fifo"},
    {"other_case", "lora/demo/TH1"},
    {"suffix_given", "lora/demo/th1.json"},
};

class SensorDefinitionsUnlisted : public SensorDefinitionsTest, public ::testing::WithParamInterface<Unlisted> {};
INSTANTIATE_TEST_SUITE_P(Rows, SensorDefinitionsUnlisted, ::testing::ValuesIn(UNLISTED), rowName);

TEST_P(SensorDefinitionsUnlisted, isNotFoundSilently) {
    for (const char* const name : {NAME, "lora/shallow", "lora/demo/x/deep", "top", ""})
        addCustom(name, PLAIN);
    makeLink(customDir() + "/lora/demo/th1.json", customDir() + "/lora/demo/filelink.json");
    makeLink("demo", customDir() + "/lora/dirlink");
    makeLink("lora", customDir() + "/sourcelink");
    makeDir(customDir() + "/lora/demo/folder.json");
    makeFifo(customDir() + "/lora/demo/fifo.json");
    Registry registry(STORAGE_BOTH);
    EXPECT_FALSE(registry.loadDefinition(GetParam().asked, nullptr));
    EXPECT_THAT(logs(), IsEmpty());
    expectNotFound(registry, GetParam().asked);
}

TEST_F(SensorDefinitionsTest, nulInTheNameMakesItAnotherOne) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    const std::string name("lora/demo/th1\0x", 15);
    std::string error;
    EXPECT_FALSE(registry.loadDefinition(name, &error));
    EXPECT_EQ(error, NOT_FOUND);
}

struct Listed : NamedRow {
    const char* asked;
};

const Listed LISTED[] = {
    {"empty_stem", "lora/demo/"}, {"hidden_directory", "lora/.old/th1"}, {"hidden_file", "lora/demo/.th1"},
    {"blanks", " a / b / c "},    {"backslash", "lora/a\\b/c\\d"},       {"brackets_and_stars", "lora/[a]*/th?1"},
    {"percent", "lora/%s%n/%d"},  {"three_dots", "lora/.../..."},
};

class SensorDefinitionsListed : public SensorDefinitionsTest, public ::testing::WithParamInterface<Listed> {};
INSTANTIATE_TEST_SUITE_P(Rows, SensorDefinitionsListed, ::testing::ValuesIn(LISTED), rowName);

TEST_P(SensorDefinitionsListed, isListedAndLoaded) {
    addCustom(GetParam().asked, PLAIN);
    Registry registry(STORAGE_CUSTOM);
    std::set<std::string> names;
    registry.findNames(&names);
    EXPECT_THAT(names, ElementsAre(GetParam().asked));
    EXPECT_TRUE(registry.loadDefinition(GetParam().asked, nullptr));
    EXPECT_THAT(logs(), ElementsAre(traceLine(loadedText(GetParam().asked, "custom"))));
}

// --- where a definition came from

TEST_F(SensorDefinitionsTest, defaultDirectoryEqualToTheCustomOneCountsAsCustom) {
    addCustom(NAME, PLAIN);
    conf().setDfnDefaultDir(customDir());
    Registry registry(STORAGE_DEFAULT);
    STORAGE_TYPE origin = STORAGE_BOTH;
    registry.getDefinition(NAME, &origin, nullptr);
    EXPECT_EQ(origin, STORAGE_CUSTOM);
    EXPECT_THAT(logs(), ElementsAre(traceLine(loadedText(NAME, "custom"))));
}

TEST_F(SensorDefinitionsTest, directoriesAreComparedByteForByte) {
    addCustom(NAME, PLAIN);
    conf().setDfnDefaultDir(customDir() + "/");
    Registry registry(STORAGE_DEFAULT);
    STORAGE_TYPE origin = STORAGE_BOTH;
    registry.getDefinition(NAME, &origin, nullptr);
    EXPECT_EQ(origin, STORAGE_DEFAULT);
    EXPECT_THAT(logs(),
                ElementsAre(traceLine("[DFN] Loaded [lora/demo/th1] sensor definition from the default storage [" +
                                      customDir() + "/]")));
}

TEST_F(SensorDefinitionsTest, originIsOptional) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    EXPECT_EQ(registry.getDefinition(NAME, nullptr, nullptr), parsed(PLAIN));
}

// --- the cache

TEST_F(SensorDefinitionsTest, secondAnswerComesFromTheCache) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    const Info* const info = registry.getDefinitionInfo(NAME, nullptr);
    const Json::Value* const property = &registry.getMeasurement(NAME, "temperature", nullptr);
    removeTree(customDir());
    EXPECT_EQ(registry.getDefinitionInfo(NAME, nullptr), info);
    EXPECT_EQ(&registry.getDefinition(NAME, nullptr, nullptr), &info->definition);
    EXPECT_EQ(&registry.getMeasurement(NAME, "temperature", nullptr), property);
    EXPECT_THAT(logs(), ElementsAre(traceLine(loadedText(NAME, "custom"))));
}

TEST_F(SensorDefinitionsTest, answersStayWhereTheyAreWhileTheCacheGrows) {
    Registry registry(STORAGE_BOTH);
    addCustom(NAME, PLAIN);
    const Json::Value* const property = &registry.getMeasurement(NAME, "temperature", nullptr);
    for (int i = 0; i < 100; ++i) {
        addCustom("lora/demo/n" + std::to_string(i), PLAIN);
        ASSERT_TRUE(registry.loadDefinition("lora/demo/n" + std::to_string(i), nullptr));
    }
    EXPECT_EQ(&registry.getMeasurement(NAME, "temperature", nullptr), property);
    EXPECT_EQ(*property, parsed(R"({"unit": "C"})"));
}

TEST_F(SensorDefinitionsTest, loadingAgainKeepsTheFirstRecord) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    const Info* const info = registry.getDefinitionInfo(NAME, nullptr);
    addCustom(NAME, R"({"properties": {}})");
    EXPECT_TRUE(registry.loadDefinition(NAME, nullptr));
    EXPECT_EQ(registry.getDefinitionInfo(NAME, nullptr), info);
    EXPECT_EQ(info->definition, parsed(PLAIN));
    EXPECT_THAT(logs(), ElementsAre(traceLine(loadedText(NAME, "custom")), traceLine(loadedText(NAME, "custom"))));
}

TEST_F(SensorDefinitionsTest, failedReloadKeepsTheRecord) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    const Info* const info = registry.getDefinitionInfo(NAME, nullptr);
    addCustom(NAME, "{");
    std::string error;
    EXPECT_FALSE(registry.loadDefinition(NAME, &error));
    EXPECT_EQ(error, NOT_FOUND);
    EXPECT_EQ(registry.getDefinitionInfo(NAME, nullptr), info);
}

TEST_F(SensorDefinitionsTest, failureIsNotCached) {
    Registry registry(STORAGE_BOTH);
    expectNotFound(registry, NAME);
    addDefault(NAME, "{");
    expectNotFound(registry, NAME);
    addDefault(NAME, PLAIN);
    EXPECT_EQ(registry.getDefinition(NAME, nullptr, nullptr), parsed(PLAIN));
}

TEST_F(SensorDefinitionsTest, changedDirectoriesCountForLaterLoadsOnly) {
    addCustom(NAME, PLAIN);
    StorageBuilder(root / "other").definition(NAME, "{}").definition("lora/demo/th2", PLAIN);
    Registry registry(STORAGE_BOTH);
    ASSERT_TRUE(registry.loadDefinition(NAME, nullptr));
    conf().setDfnCustomDir(root / "other");
    EXPECT_EQ(registry.getDefinition(NAME, nullptr, nullptr), parsed(PLAIN));
    EXPECT_EQ(registry.getDefinition("lora/demo/th2", nullptr, nullptr), parsed(PLAIN));
}

TEST_F(SensorDefinitionsTest, registriesHaveTheirOwnCaches) {
    addCustom(NAME, PLAIN);
    Registry first(STORAGE_BOTH);
    ASSERT_TRUE(first.loadDefinition(NAME, nullptr));
    removeTree(customDir());
    Registry second(STORAGE_BOTH);
    expectNotFound(second, NAME);
    EXPECT_NE(first.getDefinitionInfo(NAME, nullptr), nullptr);
}

// --- properties

struct Property : NamedRow {
    std::string asked;
    const char* expected; ///< null: counts as absent
    const char* error;
};

const char* const MANY = R"({"decoder": null, "temperature": {"at": "root"}, "properties": {
    "object": {"unit": "C"}, "empty": {}, "nested": {"deeper": {}}, "": {"name": "no name"}, "a.b": {"dotted": true},
    "a\u0000b": {"nul": true}, "string": "float", "number": 7, "array": [{}], "true": true, "null": null}})";

class SensorDefinitionsProperty : public SensorDefinitionsTest, public ::testing::WithParamInterface<Property> {};
INSTANTIATE_TEST_SUITE_P(
    Rows, SensorDefinitionsProperty,
    ::testing::Values(
        Property{"object", "object", R"({"unit": "C"})", UNTOUCHED}, Property{"empty_object", "empty", "{}", UNTOUCHED},
        Property{"empty_name", "", R"({"name": "no name"})", UNTOUCHED},
        Property{"dot", "a.b", R"({"dotted": true})", UNTOUCHED},
        Property{"nul", std::string("a\0b", 3), R"({"nul": true})", UNTOUCHED},
        Property{"up_to_the_nul", "a", nullptr, "Sensor definition [lora/demo/th1] does not contain [a] property."},
        Property{"missing", "humidity", nullptr,
                 "Sensor definition [lora/demo/th1] does not contain [humidity] property."},
        Property{"other_case", "Object", nullptr,
                 "Sensor definition [lora/demo/th1] does not contain [Object] property."},
        Property{"string", "string", nullptr, "Sensor definition [lora/demo/th1] does not contain [string] property."},
        Property{"number", "number", nullptr, "Sensor definition [lora/demo/th1] does not contain [number] property."},
        Property{"array", "array", nullptr, "Sensor definition [lora/demo/th1] does not contain [array] property."},
        Property{"boolean", "true", nullptr, "Sensor definition [lora/demo/th1] does not contain [true] property."},
        Property{"null", "null", nullptr, "Sensor definition [lora/demo/th1] does not contain [null] property."},
        Property{"inside_another", "deeper", nullptr,
                 "Sensor definition [lora/demo/th1] does not contain [deeper] property."},
        Property{"member_of_the_root", "temperature", nullptr,
                 "Sensor definition [lora/demo/th1] does not contain [temperature] property."},
        Property{"format_characters", "%s%n", nullptr,
                 "Sensor definition [lora/demo/th1] does not contain [%s%n] property."}),
    rowName);

TEST_P(SensorDefinitionsProperty, getMeasurement) {
    addCustom(NAME, MANY);
    Registry registry(STORAGE_BOTH);
    const Json::Value& definition = registry.getDefinition(NAME, nullptr, nullptr);
    logs().clear();
    std::string error = UNTOUCHED;
    const Json::Value& property = registry.getMeasurement(NAME, GetParam().asked, &error);
    EXPECT_EQ(error, GetParam().error);
    if (GetParam().expected != nullptr) {
        EXPECT_EQ(property, parsed(GetParam().expected));
        EXPECT_EQ(&property, &definition["properties"][GetParam().asked]);
        EXPECT_THAT(logs(), IsEmpty());
    } else {
        EXPECT_EQ(&property, &Json::Value::nullSingleton());
        EXPECT_THAT(logs(), ElementsAre(warningLine("[DFN] " + error)));
    }
    EXPECT_EQ(definition, parsed(MANY));
}

TEST_P(SensorDefinitionsProperty, errorTextIsOptional) {
    addCustom(NAME, MANY);
    Registry registry(STORAGE_BOTH);
    const Json::Value& property = registry.getMeasurement(NAME, GetParam().asked, nullptr);
    EXPECT_EQ(&property == &Json::Value::nullSingleton(), GetParam().expected == nullptr);
}

// --- decoders

struct Decoder : NamedRow {
    const char* text;
    const char* path; ///< below the custom storage; null: none
};

const Decoder DECODERS[] = {
    {"plain", R"({"properties": {}, "decoder": "th1.js"})", "/lora/demo/th1.js"},
    {"in_blanks", R"({"properties": {}, "decoder": " th1.js "})", "/lora/demo/th1.js"},
    {"leading_slash", R"({"properties": {}, "decoder": "/th1.js"})", "/lora/demo//th1.js"},
    {"in_subdirectory", R"({"properties": {}, "decoder": "sub/th1.js"})", "/lora/demo/sub/th1.js"},
    {"link", R"({"properties": {}, "decoder": "link.js"})", "/lora/demo/link.js"},
    {"none", R"({"properties": {}})", nullptr},
    {"number", R"({"properties": {}, "decoder": 5})", nullptr},
    {"null", R"({"properties": {}, "decoder": null})", nullptr},
    {"blank", R"({"properties": {}, "decoder": "   "})", nullptr},
    {"missing_file", R"({"properties": {}, "decoder": "nothing.js"})", nullptr},
    {"directory", R"({"properties": {}, "decoder": "sub"})", nullptr},
    {"parent", R"({"properties": {}, "decoder": "sub/../th1.js"})", nullptr},
};

class SensorDefinitionsDecoder : public SensorDefinitionsTest, public ::testing::WithParamInterface<Decoder> {
protected:
    void SetUp() override {
        SensorDefinitionsTest::SetUp();
        StorageBuilder(customDir())
            .definition(NAME, GetParam().text)
            .decoder(NAME, "th1.js")
            .decoder(NAME, "sub/th1.js");
        makeLink("th1.js", customDir() + "/lora/demo/link.js");
    }
};
INSTANTIATE_TEST_SUITE_P(Rows, SensorDefinitionsDecoder, ::testing::ValuesIn(DECODERS), rowName);

TEST_P(SensorDefinitionsDecoder, getDecoderPath) {
    Registry registry(STORAGE_BOTH);
    std::string path = UNTOUCHED;
    EXPECT_EQ(registry.getDecoderPath(NAME, &path), GetParam().path != nullptr);
    EXPECT_EQ(path, GetParam().path != nullptr ? customDir() + GetParam().path : UNTOUCHED);
}

TEST_P(SensorDefinitionsDecoder, pathIsOptional) {
    Registry registry(STORAGE_BOTH);
    EXPECT_EQ(registry.getDecoderPath(NAME, nullptr), GetParam().path != nullptr);
}

TEST_P(SensorDefinitionsDecoder, recordHasIt) {
    Registry registry(STORAGE_BOTH);
    const Info* const info = registry.getDefinitionInfo(NAME, nullptr);
    if (info != nullptr)
        EXPECT_EQ(info->decoderPath, GetParam().path != nullptr ? customDir() + GetParam().path : "");
    else
        EXPECT_EQ(GetParam().path, nullptr);
}

TEST_F(SensorDefinitionsTest, decoderOfAnUnknownDefinitionHasNoTextAndNoLog) {
    Registry registry(STORAGE_BOTH);
    std::string path = UNTOUCHED;
    EXPECT_FALSE(registry.getDecoderPath(NAME, &path));
    EXPECT_EQ(path, UNTOUCHED);
    EXPECT_THAT(logs(), IsEmpty());
}

TEST_F(SensorDefinitionsTest, decoderPathOfACachedDefinitionIsNotCheckedAgain) {
    StorageBuilder(customDir()).definition(NAME, R"({"properties": {}, "decoder": "d"})").decoder(NAME, "d");
    Registry registry(STORAGE_BOTH);
    ASSERT_TRUE(registry.loadDefinition(NAME, nullptr));
    removeTree(customDir());
    std::string path;
    EXPECT_TRUE(registry.getDecoderPath(NAME, &path));
    EXPECT_EQ(path, customDir() + "/lora/demo/d");
}

// --- texts and logging

// The reason is cut like every error text before it reaches the log. The log line itself is not cut.
TEST_F(SensorDefinitionsTest, longTextsAreCutAt255Bytes) {
    const std::string stem(200, 's');
    const std::string name = "lora/" + std::string(100, 'd') + "/" + stem;
    addCustom(name, "{");
    Registry registry(STORAGE_BOTH);
    std::string error;
    registry.getMeasurement(name, "p", &error);
    EXPECT_EQ(error, ("Sensor definition [" + name + "] not found.").substr(0, 255));
    const std::string reason = "Invalid syntax of the sensor definition [" + name + "].";
    EXPECT_THAT(logs(), ElementsAre(warningLine("[DFN] " + reason.substr(0, 255)),
                                    warningLine("[DFN] Sensor definition [" + name + "] not found.")));
}

TEST_F(SensorDefinitionsTest, nothingIsPrintedWhenTheLevelIsOff) {
    addCustom(NAME, PLAIN);
    addCustom("lora/demo/broken", "{");
    FakeSupport::inst().allPrintable(false);
    Registry registry(STORAGE_BOTH);
    registry.getMeasurement(NAME, "temperature", nullptr);
    registry.getMeasurement(NAME, "humidity", nullptr);
    registry.getMeasurement("lora/demo/broken", "temperature", nullptr);
    namespace PrintLevel = Kelvra::Logger::PrintLevel;
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_THAT(FakeSupport::inst().asked, ElementsAre(PrintLevel::TRACE_LEVEL, PrintLevel::WARNING_LEVEL,
                                                       PrintLevel::WARNING_LEVEL, PrintLevel::WARNING_LEVEL));
}

TEST_F(SensorDefinitionsTest, eachLevelHasItsOwnSwitch) {
    addCustom(NAME, PLAIN);
    FakeSupport::inst().printable(Kelvra::Logger::PrintLevel::TRACE_LEVEL, false);
    Registry registry(STORAGE_BOTH);
    registry.getMeasurement(NAME, "humidity", nullptr);
    EXPECT_THAT(logs(), ElementsAre(warningLine(
                            "[DFN] Sensor definition [lora/demo/th1] does not contain [humidity] property.")));
}

TEST_F(SensorDefinitionsTest, levelIsReadOnceAndTheLabelWhenPrinting) {
    namespace PrintLevel = Kelvra::Logger::PrintLevel;
    const int level = PrintLevel::WARNING_LEVEL;
    FakeSupport::inst().onIsPrintable = [](int) {
        PrintLevel::WARNING_LEVEL = 77;
        PrintLevel::WARNING_LABEL = "later label";
    };
    Registry registry(STORAGE_BOTH);
    registry.getMeasurement(NAME, "temperature", nullptr);
    EXPECT_THAT(logs(), ElementsAre(FakeSupport::LogLine{level, "later label", std::string("[DFN] ") + NOT_FOUND}));
    EXPECT_THAT(FakeSupport::inst().asked, ElementsAre(level));
}

TEST_F(SensorDefinitionsTest, runsNoProgram) {
    addCustom(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    registry.getMeasurement(NAME, "temperature", nullptr);
    EXPECT_THAT(FakeSupport::inst().commands, IsEmpty());
}

// --- exceptions of the JSON library

TEST_F(SensorDefinitionsTest, nestingBeyondTheLimitThrowsAndLeavesTheRegistryUsable) {
    addCustom("lora/demo/good", PLAIN);
    addCustom(NAME, R"({"properties": {"p": )" + nestedArrays(NESTING_LIMIT) + "}}");
    addDefault(NAME, PLAIN);
    Registry registry(STORAGE_BOTH);
    const Info* const good = registry.getDefinitionInfo("lora/demo/good", nullptr);
    logs().clear();
    std::string text = UNTOUCHED;
    EXPECT_THROW(registry.loadDefinition(NAME, &text), Json::Exception);
    EXPECT_THROW(registry.getDefinitionInfo(NAME, &text), Json::Exception);
    EXPECT_THROW(registry.getDefinition(NAME, nullptr, &text), Json::Exception);
    EXPECT_THROW(registry.getMeasurement(NAME, "p", &text), Json::Exception);
    EXPECT_THROW(registry.getDecoderPath(NAME, &text), Json::Exception);
    EXPECT_EQ(text, UNTOUCHED);
    EXPECT_THAT(logs(), IsEmpty());
    EXPECT_EQ(registry.getDefinitionInfo("lora/demo/good", nullptr), good);
    addCustom(NAME, R"({"properties": {}})");
    EXPECT_EQ(registry.getDefinition(NAME, nullptr, nullptr), parsed(R"({"properties": {}})"));
}

} // namespace
