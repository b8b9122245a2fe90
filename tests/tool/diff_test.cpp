#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <functional>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* HIDES = "lora/demo/th1: hides the default definition\n";
constexpr const char* DIFFERENT = "differences in 1 of 1 definition\n";

// --- the members of two documents

struct MembersRow : NamedRow {
    const char* from;
    const char* to;
    const char* lines; ///< each indented; none when the documents do not differ
};

class DiffMembers : public ToolTest, public ::testing::WithParamInterface<MembersRow> {};

TEST_P(DiffMembers, areAllTold) {
    standard.definition(NAME, GetParam().from);
    custom.definition(NAME, GetParam().to);
    const ToolRun result = run({"diff", NAME});
    const std::string lines = GetParam().lines;
    EXPECT_EQ(result.out, lines.empty() ? "lora/demo/th1: no differences\ndifferences in 0 of 1 definition\n"
                                        : HIDES + lines + DIFFERENT);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, lines.empty() ? 0 : 1);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DiffMembers,
    ::testing::Values(
        MembersRow{"same", R"({"properties": {"t": {"unit": "V"}}})", R"({"properties": {"t": {"unit": "V"}}})", ""},
        MembersRow{"order_layout_and_comments", R"({"a": 1, "properties": {"t": {"x": 1, "y": 2}, "u": {}}})",
                   "// comment\n{\"properties\": {\"u\": {},\n\"t\": {\"y\": 2, \"x\": 1}}, \"a\": 1}", ""},
        MembersRow{"other_spelling_of_a_text", R"({"properties": {}, "a": "\u00e9\/"})",
                   "{\"properties\": {}, \"a\": \"\xc3\xa9/\"}", ""},
        MembersRow{"property_added", R"({"properties": {}})", R"({"properties": {"t": {"unit": "V"}}})",
                   "    property [t] is new: {\"unit\":\"V\"}\n"},
        MembersRow{"property_removed", R"({"properties": {"t": {"unit": "V"}}})", R"({"properties": {}})",
                   "    property [t] disappears: {\"unit\":\"V\"}\n"},
        MembersRow{"property_that_is_no_object", R"({"properties": {"t": {}, "u": 1}})",
                   R"({"properties": {"t": null, "u": "1"}})",
                   "    property [t] changes from {} to null\n    property [u] changes from 1 to \"1\"\n"},
        MembersRow{"member_of_a_property",
                   R"({"properties": {"t": {"name": "a", "unit": "V", "min": 0, "values": ["a", "b"]}}})",
                   R"({"properties": {"t": {"name": "b", "unit": "V", "max": 0.1, "values": ["a"]}}})",
                   "    property [t] gets max: 0.1\n"
                   "    property [t] loses min: 0\n"
                   "    property [t] changes its name from \"a\" to \"b\"\n"
                   "    property [t] changes its values from [\"a\",\"b\"] to [\"a\"]\n"},
        MembersRow{"member_deep_in_a_property", R"({"properties": {"t": {"x": {"y": {"z": 1, "w": 1}}}}})",
                   R"({"properties": {"t": {"x": {"y": {"z": 2, "w": 1}}}}})",
                   "    property [t] changes its x.y.z from 1 to 2\n"},
        MembersRow{"other_members", R"({"b": [1, 2], "properties": {"t": {}}, "title": "a", "x": null})",
                   R"({"a": 1, "b": [1, 3], "properties": {}, "title": "b"})",
                   "    property [t] disappears: {}\n"
                   "    member [a] is new: 1\n"
                   "    member [b] changes from [1,2] to [1,3]\n"
                   "    member [title] changes from \"a\" to \"b\"\n"
                   "    member [x] disappears: null\n"},
        MembersRow{"numbers_that_are_close", R"({"properties": {}, "a": 0.3})",
                   R"({"properties": {}, "a": 0.30000000000000004})",
                   "    member [a] changes from 0.3 to 0.30000000000000004\n"},
        MembersRow{"element_in_front", R"({"properties": {}, "examples": [{"a": 1}, {"b": 1}]})",
                   R"({"properties": {}, "examples": [{"n": 1}, {"a": 1}, {"b": 1}]})",
                   "    member [examples.0] is new: {\"n\":1}\n"},
        MembersRow{"element_in_the_middle", R"({"properties": {}, "examples": [{"a": 1}, {"b": 1}, {"c": 1}]})",
                   R"({"properties": {}, "examples": [{"a": 1}, {"c": 1}]})",
                   "    member [examples.1] disappears: {\"b\":1}\n"},
        MembersRow{"member_of_an_element", R"({"properties": {}, "examples": [{"a": {"b": 1}}, {"c": 1}]})",
                   R"({"properties": {}, "examples": [{"a": {"b": 2}}, {"c": 1}]})",
                   "    member [examples.0.a.b] changes from 1 to 2\n"},
        MembersRow{"what_a_terminal_would_obey", R"({"properties": {}, "a\u009b": "\u009b1"})",
                   R"({"properties": {"\u009b2": {"\u202e": 1}}, "a\u009b": "\u009b2"})",
                   R"(    property [\xc2\x9b2] is new: {"\xe2\x80\xae":1}
    member [a\xc2\x9b] changes from "\xc2\x9b1" to "\xc2\x9b2"
)"}),
    rowName);

// --- the decoders

class Diff : public ToolTest {
protected:
    static void define(StorageBuilder& storage, const std::string& name, const std::string& decoder,
                       const std::string& file = "d.js") {
        storage.definition(name, R"({"decoder": ")" + file + R"(", "properties": {}})");
        writeFile(storage.dir() + "/" + name.substr(0, name.rfind('/') + 1) + file, decoder);
    }

    ToolRun diffDecoders(const std::string& from, const std::string& to) {
        define(standard, NAME, from);
        define(custom, NAME, to, "th1-decoder");
        return run({"diff", NAME});
    }
};

// An installation gives the decoder another name.
TEST_F(Diff, sameDecoderUnderAnotherName) {
    const ToolRun result = diffDecoders("a\n", "a\n");
    EXPECT_EQ(result.out, "lora/demo/th1: no differences\ndifferences in 0 of 1 definition\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Diff, decodersAsAUnifiedDiff) {
    const ToolRun result = diffDecoders("a\nb / 2\n\tc\n", "a\nb / 20\n\tc");
    EXPECT_EQ(result.out, std::string(HIDES) + R"(    --- $T/default/lora/demo/d.js
    +++ $T/custom/lora/demo/th1-decoder
    @@ -1,3 +1,3 @@
     a
    -b / 2
    -    c
    +b / 20
    +    c
    \ No newline at end of file
)" + DIFFERENT);
    EXPECT_EQ(result.status, 1);
}

TEST_F(Diff, decoderThatATerminalWouldObey) {
    const ToolRun result = diffDecoders("a\n", "\x1b[2J\r\n\xff\n");
    EXPECT_THAT(result.out, HasSubstr("    -a\n    +\\x1b[2J\\x0d\n    +\\xff\n"));
}

TEST_F(Diff, decodersThatAreTooLongForLines) {
    const ToolRun result = diffDecoders(std::string(600000, 'a'), std::string(600000, 'b'));
    EXPECT_EQ(result.out,
              std::string(HIDES) +
                  "    the decoders [$T/default/lora/demo/d.js] and [$T/custom/lora/demo/th1-decoder] differ "
                  "and are too long to be shown: 600000 and 600000 bytes\n" +
                  DIFFERENT);
    EXPECT_EQ(result.status, 1);
}

TEST_F(Diff, decoderThatCannotBeRead) {
    define(standard, NAME, "a");
    define(custom, NAME, "a");
    chmod((temp / "custom/lora/demo/d.js").c_str(), 0);
    const ToolRun result = run({"diff", NAME});
    EXPECT_EQ(result.out, std::string(HIDES) +
                              "    the decoders [$T/default/lora/demo/d.js] and [$T/custom/lora/demo/d.js] cannot be "
                              "compared: Permission denied\n" +
                              DIFFERENT);
    EXPECT_EQ(result.status, 1);
}

TEST_F(Diff, decoderOnOneSide) {
    define(standard, NAME, "a\n");
    custom.definition(NAME, R"({"properties": {}})");
    const ToolRun result = run({"diff", NAME});
    EXPECT_EQ(result.out, std::string(HIDES) + R"(    member [decoder] disappears: "d.js"
    --- $T/default/lora/demo/d.js
    +++ /dev/null
    @@ -1,1 +0,0 @@
    -a
)" + DIFFERENT);
}

// --- the definitions that are compared

TEST_F(Diff, withoutANameAllThatHide) {
    for (const char* name : {"lora/a/a", "lora/a/b", "lora/a/c"})
        addDefinition(standard, name);
    addDefinition(custom, "lora/a/a");
    addDefinition(custom, "lora/a/c", "Water");
    addDefinition(custom, "lora/a/d");
    const ToolRun result = run({"diff"});
    EXPECT_EQ(result.out, "lora/a/a: no differences\n"
                          "lora/a/c: hides the default definition\n"
                          "    property [temperature] changes its name from \"Air\" to \"Water\"\n"
                          "differences in 1 of 2 definitions\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(run({"diff", "lora/a/a"}).status, 0);
}

TEST_F(Diff, nameThatHidesNothing) {
    addDefinition(standard, "lora/a/a");
    addDefinition(custom, "lora/a/b");
    ToolRun result = run({"diff", "lora/a/a"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: only the default storage has the definition [lora/a/a]\n"
                          "scada-sensors: \"scada-sensors list\" shows the definitions\n");
    result = run({"diff", "lora/a/b"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "scada-sensors: only the custom storage has the definition [lora/a/b]\n"
                          "scada-sensors: \"scada-sensors list\" shows the definitions\n");
    result = run({"diff", "lora/a/c"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "scada-sensors: there is neither a definition nor a source [lora/a/c]\n"
                          "scada-sensors: \"scada-sensors list\" shows the definitions\n");
}

TEST_F(Diff, definitionThatCannotBeRead) {
    standard.definition(NAME, "{");
    addDefinition(custom, NAME);
    const ToolRun result = run({"diff", NAME});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out,
              std::string(HIDES) +
                  "    they cannot be compared: Invalid syntax of the sensor definition [lora/demo/th1].\n" +
                  DIFFERENT);
    EXPECT_EQ(result.err,
              withRemedies("$T/default/lora/demo/th1.json:1:2: error: Invalid syntax of the sensor definition "
                           "[lora/demo/th1]. Missing '}' or object member name [definition/syntax]\n"));
}

TEST_F(Diff, limitWithoutASource) {
    const ToolRun result = run({"diff", "--max-source", "1M"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "scada-sensors: --max-source needs SRC\n");
}

class DiffSource : public Diff {
protected:
    DiffSource() : source(temp / "source") {
        addDefinition(standard, "lora/a/hidden");
        addDefinition(source, "lora/a/hidden", "Water");
        addDefinition(custom, "lora/a/replaced");
        addDefinition(source, "lora/a/replaced", "Oil");
        addDefinition(source, "lora/a/new");
        addDefinition(custom, "lora/a/kept");
    }

    StorageBuilder source;
};

constexpr const char* SOURCE_DIFFERENCES = R"(lora/a/hidden: hides the default definition
    property [temperature] changes its name from "Air" to "Water"
lora/a/new: new
lora/a/replaced: replaces the custom definition
    property [temperature] changes its name from "Air" to "Oil"
differences in 3 of 3 definitions
)";

TEST_F(DiffSource, whatItWouldReplaceOrHide) {
    const auto before = snapshot(temp.path());
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_EQ(snapshot(temp.path()), before);
    EXPECT_EQ(result.out, SOURCE_DIFFERENCES);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 1);
}

TEST_F(DiffSource, isTheSameOnceItIsInstalled) {
    ASSERT_EQ(run({"install", source.dir(), "--allow-overwrite"}).status, 0);
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_EQ(result.out, "lora/a/hidden: no differences\nlora/a/new: no differences\nlora/a/replaced: no differences\n"
                          "differences in 0 of 3 definitions\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST_F(DiffSource, archive) {
    ASSERT_EQ(run({"install", source.dir(), "--allow-overwrite"}).status, 0);
    ASSERT_EQ(run({"export", temp / "all.tar.gz"}).status, 0);
    ASSERT_EQ(run({"rollback"}).status, 0);
    const ToolRun result = run({"diff", temp / "all.tar.gz"});
    EXPECT_EQ(result.out,
              replaced(replaced(SOURCE_DIFFERENCES, "lora/a/new", "lora/a/kept: no differences\nlora/a/new"), "3 of 3",
                       "3 of 4"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(DiffSource, differencesOfTheDecoderNameThePlaceInTheSource) {
    writeFile(temp / "source/lora/a/replaced.js", "new\n");
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_THAT(result.out,
                HasSubstr("    --- $T/custom/lora/a/replaced.js\n    +++ $T/source/lora/a/replaced.js\n    @@ -"));
}

TEST_F(DiffSource, faultyDefinition) {
    source.definition("lora/a/replaced", "{");
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_THAT(result.out, HasSubstr("lora/a/replaced: refused (replaces the custom definition)\n"));
    EXPECT_EQ(result.err,
              withRemedies("$T/source/lora/a/replaced.json:1:2: error: Invalid syntax of the sensor definition "
                           "[lora/a/replaced]. Missing '}' or object member name [definition/syntax]\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(DiffSource, replacingADefinitionThatCannotBeRead) {
    custom.definition("lora/a/replaced", "7");
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_THAT(result.out, HasSubstr("lora/a/replaced: replaces the custom definition\n"
                                      "    they cannot be compared: Invalid syntax of the sensor definition "
                                      "[lora/a/replaced].\n"));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 1);
}

// A source can make the answer long, but memory is limited.
TEST_F(DiffSource, answerThatIsTooLong) {
    for (const char* name : {"lora/b/a", "lora/b/b", "lora/b/c", "lora/b/d", "lora/b/e"}) {
        define(standard, name, std::string(500000, 'a'), std::string(name).substr(7) + ".js");
        define(source, name, std::string(500000, 'b'), std::string(name).substr(7) + ".js");
    }
    const ToolRun result = run({"diff", source.dir()});
    EXPECT_EQ(result.status, 1);
    EXPECT_LT(result.out.size(), 2500000U);
    EXPECT_THAT(result.out, HasSubstr("lora/b/b: hides the default definition\n    --- "));
    EXPECT_THAT(result.out, HasSubstr("lora/b/c: hides the default definition\n"
                                      "    they differ; the answer is too long to show more\n"));
    const Json::Value definitions = parsed(run({"diff", source.dir(), "--json"}).out)["result"]["definitions"];
    EXPECT_TRUE(definitions[4]["shown"].asBool());
    EXPECT_FALSE(definitions[5]["shown"].asBool());
    EXPECT_FALSE(definitions[5].isMember("decoder"));
}

TEST_F(Diff, forPrograms) {
    standard.definition(NAME, R"({"decoder": "d.js", "properties": {"t": {"unit": "V", "min": 0}, "u": {}}, "a": 1})");
    custom.definition(NAME, R"({"decoder": "d.js", "properties": {"t": {"unit": "mV", "max": 1}}})");
    writeFile(temp / "default/lora/demo/d.js", "a\n");
    writeFile(temp / "custom/lora/demo/d.js", "\tb\n");
    Json::Value expected = envelope(1);
    expected["error"] = "differences in 1 of 1 definition";
    expected["result"] = parsed(R"({"definitions": [{
        "name": "lora/demo/th1", "effect": "hides", "differs": true, "shown": true,
        "from": "$T/default/lora/demo/th1.json", "to": "$T/custom/lora/demo/th1.json",
        "changes": [
            {"change": "added", "property": "t", "path": ["properties", "t", "max"], "to": 1},
            {"change": "removed", "property": "t", "path": ["properties", "t", "min"], "from": 0},
            {"change": "changed", "property": "t", "path": ["properties", "t", "unit"], "from": "V", "to": "mV"},
            {"change": "removed", "property": "u", "path": ["properties", "u"], "from": {}},
            {"change": "removed", "path": ["a"], "from": 1}],
        "decoder": {"from": "$T/default/lora/demo/d.js", "to": "$T/custom/lora/demo/d.js", "failure": null,
            "diff": "@@ -1,1 +1,1 @@\n-a\n+\tb\n"}}]})");
    const ToolRun result = run({"diff", NAME, "--json"});
    EXPECT_EQ(parsed(result.out), expected);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 1);
}

} // namespace
