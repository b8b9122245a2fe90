// Provokes each rule of the tool and checks its severity and remedy, in the text and in JSON.

#include "NamedRow.h"
#include "PreflightTest.h"
#include "check/rules.h"
#include "decoder_plants.h"
#include "device/HiddenDefaults.h"
#include "json_text.h"
#include "names_in_source.h"
#include "row_name.h"

#include <sys/stat.h>

#include <set>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::Tool::contentHash;
using Kelvra::SCADA::Tool::hiddenEntry;
using Kelvra::SCADA::Tool::installedFiles;
using Kelvra::SCADA::Tool::Rule;
namespace Rules = Kelvra::SCADA::Tool::Rules;

constexpr const Rule* RULES[] = {&Rules::STORAGE_NOT_CONFIGURED,
                                 &Rules::STORAGE_MISSING,
                                 &Rules::STORAGE_UNREACHABLE,
                                 &Rules::STORAGE_NOT_A_DIRECTORY,
                                 &Rules::STORAGE_HIDES_DEFAULT,
                                 &Rules::STORAGE_DEFAULT_CHANGED,
                                 &Rules::STORAGE_DEFAULT_GONE,
                                 &Rules::STORAGE_DEFAULT_NEW,
                                 &Rules::STORAGE_INTERRUPTED,
                                 &Rules::STORAGE_UNFINISHED,
                                 &Rules::STORAGE_IN_PLACE,
                                 &Rules::TREE_DIRECTORY_UNREADABLE,
                                 &Rules::TREE_ENTRY_UNREADABLE,
                                 &Rules::TREE_BEHIND_LINK,
                                 &Rules::TREE_WRONG_LEVEL,
                                 &Rules::TREE_WRONG_SUFFIX,
                                 &Rules::TREE_NOT_A_FILE,
                                 &Rules::DEFINITION_UNREADABLE,
                                 &Rules::DEFINITION_SYNTAX,
                                 &Rules::DEFINITION_TOO_DEEP,
                                 &Rules::DEFINITION_NOT_AN_OBJECT,
                                 &Rules::DEFINITION_BAD_DECODER_PATH,
                                 &Rules::DEFINITION_DECODER_MISSING,
                                 &Rules::DEFINITION_NO_PROPERTIES,
                                 &Rules::DEFINITION_PROPERTY_NOT_AN_OBJECT,
                                 &Rules::SCHEMA_TYPE,
                                 &Rules::SCHEMA_ENUM,
                                 &Rules::SCHEMA_REQUIRED,
                                 &Rules::SCHEMA_RANGE,
                                 &Rules::SCHEMA_PATTERN,
                                 &Rules::SCHEMA_FORM,
                                 &Rules::LIST_UNREADABLE,
                                 &Rules::LIST_SYNTAX,
                                 &Rules::LIST_TOO_DEEP,
                                 &Rules::LIST_NOT_AN_ARRAY,
                                 &Rules::LIST_ELEMENT_NOT_AN_OBJECT,
                                 &Rules::LIST_BAD_IDENTIFIER,
                                 &Rules::LIST_BAD_SOURCE,
                                 &Rules::LIST_BAD_DEFINITION_NAME,
                                 &Rules::LIST_DUPLICATE,
                                 &Rules::LIST_DEFINITION_MISSING,
                                 &Rules::LIST_DEFINITION_BROKEN,
                                 &Rules::LIST_NO_DECODER,
                                 &Rules::CODEC_NO_RUNNER,
                                 &Rules::CODEC_RUNNER_FAULT,
                                 &Rules::CODEC_DOES_NOT_LOAD,
                                 &Rules::CODEC_NEEDS_NEWER,
                                 &Rules::CODEC_NO_ENTRY_POINT,
                                 &Rules::CODEC_NOT_OFFERED,
                                 &Rules::CODEC_BAD_EXAMPLE,
                                 &Rules::CODEC_BAD_RESULT,
                                 &Rules::CODEC_EXAMPLE_DIFFERS,
                                 &Rules::CODEC_THREW,
                                 &Rules::CODEC_SHOULD_THROW,
                                 &Rules::CODEC_OVER_LIMIT,
                                 &Rules::CODEC_VALUE_TYPE,
                                 &Rules::CODEC_VALUE_SPECIAL,
                                 &Rules::CODEC_OUT_OF_RANGE,
                                 &Rules::CODEC_UNDECLARED,
                                 &Rules::CODEC_NEVER_SEEN,
                                 &Rules::SOURCE_MISSING,
                                 &Rules::SOURCE_NOT_A_DIRECTORY,
                                 &Rules::SOURCE_TOO_MANY_FINDINGS,
                                 &Rules::SOURCE_BAD_ARCHIVE,
                                 &Rules::SOURCE_UNREADABLE,
                                 &Rules::SOURCE_TOO_LARGE,
                                 &Rules::SOURCE_TOO_MANY,
                                 &Rules::SOURCE_WRONG_LEVEL,
                                 &Rules::SOURCE_NOT_LORAWAN,
                                 &Rules::SOURCE_NO_DECODER,
                                 &Rules::SOURCE_DECODER_OUTSIDE,
                                 &Rules::SOURCE_DECODER_UNREADABLE,
                                 &Rules::SOURCE_BAD_NAME,
                                 &Rules::SOURCE_NO_LIST,
                                 &Rules::SOURCE_LIST_LEFT,
                                 &Rules::SOURCE_NOT_UTF8,
                                 &Rules::INSTALL_UNSAFE_DIRECTORY,
                                 &Rules::INSTALL_NO_SPACE,
                                 &Rules::INSTALL_STAGING_UNWRITABLE,
                                 &Rules::INSTALL_UNTRUSTED_DIRECTORY,
                                 &Rules::INSTALL_CANNOT_COPY,
                                 &Rules::INSTALL_DIRECTORY_BLOCKED,
                                 &Rules::INSTALL_BEHIND_LINK,
                                 &Rules::INSTALL_FILE_BLOCKED,
                                 &Rules::INSTALL_DECODER_BLOCKED,
                                 &Rules::INSTALL_LIST_BLOCKED,
                                 &Rules::INSTALL_ALREADY_INSTALLED,
                                 &Rules::INSTALL_REPLACES_BROKEN};

const Rule* ruleOf(const std::string& id) {
    for (const Rule* rule : RULES) {
        if (rule->id == id)
            return rule;
    }
    return nullptr;
}

/// Returns the lines that the tool prints for findings without control characters.
std::string linesOf(const Json::Value& findings) {
    std::string text;
    for (const Json::Value& finding : findings) {
        text += finding["file"].asString();
        for (const char* number : {"line", "column"})
            text += finding.isMember(number) ? ":" + finding[number].asString() : "";
        text += ": " + finding["severity"].asString() + ": ";
        if (finding.isMember("element"))
            text += "element " + finding["element"].asString() + ": ";
        text += finding["text"].asString() + " [" + finding["rule"].asString() + "]\n    " +
                finding["remedy"].asString() + "\n";
    }
    return text;
}

void expectRules(const Json::Value& findings, const std::vector<std::string>& ids) {
    EXPECT_EQ(rulesOf(findings), ids);
    for (const Json::Value& finding : findings) {
        const Rule* rule = ruleOf(finding["rule"].asString());
        ASSERT_NE(rule, nullptr);
        EXPECT_EQ(finding["severity"].asString(), wordOf(rule->severity));
        EXPECT_EQ(finding["remedy"].asString(), rule->remedy);
    }
}

std::function<void(const std::string&)> customDefinition(const std::string& text) {
    return [text](const std::string& dir) { writeFile(dir + "/custom/lora/demo/th1.json", text); };
}

std::function<void(const std::string&)> listWith(const std::string& element) {
    return [element](const std::string& dir) { writeFile(dir + "/list.json", "[" + element + "]"); };
}

const std::vector<Plant>& plantsOfStorages() {
    static const std::vector<Plant> plants = {
        {"storage_not_configured", nothing, {"storage/not-configured"}, {"--custom-dir", ""}},
        {"storage_missing", nothing, {"storage/missing"}, {"--custom-dir", "$T/none"}},
        {"storage_unreachable",
         [](const std::string& dir) {
             makeDir(dir + "/shut/custom");
             chmod((dir + "/shut").c_str(), 0);
         },
         {"storage/unreachable"},
         {"--custom-dir", "$T/shut/custom"}},
        {"storage_is_a_file", nothing, {"storage/not-a-directory"}, {"--custom-dir", "$T/list.json"}},
        {"operation_interrupted",
         [](const std::string& dir) { writeFile(dir + "/custom.generations/interrupted", "{}"); },
         {"storage/interrupted"}},
        {"operation_unfinished",
         [](const std::string& dir) { writeFile(dir + "/custom/.new-generation", "{}"); },
         {"storage/unfinished"}},
        {"cannot_be_exchanged", nothing, {"storage/in-place"}, {"--custom-dir", "/proc/sys/kernel/random"}},
        {"every_fault_of_a_storage",
         [](const std::string& dir) {
             customDefinition(R"({"decoder": "none.js", "properties": {"a": 1}})")(dir);
             writeFile(dir + "/custom/stray.json", "{}");
         },
         {"definition/decoder-missing", "definition/property-not-an-object", "tree/wrong-level",
          "storage/hides-default", "list/definition-broken"}},
    };
    return plants;
}

const std::vector<Plant>& plantsOfDefaults() {
    static const std::vector<Plant> plants = {
        {"hides_default",
         [](const std::string& dir) {
             writeFile(dir + "/custom/lora/demo/th1.js", "");
             customDefinition(R"({"decoder": "th1.js", "properties": {}})")(dir);
         },
         {"storage/hides-default"}},
        {"default_changed",
         [](const std::string& dir) {
             customDefinition(R"({"decoder": "th1.js", "properties": {}})")(dir);
             writeFile(dir + "/custom/lora/demo/th1.js", "");
             const std::string name = "lora/demo/th1";
             const std::string entry = hiddenEntry(name, installedFiles(dir + "/custom", name));
             writeFile(dir + "/custom.generations/hidden/" + entry + "/" + name + ".json", R"({"properties": {}})");
         },
         {"storage/hides-default", "storage/default-changed"}},
        {"default_gone",
         [](const std::string& dir) {
             const std::string name = "lora/demo/own";
             writeFile(dir + "/custom/" + name + ".json", R"({"decoder": "own.js", "properties": {}})");
             writeFile(dir + "/custom/lora/demo/own.js", "");
             const std::string entry = hiddenEntry(name, installedFiles(dir + "/custom", name));
             writeFile(dir + "/custom.generations/hidden/" + entry + "/" + name + ".json", R"({"properties": {}})");
         },
         {"storage/default-gone"}},
        {"default_new",
         [](const std::string& dir) {
             customDefinition(R"({"decoder": "th1.js", "properties": {}})")(dir);
             writeFile(dir + "/custom/lora/demo/th1.js", "");
             const std::string name = "lora/demo/th1";
             writeFile(dir + "/custom.generations/history",
                       R"({"definitions": [{"change": "installed", "name": ")" + name + R"(", "content": ")" +
                           contentHash(installedFiles(dir + "/custom", name)) + "\"}]}\n");
         },
         {"storage/hides-default", "storage/default-new"}},
    };
    return plants;
}

const std::vector<Plant>& plantsOfLists() {
    static const std::vector<Plant> plants = {
        {"list_missing", nothing, {"list/unreadable"}, {"--map", "$T/none"}},
        {"list_with_syntax_error", listWith("1 2"), {"list/syntax"}},
        {"list_nested_too_deep", listWith(nestedArrays(NESTING_LIMIT + 1)), {"list/too-deep"}},
        {"list_is_no_array",
         [](const std::string& dir) { writeFile(dir + "/list.json", "{}"); },
         {"list/not-an-array"}},
        {"element_is_no_object", listWith("7"), {"list/element-not-an-object"}},
        {"three_bad_members",
         listWith(R"({"id": 1, "src": "", "sensor": "a@b"})"),
         {"list/bad-identifier", "list/bad-source", "list/bad-definition-name"}},
        {"duplicate", listWith(GOOD_SENSOR + std::string(",") + GOOD_SENSOR), {"list/duplicate"}},
        {"definition_missing",
         listWith(R"({"id": "aa", "src": "lora", "sensor": "demo/none"})"),
         {"list/definition-missing"}},
        {"definition_broken",
         customDefinition("[]"),
         {"definition/not-an-object", "storage/hides-default", "list/definition-broken"}},
        {"no_decoder", customDefinition(R"({"properties": {}})"), {"storage/hides-default", "list/no-decoder"}},
    };
    return plants;
}

class DeviceRule : public ToolTest, public ::testing::WithParamInterface<Plant> {
protected:
    DeviceRule() {
        addDefinition(standard, "lora/demo/th1");
        writeList({GOOD_SENSOR});
    }
};

TEST_P(DeviceRule, isSaidToPeopleAndPrograms) {
    GetParam().plant(temp.path());
    std::vector<std::string> arguments = {"check"};
    for (const std::string& option : GetParam().options)
        arguments.push_back(replaced(option, "$T", temp.path()));
    const std::string lines = run(arguments).out;
    arguments.emplace_back("--json");
    const Json::Value answer = parsed(run(arguments).out);
    expectRules(answer["result"]["findings"], GetParam().rules);
    const std::string expected = linesOf(answer["result"]["findings"]);
    EXPECT_EQ(lines.substr(0, expected.size()), expected);
}

INSTANTIATE_TEST_SUITE_P(OfStorages, DeviceRule, ::testing::ValuesIn(plantsOfStorages()), rowName);
INSTANTIATE_TEST_SUITE_P(OfDefaults, DeviceRule, ::testing::ValuesIn(plantsOfDefaults()), rowName);
INSTANTIATE_TEST_SUITE_P(OfLists, DeviceRule, ::testing::ValuesIn(plantsOfLists()), rowName);
INSTANTIATE_TEST_SUITE_P(OfFaultyDecoders, DeviceRule, ::testing::ValuesIn(faultyDecoders("default")), rowName);
INSTANTIATE_TEST_SUITE_P(OfOtherDecoders, DeviceRule, ::testing::ValuesIn(notedDecoders("default")), rowName);

class SourceRule : public PreflightTest, public ::testing::WithParamInterface<Plant> {};

TEST_P(SourceRule, isSaidToPeopleAndPrograms) {
    GetParam().plant(temp.path());
    for (const std::vector<std::string>& command : {std::vector<std::string>{"check"}, {"install", "--dry-run"}}) {
        std::vector<std::string> more(command.begin() + 1, command.end());
        const std::string lines = runOnSource(command[0], GetParam(), more).out;
        more.emplace_back("--json");
        const Json::Value answer = parsed(runOnSource(command[0], GetParam(), more).out);
        expectRules(answer["result"]["findings"], GetParam().rules);
        const std::string expected = linesOf(answer["result"]["findings"]);
        EXPECT_EQ(lines.substr(0, expected.size()), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Refusals, SourceRule, ::testing::ValuesIn(refusals()), rowName);
INSTANTIATE_TEST_SUITE_P(Warnings, SourceRule, ::testing::ValuesIn(warnings()), rowName);
INSTANTIATE_TEST_SUITE_P(Notes, SourceRule, ::testing::ValuesIn(notes()), rowName);

struct FailureRuleRow : NamedRow {
    std::vector<std::string> arguments;
    std::vector<std::string> rules;
};

// Commands that fail because of something that a check would find report it in the same way, on standard error.
class FailureRule : public ToolTest, public ::testing::WithParamInterface<FailureRuleRow> {
protected:
    FailureRule() {
        custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
        custom.definition("lora/demo/two", R"({"decoder": "none.js"})");
        writeFile(temp / "broken.json", "[1 2]");
        writeList({R"({"id": "a", "src": "lora", "sensor": "demo/two"})",
                   R"({"id": "b", "src": "lora", "sensor": "demo/none"})", R"({"id": "c", "sensor": "@"})"});
    }
};

TEST_P(FailureRule, isSaidToPeopleAndPrograms) {
    std::vector<std::string> arguments;
    for (const std::string& word : GetParam().arguments)
        arguments.push_back(replaced(word, "$T", temp.path()));
    const std::string lines = run(arguments).err;
    arguments.emplace_back("--json");
    const ToolRun result = run(arguments);
    const Json::Value findings = parsed(result.out)["result"]["findings"];
    expectRules(findings, GetParam().rules);
    EXPECT_EQ(lines, linesOf(findings));
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, FailureRule,
    ::testing::Values(
        FailureRuleRow{"show", {"show", "lora/demo/deep"}, {"definition/too-deep"}},
        FailureRuleRow{"show_with_two_faults",
                       {"show", "lora/demo/two"},
                       {"definition/decoder-missing", "definition/no-properties"}},
        FailureRuleRow{"resolve_to_a_broken_definition",
                       {"resolve", "lora", "a"},
                       {"definition/decoder-missing", "definition/no-properties"}},
        FailureRuleRow{"resolve_to_a_missing_definition", {"resolve", "b"}, {"list/definition-missing"}},
        FailureRuleRow{"resolve_a_faulty_element", {"resolve", "c"}, {"list/bad-source", "list/bad-definition-name"}},
        FailureRuleRow{"resolve_in_a_broken_list", {"resolve", "c", "--map", "$T/broken.json"}, {"list/syntax"}},
        FailureRuleRow{"sensors_of_a_broken_list", {"sensors", "--map", "$T/broken.json"}, {"list/syntax"}},
        FailureRuleRow{"remove_from_an_unsafe_directory",
                       {"remove", "lora/demo/deep", "--custom-dir", "$T/default"},
                       {"install/unsafe-directory"}}),
    rowName);

std::set<std::string> rulesOfRows() {
    std::set<std::string> rules;
    for (const std::vector<Plant>* rows :
         {&plantsOfStorages(), &plantsOfDefaults(), &plantsOfLists(), &refusals(), &warnings(), &notes()}) {
        for (const Plant& row : *rows)
            rules.insert(row.rules.begin(), row.rules.end());
    }
    return rules;
}

TEST(RuleTable, hasARowForEachRule) {
    const std::set<std::string> ids = namesInSource("check/rules.h", R"rule(constexpr Rule \w+ = \{\s*"([^"]+)")rule");
    EXPECT_EQ(rulesOfRows(), ids);
    std::set<std::string> known;
    for (const Rule* rule : RULES)
        known.insert(rule->id);
    EXPECT_EQ(known, ids);
}

// The page that explains the rules has their severities and remedies.
TEST(RuleTable, isTheOneOfTheDocuments) {
    const std::string page = readFile(SCADA_DOCS "/errors.md");
    for (const Rule* rule : RULES) {
        const std::size_t row = page.find(std::string("\n| `") + rule->id + "` | " + wordOf(rule->severity) + " | ");
        ASSERT_NE(row, std::string::npos) << rule->id;
        const std::string remedy = std::string(" | ") + rule->remedy + " |";
        const std::size_t end = page.find('\n', row + 1);
        EXPECT_EQ(page.substr(end - remedy.size(), remedy.size()), remedy) << rule->id;
    }
}

} // namespace
