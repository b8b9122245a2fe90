// The texts of the library that the tool says itself: if the library changes one, a test here fails.

#include "FakeSupport.h"
#include "NamedRow.h"
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

#include <cctype>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using Tool::filled;
namespace LibraryText = Tool::LibraryText;

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

/// Named as the tool's constant, in lower case.
struct LibraryTextRow : NamedRow {
    std::string (*provoke)(const std::string& dir);
    std::string text; ///< the whole text; "$T" stands for the directory
};

const std::vector<LibraryTextRow>& texts() {
    static const std::vector<LibraryTextRow> rows = {
        {"definition_not_found", noDefinition, filled(LibraryText::DEFINITION_NOT_FOUND, {NAME})},
        {"no_section", noSection, filled(LibraryText::NO_SECTION, {NAME, "properties"})},
        {"no_decoder_file", noDecoderFile, filled(LibraryText::NO_DECODER_FILE, {NAME})},
        {"property_not_found", noProperty, filled(LibraryText::PROPERTY_NOT_FOUND, {NAME, "gone"})},
        {"source_missing", textOfDeployment, filled(LibraryText::SOURCE_MISSING)},
        {"source_not_a_directory", sourceIsAFile, filled(LibraryText::SOURCE_NOT_A_DIRECTORY)},
        {"lorawan_only", anotherFamily, filled(LibraryText::LORAWAN_ONLY)},
        {"decoder_not_defined", noDecoder, filled(LibraryText::DECODER_NOT_DEFINED, {NAME})},
        {"decoder_outside_source", decoderOutside, filled(LibraryText::DECODER_OUTSIDE_SOURCE, {NAME})},
        {"already_installed", installedAlready, filled(LibraryText::ALREADY_INSTALLED, {NAME})},
        {"directory_not_made", fileInPlaceOfDirectory, filled(LibraryText::DIRECTORY_NOT_MADE, {NAME})},
        {"file_not_saved", directoryInPlaceOfFile, filled(LibraryText::FILE_NOT_SAVED, {NAME})},
        {"file_not_copied", linkInPlaceOfDirectory, filled(LibraryText::FILE_NOT_COPIED, {NAME})},
        {"decoder_not_copied", directoryInPlaceOfDecoder, filled(LibraryText::DECODER_NOT_COPIED, {NAME})},
        {"list_not_opened", noList, "[MAP] " + filled(LibraryText::LIST_NOT_OPENED, {"$T/list.json"})},
        {"list_not_parsed", listWithSyntaxError,
         "[MAP] " + filled(LibraryText::LIST_NOT_PARSED,
                           {"$T/list.json", "* Line 1, Column 4\n  Missing ',' or ']' in array declaration\n"})},
        {"list_not_an_array", listThatIsNoArray,
         "[MAP] " + filled(LibraryText::LIST_NOT_PARSED, {"$T/list.json", LibraryText::LIST_NOT_AN_ARRAY})},
        {"duplicate_key", sensorTwice,
         "[MAP] Incorrect entry in the  [$T/list.json]: " + filled(LibraryText::DUPLICATE_KEY, {"aa", "lora"})},
        {"sensor_not_managed", noSensor, filled(LibraryText::SENSOR_NOT_MANAGED, {"lora", "aa"})},
    };
    return rows;
}

class LibraryTexts : public SupportTest, public ::testing::WithParamInterface<LibraryTextRow> {
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

std::string inLowerCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

TEST(LibraryTextTable, hasEveryTextOfTheTool) {
    std::set<std::string> rows;
    for (const LibraryTextRow& row : texts())
        rows.insert(row.name);
    std::set<std::string> constants;
    for (const std::string& name : namesInSource("text/library_texts.h", R"(constexpr const char\* (\w+) =)"))
        constants.insert(inLowerCase(name));
    EXPECT_EQ(rows, constants);
}

} // namespace
