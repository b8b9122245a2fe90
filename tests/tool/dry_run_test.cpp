#include "ToolTest.h"
#include "jsonText.h"
#include "rowName.h"

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <ostream>

namespace {

using namespace Kelvra::SCADA::Test;

class DryRun : public ToolTest {
protected:
    DryRun() : source(temp / "source") {
        makeDir(temp / "source");
        writeList({GOOD_SENSOR});
    }

    /// Runs it and holds it to its promise.
    ToolRun dryRun(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"install", temp / "source", "--dry-run"});
        const auto before = snapshot(temp.path());
        const ToolRun result = run(options);
        EXPECT_EQ(snapshot(temp.path()), before);
        return result;
    }

    StorageBuilder source;
};

TEST_F(DryRun, namesEightFaultsOfEightDefinitions) {
    const std::string properties = R"("properties": {})";
    source.definition("lora/f/a", "{");
    source.definition("lora/f/b", "{" + properties + "}");
    source.definition("lora/f/c", R"({"decoder": "none.js", )" + properties + "}");
    source.definition("lora/f/d", R"({"decoder": "../f/d.js", )" + properties + "}");
    source.definition("lora/f/e", R"({"decoder": "e.js", )" + properties + "}");
    writeFile(temp / "outside.js", "");
    makeLink(temp / "outside.js", temp / "source/lora/f/e.js");
    source.definition("lora/f/f", R"({"decoder": "f.js"})").decoder("lora/f/f", "f.js");
    addDefinition(source, "other/f/g");
    addDefinition(source, "lora/f/h");
    addDefinition(custom, "lora/f/h");
    addDefinition(source, "lora/f/good");
    const ToolRun result = dryRun();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, R"(lora/f/a: refused (new)
  $T/source/lora/f/a.json:1:2: Invalid syntax of the sensor definition [lora/f/a]. Missing '}' or object member name
lora/f/b: refused (new)
  $T/source/lora/f/b.json: LoRaWAN decoder is not defined for [lora/f/b] sensor definition.
lora/f/c: refused (new)
  $T/source/lora/f/c.json:1:13: Invalid sensor definition [lora/f/c]: no decoder file found.
lora/f/d: refused (new)
  $T/source/lora/f/d.json:1:13: Invalid sensor definition [lora/f/d]: bad decoder path [../f/d.js].
lora/f/e: refused (new)
  $T/source/lora/f/e.json: Invalid sensor definition [lora/f/e]: bad decoder file location.
lora/f/f: refused (new)
  $T/source/lora/f/f.json:1:1: Invalid syntax of the sensor definition [lora/f/f]: no [properties] section defined.
lora/f/good: new
lora/f/h: refused (replaces the custom definition)
  $T/custom/lora/f/h.json: Sensor definition [lora/f/h] is already installed. Please remove the custom sensor definition, or enable "Allow Overwrite" to replace it.
other/f/g: refused (new)
  $T/source/other/f/g.json: Only LoRaWAN sensors are currently supported.
9 definitions: 1 new, 8 refused
Nothing has been changed.
)");
    EXPECT_EQ(result.err, "scada-sensors: the installation would be refused; 9 definitions: 1 new, 8 refused\n");
}

TEST_F(DryRun, namesEveryReasonOfOneDefinition) {
    source.definition("other/f/a", R"({"decoder": "none.js"})");
    const ToolRun result = dryRun();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, R"(other/f/a: refused (new)
  $T/source/other/f/a.json:1:13: Invalid sensor definition [other/f/a]: no decoder file found.
  $T/source/other/f/a.json:1:1: Invalid syntax of the sensor definition [other/f/a]: no [properties] section defined.
  $T/source/other/f/a.json: Only LoRaWAN sensors are currently supported.
1 definition: 1 refused
Nothing has been changed.
)");
}

struct ObstacleRow {
    const char* name;
    std::string definition;
    const char* text; ///< "$N" stands for the definition
};

void PrintTo(const ObstacleRow& row, std::ostream* out) {
    *out << row.name;
}

class Obstacle : public DryRun, public ::testing::WithParamInterface<ObstacleRow> {};

// What the library meets only in the middle of an installation.
TEST_P(Obstacle, isForeseenInTheWordsOfTheInstallation) {
    writeFile(temp / "custom/lora/file", "");
    makeLink(temp / "source", temp / "custom/lora/link");
    makeLink(temp / "list.json", temp / "custom/lora/demo/link.json");
    makeDir(temp / "custom/lora/demo/dir.json");
    makeDir(temp / "custom/lora/demo/decoder-decoder");
    const std::string& name = GetParam().definition;
    source.definition(name, R"({"decoder": "d.js", "properties": {}})").decoder(name, "d.js");
    // A "\" in a name is a separator where decoders are looked for.
    writeFile(temp / "source/lora/demo/x/d.js", "");
    const std::string text = replaced(GetParam().text, "$N", name);
    const Json::Value answer = parsed(dryRun({"--json"}).out);
    const Json::Value& refusals = answer["result"]["definitions"][0]["refusals"];
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0]["text"], text);
    const Json::Value installation = parsed(run({"install", temp / "source", "--json"}).out);
    // The library cuts its texts.
    EXPECT_EQ(installation["error"], text.substr(0, 255));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Obstacle,
    ::testing::Values(
        ObstacleRow{"file_instead_of_directory", "lora/file/x",
                    "Failed to create a directory while importing [$N] definition."},
        ObstacleRow{"link_to_directory", "lora/link/x", "File copying error while importing [$N] definition."},
        ObstacleRow{"link_to_file", "lora/demo/link", "File copying error while importing [$N] definition."},
        ObstacleRow{"directory_instead_of_file", "lora/demo/dir", "File saving error while importing [$N] definition."},
        ObstacleRow{"directory_instead_of_decoder", "lora/demo/decoder",
                    "File copying error while importing decoder for the [$N] definition."},
        ObstacleRow{"name_too_long_for_its_decoder", "lora/demo/" + std::string(248, 'n'),
                    "File copying error while importing decoder for the [$N] definition."},
        ObstacleRow{"backslash", "lora/demo/x\\y", "File copying error while importing [$N] definition."}),
    rowName);

struct BlockedRow {
    const char* name;
    std::function<void(const std::string& dir)> block; ///< in the temporary directory
    std::vector<std::string> texts;                    ///< "$T" stands for that directory
    bool closesFile = false;                           ///< so that no snapshot can read it
};

void PrintTo(const BlockedRow& row, std::ostream* out) {
    *out << row.name;
}

class Blocked : public DryRun, public ::testing::WithParamInterface<BlockedRow> {};

TEST_P(Blocked, isForeseenWithEveryReason) {
    addDefinition(source, "lora/demo/th1");
    makeDir(temp / "custom/lora/demo");
    GetParam().block(temp.path());
    const std::vector<std::string> options = {"--allow-overwrite", "--json"};
    const ToolRun result = GetParam().closesFile
                               ? run({"install", temp / "source", "--dry-run", options[0], options[1]})
                               : dryRun(options);
    const Json::Value answer = parsed(result.out);
    EXPECT_EQ(answer["status"], "fail");
    std::vector<std::string> texts;
    for (const Json::Value& refusals : {answer["result"]["refusals"], answer["result"]["definitions"][0]["refusals"]}) {
        for (const Json::Value& refusal : refusals)
            texts.push_back(refusal["file"].asString() + ": " + refusal["text"].asString());
    }
    EXPECT_EQ(texts, GetParam().texts);
    const ToolRun installation = run({"install", temp / "source", "--allow-overwrite"});
    EXPECT_EQ(installation.status, 1);
    EXPECT_EQ(installation.out.find("incomplete"), std::string::npos) << installation.out;
}

std::function<void(const std::string&)> closed(const std::string& path, mode_t mode) {
    return [path, mode](const std::string& dir) { chmod((dir + "/" + path).c_str(), mode); };
}

constexpr const char* NO_DIRECTORY = "Failed to create a directory while importing [lora/demo/th1] definition.";
constexpr const char* NO_DOCUMENT =
    "$T/custom/lora/demo/th1.json: File saving error while importing [lora/demo/th1] definition.";
constexpr const char* NO_DECODER = "$T/custom/lora/demo/th1-decoder: File copying error while importing decoder for "
                                   "the [lora/demo/th1] definition.";

INSTANTIATE_TEST_SUITE_P(
    Tool, Blocked,
    ::testing::Values(
        BlockedRow{"two_directories",
                   [](const std::string& dir) {
                       makeDir(dir + "/custom/lora/demo/th1.json");
                       makeDir(dir + "/custom/lora/demo/th1-decoder");
                   },
                   {NO_DOCUMENT, NO_DECODER}},
        BlockedRow{"two_fifos",
                   [](const std::string& dir) {
                       makeFifo(dir + "/custom/lora/demo/th1.json");
                       makeFifo(dir + "/custom/lora/demo/th1-decoder");
                   },
                   {NO_DOCUMENT, NO_DECODER}},
        BlockedRow{"decoder_link_that_leads_nowhere",
                   [](const std::string& dir) { makeLink("nosuch", dir + "/custom/lora/demo/th1-decoder"); },
                   {NO_DECODER}},
        BlockedRow{"link_on_the_way_and_directory_at_its_end",
                   [](const std::string& dir) {
                       makeDir(dir + "/custom/lora/demo/th1.json");
                       std::filesystem::rename(dir + "/custom/lora", dir + "/custom/real");
                       makeLink("real", dir + "/custom/lora");
                   },
                   {"$T/custom/lora: File copying error while importing [lora/demo/th1] definition.", NO_DOCUMENT}},
        BlockedRow{"directory_of_the_name_closed", closed("custom/lora/demo", 0555), {NO_DOCUMENT, NO_DECODER}},
        BlockedRow{"directory_above_closed",
                   [](const std::string& dir) {
                       std::filesystem::remove(dir + "/custom/lora/demo");
                       chmod((dir + "/custom/lora").c_str(), 0555);
                   },
                   {std::string("$T/custom/lora/demo: ") + NO_DIRECTORY}},
        BlockedRow{"document_closed",
                   [](const std::string& dir) {
                       writeFile(dir + "/custom/lora/demo/th1.json", "{}");
                       chmod((dir + "/custom/lora/demo/th1.json").c_str(), 0444);
                   },
                   {NO_DOCUMENT}},
        BlockedRow{"source_document_closed",
                   closed("source/lora/demo/th1.json", 0),
                   {"$T/source/lora/demo/th1.json: Sensor definition [lora/demo/th1] not found. Permission denied"},
                   true},
        BlockedRow{"source_decoder_closed",
                   closed("source/lora/demo/th1.js", 0),
                   {"$T/source/lora/demo/th1.js: File copying error while importing decoder for the [lora/demo/th1] "
                    "definition."},
                   true},
        BlockedRow{"staging_is_a_file",
                   [](const std::string& dir) { writeFile(dir + "/staging", ""); },
                   {"$T/staging: The staging directory cannot be made or written."}},
        BlockedRow{"staging_with_hidden_definitions",
                   [](const std::string& dir) {
                       writeFile(dir + "/staging/.old/v/m.json", R"({"properties": {}})");
                       writeFile(dir + "/staging/.old/v/n.json", R"({"properties": {}})");
                       writeFile(dir + "/staging/.old/v/unreadable.json", "{}");
                   },
                   {"$T/staging/.old/v/m.json: --staging-dir [$T/staging] holds the hidden definition [.old/v/m], "
                    "which is not emptied and would be installed too.",
                    "$T/staging/.old/v/n.json: --staging-dir [$T/staging] holds the hidden definition [.old/v/n], "
                    "which is not emptied and would be installed too."}},
        BlockedRow{"staging_with_a_hidden_definition_that_throws",
                   [](const std::string& dir) { writeFile(dir + "/staging/.old/v/m.json", nestedArrays(1001)); },
                   {"$T/staging/.old/v/m.json: --staging-dir [$T/staging] holds the hidden definition [.old/v/m], "
                    "which is not emptied and would stop the import: Exceeded stackLimit in readValue()."}},
        BlockedRow{"staging_closed",
                   [](const std::string& dir) {
                       makeDir(dir + "/staging");
                       chmod((dir + "/staging").c_str(), 0555);
                   },
                   {"$T/staging: The staging directory cannot be made or written."}}),
    rowName);

TEST_F(DryRun, overwritesADecoderThatMayNotBeWritten) {
    addDefinition(source, "lora/demo/th1");
    writeFile(temp / "custom/lora/demo/th1-decoder", "");
    chmod((temp / "custom/lora/demo/th1-decoder").c_str(), 0444);
    EXPECT_EQ(dryRun().status, 0);
    EXPECT_EQ(run({"install", temp / "source"}).out, "installed lora/demo/th1\n");
}

TEST_F(DryRun, saysThatThereIsNoRoom) {
    addDefinition(source, "lora/demo/th1");
    constexpr std::uintmax_t FOUR_TERABYTES = std::uintmax_t{1} << 42U;
    std::filesystem::resize_file(temp / "source/lora/demo/th1.js", FOUR_TERABYTES);
    // No snapshot, which would read the file.
    const ToolRun result = run({"install", temp / "source", "--dry-run"});
    EXPECT_EQ(result.status, 1);
    const std::string text = "$T/source: not enough free space for --staging-dir [$T/staging]: 4398046527488 bytes "
                             "needed, ";
    EXPECT_EQ(result.out.substr(0, text.size()), text);
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

TEST_F(DryRun, tellsTheEffectOnSensorsAndProperties) {
    const auto define = [](StorageBuilder& storage, const std::string& name, const std::string& properties) {
        storage.definition(name, R"({"decoder": "d.js", "properties": {)" + properties + "}}");
        storage.decoder(name, "d.js");
    };
    define(standard, "lora/demo/th1", R"("t": {"type": "int32", "unit": "C"}, "gone": {}, "text": "")");
    define(source, "lora/demo/th1", R"("t": {"type": "float", "unit": "F"}, "gone": 5, "new": {})");
    define(custom, "lora/demo/th2", R"("t": {"unit": "C"})");
    define(source, "lora/demo/th2", R"("t": {})");
    define(source, "lora/demo/th3", R"("t": {})");
    writeFile(temp / "source/lora/stray.json", "{}");
    const ToolRun result = dryRun({"--allow-overwrite"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, R"(lora/demo/th1: hides the default definition
  note: $T/source/lora/demo/th1.json:1:81: Sensor definition [lora/demo/th1] does not contain [gone] property.
  sensor lora@aa
  property [gone] disappears
  property [t] changes its type from "int32" to "float"
  property [t] changes its unit from "C" to "F"
lora/demo/th2: replaces the custom definition
  property [t] changes its unit from "C" to null
lora/demo/th3: new
note: $T/source/lora/stray.json: Not listed: a definition lies exactly two directories below its storage.
3 definitions: 1 hides, 1 new, 1 replaces
Nothing has been changed.
)");
    EXPECT_EQ(result.err, "");
}

TEST_F(DryRun, knowsWhatIsInstalledByteForByte) {
    addDefinition(source, "lora/demo/th1");
    addDefinition(standard, "lora/demo/th1");
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    const ToolRun same = dryRun({"--allow-overwrite", "--json"});
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, R"({
  "format_version" : 1,
  "result" : 
  {
    "definitions" : 
    [
      {
        "effect" : "identical",
        "hides" : "default",
        "name" : "lora/demo/th1",
        "notes" : [],
        "properties" : [],
        "refusals" : [],
        "sensors" : [ "lora@aa" ],
        "state" : "identical"
      }
    ],
    "notes" : [],
    "refusals" : []
  },
  "status" : "success"
}
)");
    EXPECT_EQ(dryRun().status, 1);
    source.decoder("lora/demo/th1", "th1.js", "// other\n");
    EXPECT_EQ(dryRun({"--allow-overwrite"}).out, "lora/demo/th1: replaces the custom definition\n  sensor lora@aa\n"
                                                 "1 definition: 1 replaces\nNothing has been changed.\n");
}

TEST_F(DryRun, refusesASourceThatIsNone) {
    const ToolRun missing = run({"install", temp / "none", "--dry-run"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "$T/none: No definition files provided.\n0 definitions\nNothing has been changed.\n");
    const ToolRun file = run({"install", temp / "list.json", "--dry-run"});
    EXPECT_EQ(file.status, 1);
    EXPECT_EQ(file.out, "$T/list.json: Source directory is not provided.\n0 definitions\nNothing has been changed.\n");
}

} // namespace
