// A custom definition hides a default one. When another default comes, as with a new firmware, the tool says so.

#include "NamedRow.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* RULE = "[storage/default-changed]";

struct StaleWayRow : NamedRow {
    bool exchanged;
};

/// A source that overrides the default definition.
class Stale : public ToolTest, public ::testing::WithParamInterface<StaleWayRow> {
protected:
    Stale() : source(temp / "source") {
        writeList({GOOD_SENSOR});
        addDefinition(standard, NAME, "Air");
        addDefinition(source, NAME, "Own");
    }
    void SetUp() override {
        if (GetParam().exchanged)
            return;
        setenv("LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR, 1);
        setenv("SCADA_TEST_NO_EXCHANGE", "1", 1);
    }
    void TearDown() override {
        unsetenv("SCADA_TEST_NO_EXCHANGE");
        unsetenv("LD_LIBRARY_PATH");
    }

    void install() const {
        const ToolRun result = run({"install", temp / "source", "--allow-overwrite"});
        ASSERT_EQ(result.status, 0) << result.out << result.err;
    }
    void succeed(const std::vector<std::string>& arguments) const {
        const ToolRun result = run(arguments);
        ASSERT_EQ(result.status, 0) << result.out << result.err;
    }
    void bringFirmware(const std::string& title) { addDefinition(standard, NAME, title); }
    void removeDefault() const { std::filesystem::remove_all(temp / "default/lora"); }
    bool isTold() const {
        const bool checked = run({"check"}).out.find(RULE) != std::string::npos;
        EXPECT_EQ(run({"list"}).out.find("default (changed)") != std::string::npos, checked);
        return checked;
    }
    std::set<std::string> kept() const {
        std::set<std::string> names;
        const std::string directory = temp / "custom.generations/hidden";
        if (std::filesystem::exists(directory)) {
            for (const auto& entry : std::filesystem::directory_iterator(directory))
                names.insert(entry.path().filename().string());
        }
        return names;
    }

    StorageBuilder source;
};

TEST_P(Stale, isTold) {
    install();
    EXPECT_FALSE(isTold());
    bringFirmware("Water");
    const ToolRun check = run({"check"});
    EXPECT_EQ(check.status, 0);
    EXPECT_THAT(check.out,
                HasSubstr("$T/custom/lora/demo/th1.json: note: The default definition [lora/demo/th1] that it "
                          "hides has changed since it was installed. [storage/default-changed]\n"));
    EXPECT_THAT(run({"list"}).out, HasSubstr("lora/demo/th1  custom   default (changed)  "));
    const Json::Value row = parsed(run({"list", "--json"}).out)["result"][0];
    EXPECT_EQ(row["hides"], "default");
    EXPECT_EQ(row["hidden_state"], "changed");
}

TEST_P(Stale, isToldByTheDoctor) {
    install();
    bringFirmware("Water");
    EXPECT_THAT(run({"doctor"}).out,
                HasSubstr("note definitions: $T/custom/lora/demo/th1.json: The default definition [lora/demo/th1] that "
                          "it hides has changed since it was installed.\n    scada-sensors diff --default-dir "));
    EXPECT_THAT(run({"doctor", "aa"}).out,
                HasSubstr("note definition: [lora/demo/th1] is the custom one; the default one that it hides has "
                          "changed since\n    scada-sensors diff lora/demo/th1 --default-dir "));
}

TEST_P(Stale, isShownWithTheDefaultOfThatTime) {
    install();
    bringFirmware("Water");
    writeFile(temp / "default/lora/demo/th1.js", "// better\n");
    const ToolRun diff = run({"diff", NAME});
    EXPECT_EQ(diff.status, 1);
    EXPECT_THAT(diff.out, HasSubstr("    property [temperature] changes its name from \"Water\" to \"Own\"\n"));
    EXPECT_THAT(diff.out, HasSubstr("    the default definition has changed since this one was installed:\n"
                                    "        property [temperature] changes its name from \"Air\" to \"Water\"\n"
                                    "        --- $T/custom.generations/hidden/"));
    EXPECT_THAT(diff.out, HasSubstr("        +++ $T/default/lora/demo/th1.js\n        @@ -1,1 +1,1 @@\n"
                                    "        -" +
                                    decoderTextOf(NAME) + "        +// better\n"));
    const Json::Value item = parsed(run({"diff", "--json"}).out)["result"]["definitions"][0];
    EXPECT_EQ(item["changes"][0]["from"], "Water");
    EXPECT_EQ(item["hidden_before"]["changes"][0]["from"], "Air");
    EXPECT_EQ(item["hidden_before"]["changes"][0]["to"], "Water");
    const std::string file = item["hidden_before"]["file"].asString();
    EXPECT_THAT(readFile(replaced(file, "$T", temp.path())), HasSubstr("Air"));
}

TEST_P(Stale, tellsThatTheDefaultIsGone) {
    install();
    removeDefault();
    EXPECT_THAT(run({"check"}).out,
                HasSubstr("$T/custom/lora/demo/th1.json: note: The default definition [lora/demo/th1] that it hid when "
                          "it was installed is gone. [storage/default-gone]\n"));
    EXPECT_THAT(run({"list"}).out, HasSubstr("lora/demo/th1  custom   default (gone)  "));
    EXPECT_EQ(run({"report", temp / "page.html"}).status, 0);
    EXPECT_THAT(readFile(temp / "page.html"), HasSubstr(">default (gone)</span>"));
    const Json::Value row = parsed(run({"list", "--json"}).out)["result"][0];
    EXPECT_TRUE(row["hides"].isNull());
    EXPECT_EQ(row["hidden_state"], "gone");
    EXPECT_THAT(run({"doctor"}).out, HasSubstr("that it hid when it was installed is gone.\n    scada-sensors list "));
    EXPECT_THAT(run({"doctor", "aa"}).out,
                HasSubstr("note definition: [lora/demo/th1] is the custom one; the default one that it hid is gone\n"
                          "    scada-sensors show lora/demo/th1 --default-dir "));
    install();
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr("storage/default-gone")));
    bringFirmware("Water");
    EXPECT_THAT(run({"check"}).out, HasSubstr("[storage/default-new]"));
}

TEST_P(Stale, tellsOfANewDefault) {
    removeDefault();
    install();
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr("storage/default")));
    bringFirmware("Water");
    EXPECT_THAT(
        run({"check"}).out,
        HasSubstr("$T/custom/lora/demo/th1.json: note: The default definition [lora/demo/th1] that it hides has "
                  "come since it was installed. [storage/default-new]\n"));
    EXPECT_THAT(run({"list"}).out, HasSubstr("lora/demo/th1  custom   default (new)  "));
    EXPECT_THAT(run({"doctor"}).out,
                HasSubstr("has come since it was installed.\n    scada-sensors diff --default-dir "));
    EXPECT_THAT(run({"doctor", "aa"}).out,
                HasSubstr("note definition: [lora/demo/th1] is the custom one; the default one that it hides has come "
                          "since\n    scada-sensors diff lora/demo/th1 --default-dir "));
    install();
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr("storage/default")));
    bringFirmware("Soil");
    EXPECT_TRUE(isTold());
}

// Another operation in between changes nothing of it.
TEST_P(Stale, endsWithAnInstallationOfTheSameBytes) {
    install();
    bringFirmware("Water");
    EXPECT_EQ(run({"install", temp / "source", "--allow-overwrite"}).out, "unchanged lora/demo/th1\n");
    EXPECT_FALSE(isTold());
    addDefinition(source, "lora/demo/other");
    bringFirmware("Soil");
    EXPECT_TRUE(isTold());
    EXPECT_EQ(run({"install", temp / "source", "--allow-overwrite"}).out,
              "installed lora/demo/other\nunchanged lora/demo/th1\n");
    EXPECT_FALSE(isTold());
    bringFirmware("Sand");
    EXPECT_TRUE(isTold());
    EXPECT_THAT(run({"diff", NAME}).out, HasSubstr("from \"Soil\" to \"Sand\""));
}

TEST_P(Stale, isRememberedOfAHostsOwnInstallation) {
    install();
    std::filesystem::remove_all(temp / "custom.generations");
    bringFirmware("Water");
    EXPECT_FALSE(isTold());
    install();
    EXPECT_FALSE(isTold());
    bringFirmware("Soil");
    EXPECT_TRUE(isTold());
}

// Whoever adapts the override installs it again, over the default of now.
TEST_P(Stale, endsWithTheNextInstallation) {
    install();
    bringFirmware("Water");
    addDefinition(source, NAME, "Own water");
    install();
    EXPECT_FALSE(isTold());
    bringFirmware("Soil");
    EXPECT_TRUE(isTold());
}

TEST_P(Stale, followsARollback) {
    install();
    bringFirmware("Water");
    addDefinition(source, NAME, "Own water");
    install();
    ASSERT_FALSE(isTold());
    succeed({"rollback"});
    EXPECT_TRUE(isTold());
    EXPECT_THAT(run({"diff", NAME}).out, HasSubstr("from \"Air\" to \"Water\""));
    succeed({"rollback"});
    EXPECT_FALSE(isTold());
}

// The same files as once before, and another default below them.
TEST_P(Stale, followsARollbackToTheSameContent) {
    install();
    addDefinition(source, NAME, "Other");
    install();
    bringFirmware("Water");
    addDefinition(source, NAME, "Own");
    install();
    EXPECT_FALSE(isTold());
    succeed({"rollback"});
    EXPECT_TRUE(isTold());
}

TEST_P(Stale, endsWithTheRemoval) {
    install();
    bringFirmware("Water");
    succeed({"remove", NAME});
    EXPECT_FALSE(isTold());
    // A rollback would bring the override back.
    EXPECT_EQ(kept().size(), 1U);
    addDefinition(source, "lora/demo/other");
    std::filesystem::remove(temp / "source/lora/demo/th1.json");
    install();
    EXPECT_EQ(kept(), std::set<std::string>{});
    EXPECT_FALSE(std::filesystem::exists(temp / "custom.generations/hidden"));
}

TEST_P(Stale, comesBackWithARemovedOverride) {
    install();
    bringFirmware("Water");
    succeed({"remove", "--all", "--yes"});
    succeed({"rollback"});
    EXPECT_TRUE(isTold());
}

TEST_P(Stale, isKnownWithoutTheHistory) {
    install();
    std::filesystem::remove(temp / "custom.generations/history");
    addDefinition(source, "lora/demo/other");
    install();
    succeed({"remove", "lora/demo/other"});
    bringFirmware("Water");
    EXPECT_TRUE(isTold());
}

TEST_P(Stale, isNotKnownOfAHostsOwnInstallation) {
    install();
    std::filesystem::remove(temp / "custom/lora/demo/th1.json");
    addDefinition(custom, NAME, "Host's");
    bringFirmware("Water");
    EXPECT_FALSE(isTold());
}

TEST_P(Stale, isWrittenDownInTheHistory) {
    install();
    succeed({"remove", NAME});
    addDefinition(source, "lora/demo/other");
    bringFirmware("Water");
    install();
    const Json::Value operations = parsed(run({"history", "--json"}).out)["result"]["operations"];
    const Json::Value& first = operations[0U]["definitions"][0U];
    EXPECT_EQ(first["hides"].asString().size(), 64U);
    EXPECT_FALSE(operations[1U]["definitions"][0U].isMember("hides"));
    const Json::Value& second = operations[2U]["definitions"];
    EXPECT_FALSE(second[0U].isMember("hides")) << "it hides nothing";
    EXPECT_NE(second[1U]["hides"], first["hides"]);
}

INSTANTIATE_TEST_SUITE_P(Tool, Stale, ::testing::Values(StaleWayRow{"exchanged", true}, StaleWayRow{"in_place", false}),
                         rowName);

/// A change of the default definition, and whether it is one for readers.
struct ChangeRow : NamedRow {
    const char* document;
    const char* decoder;
    bool isChange;
};

class ChangedDefault : public ToolTest, public ::testing::WithParamInterface<ChangeRow> {};

TEST_P(ChangedDefault, isToldWhereItMatters) {
    standard.definition(NAME, R"({"decoder": "d.js", "properties": {"t": {"unit": "C"}}})").decoder(NAME, "d.js", "1");
    StorageBuilder source(temp / "source");
    addDefinition(source, NAME);
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    standard.definition(NAME, GetParam().document);
    if (GetParam().decoder != nullptr)
        standard.decoder(NAME, "d.js", GetParam().decoder);
    else
        std::filesystem::remove(temp / "default/lora/demo/d.js");
    const ToolRun check = run({"check"});
    EXPECT_EQ(check.out.find(RULE) != std::string::npos, GetParam().isChange) << check.out;
    EXPECT_EQ(run({"diff", NAME}).out.find("    the default definition has changed since this one was installed:\n") !=
                  std::string::npos,
              GetParam().isChange);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ChangedDefault,
    ::testing::Values(
        ChangeRow{"same", R"({"decoder": "d.js", "properties": {"t": {"unit": "C"}}})", "1", false},
        ChangeRow{"layout", "{\"properties\": {\"t\":\n{\"unit\": \"C\"}}, \"decoder\": \"d.js\"}", "1", false},
        ChangeRow{"decoder", R"({"decoder": "d.js", "properties": {"t": {"unit": "C"}}})", "2", true},
        ChangeRow{"member", R"({"decoder": "d.js", "properties": {"t": {"unit": "F"}}})", "1", true},
        ChangeRow{"decoder_gone", R"({"decoder": "d.js", "properties": {"t": {"unit": "C"}}})", nullptr, true},
        ChangeRow{"no_definition_any_more", "[]", "1", true}),
    rowName);

// A definition that was broken from the start is compared by its bytes.
TEST_F(ToolTest, changeOfABrokenDefaultIsTold) {
    standard.definition(NAME, "{");
    StorageBuilder source(temp / "source");
    addDefinition(source, NAME);
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr(RULE)));
    addDefinition(standard, NAME);
    EXPECT_THAT(run({"check"}).out, HasSubstr(RULE));
    EXPECT_THAT(
        run({"diff", NAME}).out,
        HasSubstr("        they cannot be compared: Invalid syntax of the sensor definition [lora/demo/th1].\n"));
}

TEST_F(ToolTest, definitionThatIsItsOwnDecoderCanBeHidden) {
    standard.definition(NAME, R"({"decoder": "th1.json", "properties": {}})");
    StorageBuilder source(temp / "source");
    addDefinition(source, NAME);
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr(RULE)));
}

// The kept files of a killed operation go where its storage went.
// Anybody who may write there may have made it; it must not keep operations from their end.
TEST_F(ToolTest, keptDefaultsTakeThePlaceOfAnotherEntry) {
    addDefinition(standard, NAME);
    StorageBuilder source(temp / "source");
    addDefinition(source, NAME, "Own");
    const std::string hidden = temp / "custom.generations/hidden";
    writeFile(hidden, "");
    EXPECT_EQ(run({"install", temp / "source"}).out, "installed lora/demo/th1\n");
    EXPECT_TRUE(std::filesystem::is_directory(hidden));
    EXPECT_EQ(run({"remove", NAME}).status, 0);
    std::filesystem::remove_all(hidden);
    makeDir(temp / "elsewhere");
    makeLink("../elsewhere", hidden);
    EXPECT_EQ(run({"install", temp / "source"}).status, 0);
    EXPECT_EQ(treeOf(temp / "elsewhere"), std::set<std::string>{});
    addDefinition(standard, NAME, "Water");
    EXPECT_THAT(run({"check"}).out, HasSubstr(RULE));
}

TEST_F(ToolTest, keptDefaultsOfAKilledOperation) {
    addDefinition(standard, NAME);
    StorageBuilder source(temp / "source");
    addDefinition(source, NAME, "Own");
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    const std::string beside = temp / "custom.generations";
    std::filesystem::rename(beside + "/hidden", beside + "/hidden-next");
    std::filesystem::copy(beside + "/hidden-next", temp / "copy", std::filesystem::copy_options::recursive);
    writeFile(temp / "custom/.new-generation", "");
    ASSERT_EQ(run({"recover"}).out, "an operation had put its state in place and has been finished\n");
    addDefinition(standard, NAME, "Water");
    EXPECT_THAT(run({"check"}).out, HasSubstr(RULE));
    std::filesystem::remove_all(beside + "/hidden");
    std::filesystem::rename(temp / "copy", beside + "/hidden-next");
    ASSERT_EQ(run({"recover"}).out, "an operation had changed nothing; what it left has been removed\n");
    EXPECT_THAT(run({"check"}).out, Not(HasSubstr(RULE)));
    EXPECT_FALSE(std::filesystem::exists(beside + "/hidden-next"));
}

} // namespace
