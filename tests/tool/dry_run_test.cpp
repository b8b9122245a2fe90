#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <functional>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::MatchesRegex;

class DryRun : public ToolTest {
protected:
    DryRun() : source(temp / "source") {
        makeDir(temp / "source");
        writeList({GOOD_SENSOR});
    }

    /// Runs the dry run and checks that it changes nothing.
    ToolRun dryRun(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"install", temp / "source", "--dry-run"});
        const auto before = snapshot(temp.path());
        ToolRun result = run(options);
        EXPECT_EQ(snapshot(temp.path()), before);
        return result;
    }

    StorageBuilder source;
};

constexpr const char* EIGHT_FAULTS =
    R"($T/source/lora/f/a.json:1:2: error: Invalid syntax of the sensor definition [lora/f/a]. Missing '}' or object member name [definition/syntax]
$T/source/lora/f/b.json:1:1: error: LoRaWAN decoder is not defined for [lora/f/b] sensor definition. [source/no-decoder]
$T/source/lora/f/c.json:1:13: error: Invalid sensor definition [lora/f/c]: no decoder file found. [definition/decoder-missing]
$T/source/lora/f/d.json:1:13: error: Invalid sensor definition [lora/f/d]: bad decoder path [../f/d.js]. [definition/bad-decoder-path]
$T/source/lora/f/e.json:1:13: error: Invalid sensor definition [lora/f/e]: bad decoder file location. [source/decoder-outside]
$T/source/lora/f/f.json:1:1: error: Invalid syntax of the sensor definition [lora/f/f]: no [properties] section defined. [definition/no-properties]
$T/custom/lora/f/h.json: error: Sensor definition [lora/f/h] is already installed. Please remove the custom sensor definition, or enable "Allow Overwrite" to replace it. [install/already-installed]
$T/source/other/f/g.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]
)";

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
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, withRemedies(EIGHT_FAULTS) + R"(lora/f/a: refused (new)
lora/f/b: refused (new)
lora/f/c: refused (new)
lora/f/d: refused (new)
lora/f/e: refused (new)
lora/f/f: refused (new)
lora/f/good: new
lora/f/h: refused (replaces the custom definition)
other/f/g: refused (new)
9 definitions: 1 new, 8 refused
)");
    EXPECT_EQ(result.err, refusal(8));
    const ToolRun installation = run({"install", temp / "source"});
    EXPECT_EQ(installation.status, 5);
    EXPECT_EQ(installation.out, withRemedies(EIGHT_FAULTS));
    EXPECT_EQ(installation.err, refusal(8));
    const ToolRun check = run({"check", temp / "source"});
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(check.out, withRemedies(EIGHT_FAULTS) + "8 faults in 9 definitions\n");
    EXPECT_EQ(check.err, "");
}

TEST_F(DryRun, namesEveryReasonOfOneDefinition) {
    source.definition("other/f/a", R"({"decoder": "none.js"})");
    const ToolRun result = dryRun();
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(
        result.out,
        withRemedies(
            R"($T/source/other/f/a.json:1:13: error: Invalid sensor definition [other/f/a]: no decoder file found. [definition/decoder-missing]
$T/source/other/f/a.json:1:1: error: Invalid syntax of the sensor definition [other/f/a]: no [properties] section defined. [definition/no-properties]
$T/source/other/f/a.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]
)") + "other/f/a: refused (new)\n1 definition: 1 refused\n");
    EXPECT_EQ(result.err, refusal(3));
}

struct BlockerRow : NamedRow {
    std::string definition;
    const char* rule;
    const char* text; ///< "$N" stands for the definition
};

class Blocker : public DryRun, public ::testing::WithParamInterface<BlockerRow> {};

// Returns the library's own error for an installation without the tool's preflight.
std::string libraryError(const TempDir& temp) {
    using namespace Kelvra::SCADA;
    Conf& conf = Env::inst().conf();
    conf.setDfnCustomDir(temp / "custom");
    conf.setDfnStagingDir(temp / "staging");
    std::string error;
    EXPECT_FALSE(DefinitionsDeployment().deploy(temp / "source", false, &error));
    conf.setDfnCustomDir(Conf::DFN_STORAGE_CUSTOM_DIR);
    conf.setDfnStagingDir(Conf::DFN_STORAGE_STAGING_DIR);
    return error;
}

// Faults that the library finds only in the middle of an installation.
TEST_P(Blocker, isForeseenInTheWordsOfTheLibrary) {
    writeFile(temp / "custom/lora/file", "");
    makeLink(temp / "source", temp / "custom/lora/link");
    makeLink(temp / "list.json", temp / "custom/lora/demo/link.json");
    makeDir(temp / "custom/lora/demo/dir.json");
    makeDir(temp / "custom/lora/demo/decoder-decoder");
    const std::string& name = GetParam().definition;
    source.definition(name, R"({"decoder": "d.js", "properties": {}})").decoder(name, "d.js");
    // A "\" in a name is a separator in the search for decoders.
    writeFile(temp / "source/lora/demo/x/d.js", "");
    const std::string text = replaced(GetParam().text, "$N", name);
    const Json::Value answer = parsed(dryRun({"--json"}).out);
    const Json::Value& findings = answer["result"]["findings"];
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0]["text"], text);
    EXPECT_EQ(findings[0]["rule"], GetParam().rule);
    EXPECT_EQ(findings[0]["remedy"], remedyOf(GetParam().rule));
    EXPECT_EQ(findings[0]["definition"], name);
    const Json::Value installation = parsed(run({"install", temp / "source", "--json"}).out);
    EXPECT_EQ(installation["code"], "refused");
    EXPECT_EQ(installation["result"]["findings"], findings);
    // The library cuts its texts.
    EXPECT_EQ(libraryError(temp), text.substr(0, 255));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Blocker,
    ::testing::Values(BlockerRow{"file_instead_of_directory", "lora/file/x", "install/directory-blocked",
                                 "Failed to create a directory while importing [$N] definition."},
                      BlockerRow{"link_to_directory", "lora/link/x", "install/behind-link",
                                 "File copying error while importing [$N] definition."},
                      BlockerRow{"link_to_file", "lora/demo/link", "install/behind-link",
                                 "File copying error while importing [$N] definition."},
                      BlockerRow{"directory_instead_of_file", "lora/demo/dir", "install/file-blocked",
                                 "File saving error while importing [$N] definition."},
                      BlockerRow{"directory_instead_of_decoder", "lora/demo/decoder", "install/decoder-blocked",
                                 "File copying error while importing decoder for the [$N] definition."},
                      BlockerRow{"name_too_long_for_its_decoder", "lora/demo/" + std::string(248, 'n'),
                                 "source/bad-name",
                                 "File copying error while importing decoder for the [$N] definition."},
                      BlockerRow{"backslash", "lora/demo/x\\y", "source/bad-name",
                                 "File copying error while importing [$N] definition."}),
    rowName);

constexpr const char* ONE_REFUSED =
    "lora/demo/th1: refused (new)\n    used by sensor lora@aa\n1 definition: 1 refused\n";
constexpr const char* REPLACING_REFUSED =
    "lora/demo/th1: refused (replaces the custom definition)\n    used by sensor lora@aa\n1 definition: 1 refused\n";
constexpr const char* NEW = "lora/demo/th1: new\n    used by sensor lora@aa\n1 definition: 1 new\n";

struct BlockedRow : NamedRow {
    std::function<void(const std::string& dir)> block; ///< in the temporary directory
    std::vector<std::string> findings;                 ///< "$T" stands for that directory
    bool closesFile = false;                           ///< so that no snapshot can read it
    const char* summary = ONE_REFUSED;
};

class Blocked : public DryRun, public ::testing::WithParamInterface<BlockedRow> {};

TEST_P(Blocked, isForeseenWithEveryReason) {
    addDefinition(source, "lora/demo/th1");
    makeDir(temp / "custom/lora/demo");
    GetParam().block(temp.path());
    std::string findings;
    std::size_t errors = 0;
    for (const std::string& finding : GetParam().findings) {
        findings += withRemedies(finding + "\n");
        errors += finding.find(": error: ") != std::string::npos ? 1U : 0U;
    }
    const ToolRun result = GetParam().closesFile ? run({"install", temp / "source", "--dry-run", "--allow-overwrite"})
                                                 : dryRun({"--allow-overwrite"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, findings + GetParam().summary);
    EXPECT_EQ(result.err, refusal(errors));
    const ToolRun installation = run({"install", temp / "source", "--allow-overwrite"});
    EXPECT_EQ(installation.status, 5);
    EXPECT_EQ(installation.out, findings);
    EXPECT_EQ(installation.err, result.err);
}

std::function<void(const std::string&)> closed(const std::string& path, mode_t mode) {
    return [path, mode](const std::string& dir) { chmod((dir + "/" + path).c_str(), mode); };
}

constexpr const char* NO_DOCUMENT = "$T/custom/lora/demo/th1.json: error: File saving error while importing "
                                    "[lora/demo/th1] definition. [install/file-blocked]";
constexpr const char* NO_DECODER = "$T/custom/lora/demo/th1-decoder: error: File copying error while importing decoder "
                                   "for the [lora/demo/th1] definition. [install/decoder-blocked]";
constexpr const char* NO_STAGING =
    "$T/staging: error: The staging directory cannot be made or written. [install/staging-unwritable]";

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
                   {"$T/custom/lora: error: File copying error while importing [lora/demo/th1] definition. "
                    "[install/behind-link]",
                    NO_DOCUMENT}},
        BlockedRow{"directory_of_the_name_closed", closed("custom/lora/demo", 0555), {NO_DOCUMENT, NO_DECODER}},
        BlockedRow{"directory_above_closed",
                   [](const std::string& dir) {
                       std::filesystem::remove(dir + "/custom/lora/demo");
                       chmod((dir + "/custom/lora").c_str(), 0555);
                   },
                   {"$T/custom/lora/demo: error: Failed to create a directory while importing [lora/demo/th1] "
                    "definition. [install/directory-blocked]"}},
        BlockedRow{"document_closed",
                   [](const std::string& dir) {
                       writeFile(dir + "/custom/lora/demo/th1.json", "{}");
                       chmod((dir + "/custom/lora/demo/th1.json").c_str(), 0444);
                   },
                   {NO_DOCUMENT, "$T/custom/lora/demo/th1.json: note: Invalid syntax of the sensor definition "
                                 "[lora/demo/th1]: no [properties] section defined. [install/replaces-broken]"},
                   false,
                   REPLACING_REFUSED},
        BlockedRow{"source_document_closed",
                   closed("source/lora/demo/th1.json", 0),
                   {"$T/source/lora/demo/th1.json: error: Sensor definition [lora/demo/th1] not found. Permission "
                    "denied [definition/unreadable]"},
                   true},
        BlockedRow{"source_decoder_closed",
                   closed("source/lora/demo/th1.js", 0),
                   {"$T/source/lora/demo/th1.js: error: File copying error while importing decoder for the "
                    "[lora/demo/th1] definition. [source/decoder-unreadable]"},
                   true},
        BlockedRow{"staging_is_a_file",
                   [](const std::string& dir) { writeFile(dir + "/staging", ""); },
                   {NO_STAGING},
                   false,
                   NEW},
        BlockedRow{"staging_closed",
                   [](const std::string& dir) {
                       makeDir(dir + "/staging");
                       chmod((dir + "/staging").c_str(), 0555);
                   },
                   {NO_STAGING},
                   false,
                   NEW}),
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
    std::filesystem::resize_file(temp / "source/lora/demo/th1.js", FOUR_TERABYTES);
    // Takes no snapshot, which would read the file.
    const ToolRun result = run(
        {"install", temp / "source", "--dry-run", "--max-decoder", "8796093022208", "--max-source", "8796093022208"});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out,
                MatchesRegex("[$]T/staging: error: There is not enough free space for --staging-dir: 4398046527488 "
                             "bytes needed, [0-9]+ available[.] \\[install/no-space\\]\n    " +
                             remedyOf("install/no-space") + "\n" + NEW));
    EXPECT_EQ(result.err, refusal(1));
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
    EXPECT_EQ(
        result.out,
        withRemedies(
            R"($T/source/lora/demo/th1.json:1:81: warning: Sensor definition [lora/demo/th1] does not contain [gone] property. [definition/property-not-an-object]
$T/source/lora/stray.json: warning: Not listed: a definition must be exactly two directories below its storage. [tree/wrong-level]
lora/demo/th1: hides the default definition
    used by sensor lora@aa
    property [gone] disappears
    property [t] changes its type from "int32" to "float"
    property [t] changes its unit from "C" to "F"
lora/demo/th2: replaces the custom definition
    property [t] changes its unit from "C" to null
lora/demo/th3: new
3 definitions: 1 hides, 1 new, 1 replaces
nothing has been changed
)"));
    EXPECT_EQ(result.err, "");
}

TEST_F(DryRun, knowsWhatIsInstalledByteForByte) {
    addDefinition(source, "lora/demo/th1");
    addDefinition(standard, "lora/demo/th1");
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    const ToolRun same = dryRun({"--json"});
    EXPECT_EQ(same.status, 0);
    EXPECT_EQ(same.out, R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "definitions" : 
    [
      {
        "effect" : "unchanged",
        "hides" : "default",
        "name" : "lora/demo/th1",
        "properties" : [],
        "sensors" : [ "lora@aa" ],
        "state" : "unchanged"
      }
    ],
    "findings" : []
  },
  "status" : "success"
}
)");
    EXPECT_EQ(dryRun().out, "lora/demo/th1: unchanged\n    used by sensor lora@aa\n1 definition: 1 unchanged\n"
                            "nothing has been changed\n");
    const ToolRun again = run({"install", temp / "source"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "unchanged lora/demo/th1\n");
    EXPECT_EQ(again.err, "");
    source.decoder("lora/demo/th1", "th1.js", "// other\n");
    EXPECT_EQ(dryRun().status, 5);
    EXPECT_EQ(dryRun({"--allow-overwrite"}).out,
              "lora/demo/th1: replaces the custom definition\n    used by sensor lora@aa\n"
              "1 definition: 1 replaces\nnothing has been changed\n");
}

TEST_F(DryRun, refusesASourceThatIsNone) {
    const ToolRun missing = run({"install", temp / "none", "--dry-run"});
    EXPECT_EQ(missing.status, 5);
    EXPECT_EQ(missing.out,
              withRemedies("$T/none: error: No definition files provided. [source/missing]\n") + "0 definitions\n");
    EXPECT_EQ(missing.err, refusal(1));
    makeFifo(temp / "fifo");
    const ToolRun file = run({"install", temp / "fifo", "--dry-run"});
    EXPECT_EQ(file.status, 5);
    EXPECT_EQ(file.out, withRemedies("$T/fifo: error: Source directory is not provided. [source/not-a-directory]\n") +
                            "0 definitions\n");
    EXPECT_EQ(file.err, refusal(1));
}

} // namespace
