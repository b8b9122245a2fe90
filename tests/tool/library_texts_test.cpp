#include "NamedRow.h"

// The texts of the library that the tool says itself: if the library changes one, a test here fails.

#include "FakeSupport.h"
#include "StorageBuilder.h"
#include "ToolTest.h"
#include "install_sample.h"
#include "log_line.h"
#include "names_in_source.h"
#include "row_name.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using Tool::filled;
namespace LibraryText = Tool::LibraryText;

constexpr const char* NAME = "lora/demo/th1";
constexpr const char* GOOD = R"({"properties": {}})";

// Each of these provokes one text in a temporary directory and returns it.

std::string textOfStorage(const std::string& dir) {
    std::string text;
    EXPECT_FALSE(DefinitionsStorage{dir}.getSpec(NAME, nullptr, &text));
    return text;
}

std::string noDefinition(const std::string& dir) {
    return textOfStorage(dir + "/custom");
}

std::string noSection(const std::string& dir) {
    StorageBuilder(dir + "/custom").definition(NAME, "{}");
    return textOfStorage(dir + "/custom");
}

std::string noDecoderFile(const std::string& dir) {
    StorageBuilder(dir + "/custom").definition(NAME, R"({"decoder": "none.js", "properties": {}})");
    return textOfStorage(dir + "/custom");
}

std::string noProperty(const std::string& dir) {
    StorageBuilder(dir + "/custom").definition(NAME, GOOD);
    std::string text;
    EXPECT_TRUE(SensorDefinitions(STORAGE_CUSTOM).getMeasurement(NAME, "gone", &text).isNull());
    return text;
}

std::string textOfDeployment(const std::string& dir) {
    std::string text;
    EXPECT_FALSE(DefinitionsDeployment().deploy(dir + "/source", false, &text));
    return text;
}

std::string sourceIsAFile(const std::string& dir) {
    writeFile(dir + "/source", "");
    return textOfDeployment(dir);
}

std::string anotherFamily(const std::string& dir) {
    addDefinition(dir + "/source", "other/demo/th1");
    return textOfDeployment(dir);
}

std::string noDecoder(const std::string& dir) {
    StorageBuilder(dir + "/source").definition(NAME, GOOD);
    return textOfDeployment(dir);
}

std::string decoderOutside(const std::string& dir) {
    writeFile(dir + "/outside.js", "");
    makeLink(dir + "/outside.js", dir + "/source/lora/demo/th1.js");
    StorageBuilder(dir + "/source").definition(NAME, documentOf("th1.js"));
    return textOfDeployment(dir);
}

std::string installedAlready(const std::string& dir) {
    addDefinition(dir + "/source", NAME);
    addDefinition(dir + "/custom", NAME);
    return textOfDeployment(dir);
}

std::string textOfImport(const std::string& dir) {
    addDefinition(dir + "/source", NAME);
    return textOfDeployment(dir);
}

std::string fileInPlaceOfDirectory(const std::string& dir) {
    writeFile(dir + "/custom/lora/demo", "");
    return textOfImport(dir);
}

std::string directoryInPlaceOfFile(const std::string& dir) {
    makeDir(dir + "/custom/lora/demo/th1.json");
    return textOfImport(dir);
}

std::string linkInPlaceOfDirectory(const std::string& dir) {
    makeDir(dir + "/elsewhere");
    makeLink(dir + "/elsewhere", dir + "/custom/lora/demo");
    return textOfImport(dir);
}

std::string directoryInPlaceOfDecoder(const std::string& dir) {
    makeDir(dir + "/custom/lora/demo/th1-decoder");
    return textOfImport(dir);
}

// Returns the only message of this level that the list causes, or nothing if there are others.
std::string textOfList(const FakeSupport::LogLine& wanted) {
    SensorMap().Load();
    std::string text;
    for (const FakeSupport::LogLine& line : FakeSupport::inst().logs) {
        if (line.level == traceLine("").level)
            continue;
        EXPECT_EQ(text, "");
        EXPECT_EQ(line.level, wanted.level);
        text = line.text;
    }
    return text;
}

std::string noList(const std::string& /*dir*/) {
    return textOfList(errorLine(""));
}

std::string listWithSyntaxError(const std::string& dir) {
    writeFile(dir + "/list.json", "[1 2]");
    return textOfList(errorLine(""));
}

std::string listThatIsNoArray(const std::string& dir) {
    writeFile(dir + "/list.json", "{}");
    return textOfList(errorLine(""));
}

std::string sensorTwice(const std::string& dir) {
    const std::string sensor = R"({"id": "aa", "src": "lora", "sensor": "demo/th1"})";
    writeFile(dir + "/list.json", "[" + sensor + "," + sensor + "]");
    return textOfList(warningLine(""));
}

std::string noSensor(const std::string& /*dir*/) {
    std::string text;
    EXPECT_TRUE(SensorMap().getMeasurement("lora", "aa", "temperature", &text).isNull());
    return text;
}

/// Named as the tool's constant.
struct TextRow : NamedRow {
    std::string (*provoke)(const std::string& dir);
    std::string text; ///< the whole text; "$T" stands for the directory
};

const std::vector<TextRow>& texts() {
    static const std::vector<TextRow> ROWS = {
        {"DEFINITION_NOT_FOUND", noDefinition, filled(LibraryText::DEFINITION_NOT_FOUND, {NAME})},
        {"NO_SECTION", noSection, filled(LibraryText::NO_SECTION, {NAME, "properties"})},
        {"NO_DECODER_FILE", noDecoderFile, filled(LibraryText::NO_DECODER_FILE, {NAME})},
        {"PROPERTY_NOT_FOUND", noProperty, filled(LibraryText::PROPERTY_NOT_FOUND, {NAME, "gone"})},
        {"SOURCE_MISSING", textOfDeployment, filled(LibraryText::SOURCE_MISSING)},
        {"SOURCE_NOT_A_DIRECTORY", sourceIsAFile, filled(LibraryText::SOURCE_NOT_A_DIRECTORY)},
        {"LORAWAN_ONLY", anotherFamily, filled(LibraryText::LORAWAN_ONLY)},
        {"DECODER_NOT_DEFINED", noDecoder, filled(LibraryText::DECODER_NOT_DEFINED, {NAME})},
        {"DECODER_OUTSIDE_SOURCE", decoderOutside, filled(LibraryText::DECODER_OUTSIDE_SOURCE, {NAME})},
        {"ALREADY_INSTALLED", installedAlready, filled(LibraryText::ALREADY_INSTALLED, {NAME})},
        {"DIRECTORY_NOT_MADE", fileInPlaceOfDirectory, filled(LibraryText::DIRECTORY_NOT_MADE, {NAME})},
        {"FILE_NOT_SAVED", directoryInPlaceOfFile, filled(LibraryText::FILE_NOT_SAVED, {NAME})},
        {"FILE_NOT_COPIED", linkInPlaceOfDirectory, filled(LibraryText::FILE_NOT_COPIED, {NAME})},
        {"DECODER_NOT_COPIED", directoryInPlaceOfDecoder, filled(LibraryText::DECODER_NOT_COPIED, {NAME})},
        {"LIST_NOT_OPENED", noList, "[MAP] " + filled(LibraryText::LIST_NOT_OPENED, {"$T/list.json"})},
        {"LIST_NOT_PARSED", listWithSyntaxError,
         "[MAP] " + filled(LibraryText::LIST_NOT_PARSED,
                           {"$T/list.json", "* Line 1, Column 4\n  Missing ',' or ']' in array declaration\n"})},
        {"LIST_NOT_AN_ARRAY", listThatIsNoArray,
         "[MAP] " + filled(LibraryText::LIST_NOT_PARSED, {"$T/list.json", LibraryText::LIST_NOT_AN_ARRAY})},
        {"DUPLICATE_KEY", sensorTwice,
         "[MAP] Incorrect entry in the  [$T/list.json]: " + filled(LibraryText::DUPLICATE_KEY, {"aa", "lora"})},
        {"SENSOR_NOT_MANAGED", noSensor, filled(LibraryText::SENSOR_NOT_MANAGED, {"lora", "aa"})},
    };
    return ROWS;
}

class LibraryTexts : public SupportTest, public ::testing::WithParamInterface<TextRow> {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        Env::inst().conf().setDfnDefaultDir(temp / "default");
        Env::inst().conf().setDfnCustomDir(temp / "custom");
        Env::inst().conf().setDfnStagingDir(temp / "staging");
        Env::inst().conf().setSensorMapFile(temp / "list.json");
    }

    TempDir temp;
};

TEST_P(LibraryTexts, areTheToolsOwn) {
    EXPECT_EQ(replaced(GetParam().provoke(temp.path()), temp.path(), "$T"), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Tool, LibraryTexts, ::testing::ValuesIn(texts()), rowName);

TEST(LibraryTextTable, hasEveryTextOfTheTool) {
    std::set<std::string> names;
    for (const TextRow& row : texts())
        names.insert(row.name);
    EXPECT_EQ(names, namesInSource("text/library_texts.h", R"(constexpr const char\* (\w+) =)"));
}

} // namespace
