#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "mount_privately.h"
#include "row_name.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/SensorDefinitions.h>

#include <gmock/gmock.h>

#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <numeric>
#include <set>
#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

// Files planted into the custom storage, and the lines that name them.
struct PlantRow : NamedRow {
    std::function<void(const std::string& dir)> plant;
    std::vector<std::string> faults;
};

std::function<void(const std::string&)> file(const std::string& path, const std::string& text) {
    return [path, text](const std::string& dir) { writeFile(dir + "/" + path, text); };
}

void plantClosedFile(const std::string& dir) {
    writeFile(dir + "/lora/closed/file.json", GOOD);
    chmod((dir + "/lora/closed/file.json").c_str(), 0);
}

void plantClosedDirectory(const std::string& dir) {
    writeFile(dir + "/lora/shut/x.json", GOOD);
    chmod((dir + "/lora/shut").c_str(), 0);
}

// A directory whose names can be read, but whose entries cannot be accessed.
void plantNamesOnly(const std::string& dir) {
    writeFile(dir + "/lora/names/x.json", GOOD);
    chmod((dir + "/lora/names").c_str(), S_IRUSR);
}

void plantLinkedDirectory(const std::string& dir) {
    writeFile(dir + "/../elsewhere/m/x.json", GOOD);
    writeFile(dir + "/../elsewhere/m/deeper/y.json", GOOD);
    makeLink("../elsewhere", dir + "/linked");
}

void plantDecoders(const std::string& dir) {
    writeFile(dir + "/lora/dec/a.json", R"({"properties": {}, "decoder": "sub/a.json"})");
    writeFile(dir + "/lora/dec/sub/a.json", "{}");
    writeFile(dir + "/lora/dec/b.json", R"({"properties": {}, "decoder": "./b.json.js"})");
    writeFile(dir + "/lora/dec/b.json.js", "// decoder\n");
    writeFile(dir + "/lora/dec/notes.txt", "{not json");
    writeFile(dir + "/lora/dec/data", R"({"no": "properties"})");
    writeFile(dir + "/readme", GOOD);
}

// Files that are listed but cannot be used.
const std::vector<PlantRow> FAULTY_FILES = {
    {"syntax_error",
     file("lora/syn/one.json", "{\n  \"properties\": {}\n  \"decoder\": 1\n}"),
     {"$C/lora/syn/one.json:3:3: error: Invalid syntax of the sensor definition [lora/syn/one]. Missing ',' or '}' in "
      "object declaration [definition/syntax]"}},
    {"syntax_error_seen_from_afar",
     file("lora/syn/two.json", "{\"a\": 1,\r\n\"b\": \"x\\q\"}"),
     {"$C/lora/syn/two.json:2:6: error: Invalid syntax of the sensor definition [lora/syn/two]. Bad escape sequence in "
      "string See Line 2, Column 10 for detail. [definition/syntax]"}},
    {"empty_file",
     file("lora/syn/empty.json", ""),
     {"$C/lora/syn/empty.json:1:1: error: Invalid syntax of the sensor definition [lora/syn/empty]. Syntax error: "
      "value, object or array expected. [definition/syntax]"}},
    {"root_is_array",
     file("lora/syn/array.json", "\n []"),
     {"$C/lora/syn/array.json:2:2: error: Invalid syntax of the sensor definition [lora/syn/array]. "
      "[definition/not-an-object]"}},
    {"nested_too_deep",
     file("lora/syn/deep.json", nestedArrays(NESTING_LIMIT + 1)),
     {"$C/lora/syn/deep.json: error: Exceeded stackLimit in readValue(). [definition/too-deep]"}},
    {"no_properties",
     file("lora/rule/none.json", "{}"),
     {"$C/lora/rule/none.json:1:1: error: Invalid syntax of the sensor definition [lora/rule/none]: no [properties] "
      "section defined. [definition/no-properties]"}},
    {"properties_hidden_behind_the_decoder",
     file("lora/rule/both.json", "{\"decoder\": \"nosuch\",\n \"properties\": []}"),
     {"$C/lora/rule/both.json:1:13: error: Invalid sensor definition [lora/rule/both]: no decoder file found. "
      "[definition/decoder-missing]",
      "$C/lora/rule/both.json:2:16: error: Invalid syntax of the sensor definition [lora/rule/both]: no [properties] "
      "section defined. [definition/no-properties]"}},
    {"decoder_climbs",
     file("lora/rule/climb.json", R"({"properties": {}, "decoder": " ../x "})"),
     {"$C/lora/rule/climb.json:1:31: error: Invalid sensor definition [lora/rule/climb]: bad decoder path [../x]. "
      "[definition/bad-decoder-path]"}},
    {"properties_hidden_behind_each_other",
     file("lora/rule/props.json", R"({"properties": {"a": 1, "b": {}, "c": null}, "decoder": "."})"),
     {"$C/lora/rule/props.json:1:57: error: Invalid sensor definition [lora/rule/props]: no decoder file found. "
      "[definition/decoder-missing]",
      "$C/lora/rule/props.json:1:22: warning: Sensor definition [lora/rule/props] does not contain [a] property. "
      "[definition/property-not-an-object]",
      "$C/lora/rule/props.json:1:39: warning: Sensor definition [lora/rule/props] does not contain [c] property. "
      "[definition/property-not-an-object]"}},
    {"positions_behind_a_byte_order_mark",
     file("lora/rule/mark.json", "\xef\xbb\xbf{\n\"properties\": {\"a\": 1}}"),
     {"$C/lora/rule/mark.json:2:21: warning: Sensor definition [lora/rule/mark] does not contain [a] property. "
      "[definition/property-not-an-object]"}},
    {"first_line_behind_a_byte_order_mark",
     file("lora/rule/first.json", "\xef\xbb\xbf {\"properties\": 5}"),
     {"$C/lora/rule/first.json:1:17: error: Invalid syntax of the sensor definition [lora/rule/first]: no [properties] "
      "section defined. [definition/no-properties]"}},
};

// Files and directories that cannot be read.
const std::vector<PlantRow> CLOSED_FILES = {
    {"closed_file",
     plantClosedFile,
     {"$C/lora/closed/file.json: error: Sensor definition [lora/closed/file] not found. Permission denied "
      "[definition/unreadable]"}},
    {"closed_directory",
     plantClosedDirectory,
     {"$C/lora/shut: error: The directory cannot be read: Permission denied [tree/directory-unreadable]"}},
    {"directory_without_access",
     plantNamesOnly,
     {"$C/lora/names/x.json: error: The entry cannot be examined: Permission denied [tree/entry-unreadable]"}},
};

// Files that are not listed.
const std::vector<PlantRow> STRAY_FILES = {
    {"linked_file",
     [](const std::string& dir) { makeLink("/dev/null", dir + "/lora/link/null.json"); },
     {"$C/lora/link/null.json: warning: Not listed: it is a symbolic link. "
      "[tree/behind-link]",
      "$C/lora/link/null.json: warning: Not listed: it is not a regular file. [tree/not-a-file]"}},
    {"dangling_link",
     [](const std::string& dir) { makeLink("nosuch", dir + "/lora/link/gone.json"); },
     {"$C/lora/link/gone.json: warning: Not listed: it is a symbolic link. "
      "[tree/behind-link]",
      "$C/lora/link/gone.json: warning: Not listed: it is not a regular file. [tree/not-a-file]"}},
    {"linked_directory",
     plantLinkedDirectory,
     {"$C/linked: warning: It is a symbolic link to a directory: nothing behind it is listed. [tree/behind-link]"}},
    {"loop_of_links", [](const std::string& dir) { makeLink(".", dir + "/lora/loop/self"); }, {}},
    {"too_high",
     file("top.json", GOOD),
     {"$C/top.json: warning: Not listed: a definition must be exactly two directories below its storage. "
      "[tree/wrong-level]"}},
    {"too_high_by_one",
     file("lora/one.json", GOOD),
     {"$C/lora/one.json: warning: Not listed: a definition must be exactly two directories below its storage. "
      "[tree/wrong-level]"}},
    {"too_deep",
     file("lora/a/b/c/three.json", GOOD),
     {"$C/lora/a/b/c/three.json: warning: Not listed: a definition must be exactly two directories below its storage. "
      "[tree/wrong-level]"}},
    {"suffix_in_upper_case",
     file("lora/suffix/up.JSON", GOOD),
     {"$C/lora/suffix/up.JSON: warning: Not listed: its name does not end in [.json]. [tree/wrong-suffix]"}},
    {"suffix_of_a_backup",
     file("lora/suffix/x.json.bak", "{"),
     {"$C/lora/suffix/x.json.bak: warning: Not listed: its name does not end in [.json]. [tree/wrong-suffix]"}},
    {"no_suffix",
     file("lora/suffix/plain", GOOD),
     {"$C/lora/suffix/plain: warning: Not listed: its name does not end in [.json]. [tree/wrong-suffix]"}},
    {"wrong_suffix_and_depth",
     file("lora/x.json~", GOOD),
     {"$C/lora/x.json~: warning: Not listed: a definition must be exactly two directories below its storage. "
      "[tree/wrong-level]",
      "$C/lora/x.json~: warning: Not listed: its name does not end in [.json]. [tree/wrong-suffix]"}},
    {"fifo",
     [](const std::string& dir) { makeFifo(dir + "/lora/kind/pipe.json"); },
     {"$C/lora/kind/pipe.json: warning: Not listed: it is not a regular file. [tree/not-a-file]"}},
    {"directory",
     [](const std::string& dir) { makeDir(dir + "/lora/kind/dir.json"); },
     {"$C/lora/kind/dir.json: warning: Not listed: it is not a regular file. [tree/not-a-file]"}},
    {"name_that_a_terminal_obeys",
     file("lora/kind/a\nb.json", "[]"),
     {"$C/lora/kind/a\\x0ab.json:1:1: error: Invalid syntax of the sensor definition [lora/kind/a\\x0ab]. "
      "[definition/not-an-object]"}},
    {"files_that_are_no_definitions", plantDecoders, {}},
};

std::vector<PlantRow> plants() {
    std::vector<PlantRow> rows;
    for (const std::vector<PlantRow>* part : {&FAULTY_FILES, &CLOSED_FILES, &STRAY_FILES})
        rows.insert(rows.end(), part->begin(), part->end());
    return rows;
}

struct ElementRow : NamedRow {
    const char* element;
    std::vector<std::string> texts;
};

const std::vector<ElementRow> ELEMENTS = {
    {"no_object", "[]", {"Corresponding json section is not an object. [list/element-not-an-object]"}},
    {"everything_missing",
     "{}",
     {"Identifier of a managed sensor is not provided. [list/bad-identifier]",
      "Source value is not specified for the [?] sensor. [list/bad-source]",
      "Sensor definition is not specified for the [?] sensor. [list/bad-definition-name]"}},
    {"no_strings",
     R"({"id": 1, "src": null, "sensor": []})",
     {"Specified sensor identifier is not a string. [list/bad-identifier]",
      "Specified source value is not a string for the [?] sensor. [list/bad-source]",
      "Sensor definition value is not a string for the [?] sensor. [list/bad-definition-name]"}},
    {"blanks",
     R"({"id": " B ", "src": " ", "sensor": ""})",
     {"Specified source value is empty for the [b] sensor. [list/bad-source]",
      "Specified sensor definition value is empty for the [b] sensor. [list/bad-definition-name]"}},
    {"separators",
     R"({"id": "X@y", "src": "s@t", "sensor": "d@e"})",
     {"Invalid identifier [x@y] specified for a managed sensor sensor. [list/bad-identifier]",
      "Invalid source value [s@t] specified for [?] the managed sensor sensor. [list/bad-source]",
      "Invalid sensor definition [d@e] specified for the [?@?] managed sensor sensor. [list/bad-definition-name]"}},
    {"separator_behind_a_missing_source",
     R"({"id": "x@y", "sensor": "d@e"})",
     {"Source value is not specified for the [x@y] sensor. [list/bad-source]",
      "Invalid identifier [x@y] specified for a managed sensor sensor. [list/bad-identifier]",
      "Invalid sensor definition [d@e] specified for the [?@?] managed sensor sensor. [list/bad-definition-name]"}},
    {"definition_missing",
     R"({"id": "1", "src": "lora", "sensor": "demo/nosuch"})",
     {"Sensor definition [lora/demo/nosuch] not found. [list/definition-missing]"}},
    {"definition_broken",
     R"({"id": "2", "src": "lora", "sensor": "demo/broken"})",
     {"Sensor definition [lora/demo/broken] is broken in the custom storage: Invalid sensor "
      "definition [lora/demo/broken]: bad decoder path [../x]. [list/definition-broken]"}},
    {"definition_nested_too_deep",
     R"({"id": "3", "src": "lora", "sensor": "demo/deep"})",
     {"Sensor definition [lora/demo/deep] is broken in the custom storage: Exceeded stackLimit in "
      "readValue(). [list/definition-broken]"}},
    {"definition_without_decoder",
     R"({"id": "4", "src": "lora", "sensor": "demo/bare"})",
     {"Sensor definition [lora/demo/bare] has no decoder. [list/no-decoder]"}},
    {"definition_missing_behind_a_fault",
     R"({"id": "c@d", "src": "lora", "sensor": "demo/nosuch"})",
     {"Invalid identifier [c@d] specified for a managed sensor sensor. [list/bad-identifier]",
      "Sensor definition [lora/demo/nosuch] not found. [list/definition-missing]"}},
    {"duplicate_behind_a_fault",
     R"({"id": "aa", "src": "lora", "sensor": "n@m"})",
     {"Invalid sensor definition [n@m] specified for the [lora@aa] managed sensor sensor. "
      "[list/bad-definition-name]",
      "duplicate key id=[aa] src=[lora]. Skipping. The first one is element [0]. [list/duplicate]"}},
    {"duplicate_with_a_missing_definition",
     R"({"id": "aA", "src": "lora", "sensor": "demo/nosuch"})",
     {"duplicate key id=[aa] src=[lora]. Skipping. The first one is element [0]. [list/duplicate]",
      "Sensor definition [lora/demo/nosuch] not found. [list/definition-missing]"}},
};

const std::vector<ElementRow>& elements() {
    return ELEMENTS;
}

class Check : public ToolTest {
protected:
    Check() {
        addDefinition(standard, "lora/demo/th1");
        writeList({GOOD_SENSOR});
    }

    ToolRun check() const {
        ToolRun result = run({"check"});
        result.out = replaced(result.out, "$T/custom/", "$C/");
        return result;
    }

    // The definitions that the rows of elements() name.
    void plantDefinitions() {
        custom.definition("lora/demo/broken", R"({"properties": {}, "decoder": "../x"})");
        custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1));
        custom.definition("lora/demo/bare", GOOD);
    }
};

std::string sortedLines(const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.insert(line + "\n");
    return std::accumulate(lines.begin(), lines.end(), std::string());
}

std::string summary(std::size_t faults) {
    return std::to_string(faults) + (faults == 1 ? " fault in " : " faults in ");
}

class CheckStorage : public Check, public ::testing::WithParamInterface<PlantRow> {};

TEST_P(CheckStorage, namesEveryFault) {
    GetParam().plant(temp / "custom");
    const ToolRun result = check();
    std::string expected;
    for (const std::string& fault : GetParam().faults)
        expected += fault + "\n";
    expected = withRemedies(expected) + summary(GetParam().faults.size());
    EXPECT_EQ(result.out.substr(0, expected.size()), expected) << result.out;
    EXPECT_EQ(result.status, GetParam().faults.empty() ? 0 : 1);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(Tool, CheckStorage, ::testing::ValuesIn(plants()), rowName);

class CheckElement : public Check, public ::testing::WithParamInterface<ElementRow> {};

TEST_P(CheckElement, namesEveryFaultInTheLibrarysWords) {
    plantDefinitions();
    writeList({GOOD_SENSOR, GetParam().element});
    const ToolRun result = check();
    for (const std::string& text : GetParam().texts)
        EXPECT_THAT(result.out, HasSubstr(withRemedies("$T/list.json:3:1: error: element 1: " + text + "\n")));
    const std::size_t fromDefinitions = 2;
    EXPECT_THAT(result.out, HasSubstr("\n" + summary(GetParam().texts.size() + fromDefinitions)));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(Tool, CheckElement, ::testing::ValuesIn(elements()), rowName);

TEST_F(Check, doesNotDescendLinks) {
    constexpr std::size_t LINKS = 100;
    for (std::size_t number = 0; number < LINKS; ++number)
        makeLink("/", temp / ("custom/link" + std::to_string(number)));
    const ToolRun result = check();
    EXPECT_EQ(result.out.substr(0, result.out.find('\n')),
              "$C/link0: warning: It is a symbolic link to a directory: nothing behind it is listed. "
              "[tree/behind-link]");
    EXPECT_THAT(result.out, HasSubstr("\n" + summary(LINKS)));
}

TEST_F(Check, hidesNoFaultBehindAnother) {
    std::vector<std::string> faults = {
        "$C/lora/demo/broken.json:1:31: error: Invalid sensor definition [lora/demo/broken]: bad decoder path [../x]. "
        "[definition/bad-decoder-path]",
        "$C/lora/demo/deep.json: error: Exceeded stackLimit in readValue(). [definition/too-deep]"};
    plantDefinitions();
    for (const PlantRow& row : plants()) {
        row.plant(temp / "custom");
        faults.insert(faults.end(), row.faults.begin(), row.faults.end());
    }
    std::vector<std::string> list = {GOOD_SENSOR};
    for (const ElementRow& row : elements()) {
        const std::string place = "$T/list.json:" + std::to_string(list.size() + 2) + ":1: error: element " +
                                  std::to_string(list.size()) + ": ";
        for (const std::string& text : row.texts)
            faults.push_back(place + text);
        list.emplace_back(row.element);
    }
    writeList(list);
    const ToolRun result = check();
    std::string expected;
    for (const std::string& fault : faults)
        expected += fault + "\n";
    expected += summary(faults.size()) + "19 definitions and " + std::to_string(list.size()) + " list elements\n";
    EXPECT_EQ(sortedLines(result.out), sortedLines(withRemedies(expected)));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
}

struct ListFileRow : NamedRow {
    std::string text;
    const char* out;
};

class CheckListFile : public Check, public ::testing::WithParamInterface<ListFileRow> {};

TEST_P(CheckListFile, namesEveryFault) {
    writeFile(temp / "list.json", GetParam().text);
    const ToolRun result = check();
    EXPECT_EQ(result.out, withRemedies(GetParam().out));
    EXPECT_EQ(result.status, result.out.rfind("0 faults", 0) == 0 ? 0 : 1);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, CheckListFile,
    ::testing::Values(
        ListFileRow{"good", "[]", "0 faults in 1 definition and 0 list elements\n"},
        ListFileRow{"syntax_error", "[ [],\n  [1 2] ]",
                    "$T/list.json:2:6: error: Failed to parse the managed sensors list [$T/list.json]: Missing ',' or "
                    "']' in array declaration [list/syntax]\n"
                    "1 fault in 1 definition and 0 list elements\n"},
        ListFileRow{"no_array", " {}",
                    "$T/list.json:1:2: error: Failed to parse the managed sensors list [$T/list.json]: json is not an "
                    "array object [list/not-an-array]\n"
                    "1 fault in 1 definition and 0 list elements\n"},
        ListFileRow{"element_behind_a_byte_order_mark", "\xef\xbb\xbf[\n 5]",
                    "$T/list.json:2:2: error: element 0: Corresponding json section is not an object. "
                    "[list/element-not-an-object]\n"
                    "1 fault in 1 definition and 1 list element\n"},
        ListFileRow{"key_first_in_a_faulty_element",
                    R"([{"id": "x", "src": "lora", "sensor": "n@m"},)"
                    "\n"
                    R"({"id": "X", "src": "lora", "sensor": "demo/th1"}])",
                    "$T/list.json:1:2: error: element 0: Invalid sensor definition [n@m] specified for the [lora@x] "
                    "managed sensor sensor. [list/bad-definition-name]\n"
                    "$T/list.json:1:2: error: element 0: duplicate key id=[x] src=[lora]. Skipping. Element [1] is "
                    "used for it. "
                    "[list/duplicate]\n"
                    "2 faults in 1 definition and 2 list elements\n"},
        ListFileRow{"nested_too_deep", nestedArrays(NESTING_LIMIT + 1),
                    "$T/list.json: error: Failed to parse the managed sensors list [$T/list.json]: Exceeded stackLimit "
                    "in readValue(). [list/too-deep]\n"
                    "1 fault in 1 definition and 0 list elements\n"}),
    rowName);

struct CheckPlaceRow : NamedRow {
    std::vector<std::string> options;
    const char* out;
    int status;
};

class CheckPlaces : public Check, public ::testing::WithParamInterface<CheckPlaceRow> {};

TEST_P(CheckPlaces, tellsWhatIsNotThere) {
    writeFile(temp / "file", "");
    writeList({});
    std::vector<std::string> arguments = {"check"};
    for (const std::string& option : GetParam().options)
        arguments.push_back(replaced(option, "$T", temp.path()));
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.out, withRemedies(GetParam().out));
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, CheckPlaces,
    ::testing::Values(
        CheckPlaceRow{"list_missing",
                      {"--map", "$T/nosuch"},
                      "$T/nosuch: error: Failed to open the managed sensors list "
                      "[$T/nosuch]: No such file or directory [list/unreadable]\n"
                      "1 fault in 1 definition and 0 list elements\n",
                      1},
        CheckPlaceRow{"list_is_a_directory",
                      {"--map", "$T"},
                      "$T: error: Failed to open the managed sensors list [$T]: Is a directory [list/unreadable]\n"
                      "1 fault in 1 definition and 0 list elements\n",
                      1},
        CheckPlaceRow{"storage_missing",
                      {"--custom-dir", "$T/nosuch"},
                      "$T/nosuch: note: The custom storage does not exist. [storage/missing]\n"
                      "0 faults in 1 definition and 0 list elements\n",
                      0},
        CheckPlaceRow{"storage_not_configured",
                      {"--default-dir", ""},
                      "the default storage: note: It has no directory and is not searched. [storage/not-configured]\n"
                      "0 faults in 0 definitions and 0 list elements\n",
                      0},
        CheckPlaceRow{"storage_is_a_file",
                      {"--custom-dir", "$T/file"},
                      "$T/file: error: The custom storage is not a directory. [storage/not-a-directory]\n"
                      "1 fault in 1 definition and 0 list elements\n",
                      1},
        CheckPlaceRow{"storage_below_a_file",
                      {"--custom-dir", "$T/file/x"},
                      "$T/file/x: note: The custom storage does not exist. [storage/missing]\n"
                      "0 faults in 1 definition and 0 list elements\n",
                      0}),
    rowName);

TEST_F(Check, aStorageOutOfReachIsAFault) {
    makeDir(temp / "shut/custom");
    chmod((temp / "shut").c_str(), 0);
    const ToolRun result = run({"check", "--custom-dir", temp / "shut/custom"});
    EXPECT_EQ(
        result.out,
        withRemedies(
            "$T/shut/custom: error: The custom storage cannot be reached: Permission denied [storage/unreachable]\n"
            "1 fault in 1 definition and 1 list element\n"));
    EXPECT_EQ(result.status, 1);
}

TEST_F(Check, hidingIsNoFault) {
    addDefinition(custom, "lora/demo/th1");
    const ToolRun result = check();
    EXPECT_EQ(
        result.out,
        withRemedies(
            "$C/lora/demo/th1.json: note: It hides the default definition [lora/demo/th1]. [storage/hides-default]\n"
            "0 faults in 2 definitions and 1 list element\n"));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
}

constexpr const char* THREE_FAULTS_AS_JSON = R"({
  "code" : "failed",
  "error" : "3 faults in 2 definitions and 2 list elements",
  "format_version" : 2,
  "result" : 
  {
    "definitions" : 2,
    "elements" : 2,
    "findings" : 
    [
      {
        "column" : 2,
        "file" : "$T/custom/lora/demo/th1.json",
        "line" : 1,
        "remedy" : "Correct the file at this place.",
        "rule" : "definition/syntax",
        "severity" : "error",
        "text" : "Invalid syntax of the sensor definition [lora/demo/th1]. Missing '}' or object member name"
      },
      {
        "file" : "$T/custom/lora/demo/th1.json",
        "remedy" : "Remove the custom definition to use the default one.",
        "rule" : "storage/hides-default",
        "severity" : "note",
        "text" : "It hides the default definition [lora/demo/th1]."
      },
      {
        "column" : 1,
        "element" : 0,
        "file" : "$T/list.json",
        "line" : 2,
        "remedy" : "Correct the definition, or remove it if it hides a good default one.",
        "rule" : "list/definition-broken",
        "severity" : "error",
        "text" : "Sensor definition [lora/demo/th1] is broken in the custom storage: Invalid syntax of the sensor definition [lora/demo/th1]."
      },
      {
        "column" : 1,
        "element" : 1,
        "file" : "$T/list.json",
        "line" : 3,
        "remedy" : "Make the element an object with \"id\", \"src\" and \"sensor\".",
        "rule" : "list/element-not-an-object",
        "severity" : "error",
        "text" : "Corresponding json section is not an object."
      }
    ]
  },
  "status" : "fail"
}
)";

TEST_F(Check, asJson) {
    custom.definition("lora/demo/th1", "{");
    writeList({GOOD_SENSOR, "7"});
    const ToolRun result = run({"check", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, THREE_FAULTS_AS_JSON);
}

// If the library does not get as far as a rule, the tool uses its own copy of the library's text.
TEST_F(Check, copiesTheLibrarysWords) {
    using namespace Kelvra::SCADA;
    custom.definition("lora/copy/one", "{}");
    custom.definition("lora/copy/two", R"({"decoder": "nosuch"})");
    custom.definition("lora/copy/three", R"({"properties": {"word": "x"}})");
    std::string section;
    ASSERT_FALSE(DefinitionsStorage{temp / "custom"}.getSpec("lora/copy/one", nullptr, &section));
    std::string property;
    Env::inst().conf().setDfnCustomDir(temp / "custom");
    SensorDefinitions registry(STORAGE_CUSTOM);
    ASSERT_TRUE(registry.getMeasurement("lora/copy/three", "word", &property).isNull());
    Env::inst().conf().setDfnCustomDir(Conf::DFN_STORAGE_CUSTOM_DIR);
    const std::string out = check().out;
    EXPECT_THAT(out, HasSubstr("$C/lora/copy/two.json:1:1: error: " + replaced(section, "/one", "/two") +
                               " [definition/no-properties]\n"));
    EXPECT_THAT(out, HasSubstr("$C/lora/copy/three.json:1:25: warning: " + property +
                               " [definition/property-not-an-object]\n"));
}

// A file system repair puts the files that it finds there, readable only for root.
class CheckInAMount : public Check, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override { ASSERT_TRUE(mountPrivately(temp / "custom", "size=1m")); }
    void TearDown() override { umount((temp / "custom").c_str()); }
};

TEST_P(CheckInAMount, leavesWhatARepairFoundAlone) {
    StorageBuilder source(temp / "source");
    addDefinition(source, "lora/demo/th1");
    writeList({GOOD_SENSOR});
    writeFile(temp / ("custom/" + std::string(GetParam()) + "/found.json"), "{}");
    chmod((temp / ("custom/" + std::string(GetParam()))).c_str(), 0);
    EXPECT_EQ(run({"install", temp / "source"}).out, "installed lora/demo/th1\n");
    EXPECT_EQ(run({"check", "--json"}).status, 0) << check().out;
    EXPECT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(temp / ("custom/" + std::string(GetParam()) + "/found.json")));
}

INSTANTIATE_TEST_SUITE_P(Tool, CheckInAMount, ::testing::ValuesIn(whereMountable<const char*>({"lost+found"})),
                         [](const auto& /*row*/) { return "lost_and_found"; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CheckInAMount);

} // namespace
