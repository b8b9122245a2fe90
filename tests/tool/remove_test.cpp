#include "NamedRow.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

#include <sys/stat.h>

namespace {

using namespace Kelvra::SCADA::Test;

struct RemoveRow : NamedRow {
    std::vector<std::string> arguments;
    int status;
    const char* out;
    const char* err;
    std::set<std::string> left; ///< of the custom storage
};

class Remove : public ToolTest, public ::testing::WithParamInterface<RemoveRow> {};

const std::set<std::string>& everything() {
    static const std::set<std::string> entries = {
        ".hidden", "lora", "lora/demo", "lora/demo/bare.json", "lora/demo/th1.js", "lora/demo/th1.json"};
    return entries;
}

TEST_P(Remove, removes) {
    addDefinition(custom, "lora/demo/th1");
    addDefinition(standard, "lora/demo/th1");
    custom.definition("lora/demo/bare", "{");
    writeFile(temp / "custom/.hidden", "");
    std::vector<std::string> arguments = {"remove"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    const auto standardBefore = snapshot(temp / "default");
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, GetParam().out);
    EXPECT_EQ(result.err, GetParam().err);
    EXPECT_EQ(treeOf(temp / "custom"), GetParam().left);
    EXPECT_EQ(snapshot(temp / "default"), standardBefore);
}

constexpr const char* UNCOVERED = "removed lora/demo/th1; the default definition is in force again\n";
constexpr const char* REMOVED_BARE_JSON = R"({
  "code" : "done",
  "format_version" : 2,
  "result" : 
  {
    "failed" : [],
    "losses" : [],
    "removed" : 
    [
      {
        "name" : "lora/demo/bare",
        "uncovers" : null
      }
    ]
  },
  "status" : "success"
}
)";
constexpr const char* NOT_FOUND_JSON = R"({
  "code" : "not-found",
  "error" : "1 definition not removed",
  "format_version" : 2,
  "result" : 
  {
    "failed" : 
    [
      {
        "error" : "Sensor definition [th1] not found.",
        "name" : "th1"
      }
    ],
    "removed" : []
  },
  "status" : "fail"
}
)";
constexpr const char* UNCONFIRMED_JSON = R"({
  "code" : "usage",
  "error" : "remove --all asks on a terminal; elsewhere it needs --yes",
  "format_version" : 2,
  "status" : "fail"
}
)";
constexpr const char* NOTHING_NAMED_JSON = R"({
  "code" : "usage",
  "error" : "remove needs either names or --all",
  "format_version" : 2,
  "status" : "fail"
}
)";

INSTANTIATE_TEST_SUITE_P(
    Tool, Remove,
    ::testing::Values(
        RemoveRow{"one", {"lora/demo/th1"}, 0, UNCOVERED, "", {".hidden", "lora", "lora/demo", "lora/demo/bare.json"}},
        RemoveRow{"same_name_twice",
                  {"lora/demo/th1", "lora/demo/th1"},
                  0,
                  UNCOVERED,
                  "",
                  {".hidden", "lora", "lora/demo", "lora/demo/bare.json"}},
        RemoveRow{"goes_on_after_an_unknown_name",
                  {"lora/demo/none", "lora/demo/th1"},
                  1,
                  "not removed lora/demo/none: Sensor definition [lora/demo/none] not found.\n"
                  "removed lora/demo/th1; the default definition is in force again\n",
                  "scada-sensors: 1 definition not removed\n",
                  {".hidden", "lora", "lora/demo", "lora/demo/bare.json"}},
        RemoveRow{"as_json",
                  {"lora/demo/bare", "--json"},
                  0,
                  REMOVED_BARE_JSON,
                  "",
                  {".hidden", "lora", "lora/demo", "lora/demo/th1.js", "lora/demo/th1.json"}},
        RemoveRow{"unknown_as_json", {"th1", "--json"}, 4, NOT_FOUND_JSON, "", everything()},
        RemoveRow{"all",
                  {"--all", "--yes"},
                  0,
                  "removed lora/demo/bare\nremoved lora/demo/th1; the default definition is in force again\n",
                  "",
                  {}},
        RemoveRow{"all_without_yes",
                  {"--all"},
                  2,
                  "",
                  "scada-sensors: remove --all asks on a terminal; elsewhere it needs --yes\n",
                  everything()},
        RemoveRow{"all_without_yes_as_json",
                  {"--all", "--json"},
                  2,
                  UNCONFIRMED_JSON,
                  "scada-sensors: remove --all asks on a terminal; elsewhere it needs --yes\n",
                  everything()},
        RemoveRow{"nothing_named_as_json",
                  {"--json"},
                  2,
                  NOTHING_NAMED_JSON,
                  "scada-sensors: remove needs either names or --all\n",
                  everything()},
        RemoveRow{"nothing_named", {}, 2, "", "scada-sensors: remove needs either names or --all\n", everything()},
        RemoveRow{"all_and_names",
                  {"--all", "--yes", "lora/demo/th1"},
                  2,
                  "",
                  "scada-sensors: remove needs either names or --all\n",
                  everything()},
        RemoveRow{"yes_without_all",
                  {"--yes", "lora/demo/th1"},
                  2,
                  "",
                  "scada-sensors: --yes belongs to --all\n",
                  everything()}),
    rowName);

TEST_F(ToolTest, removeTakesADefinitionThatIsNestedTooDeeply) {
    custom.definition("lora/demo/deep", nestedArrays(NESTING_LIMIT + 1)).decoder("lora/demo/deep", "deep-decoder");
    addDefinition(custom, "lora/demo/a");
    addDefinition(custom, "lora/demo/z");
    const ToolRun result = run({"remove", "lora/demo/a", "lora/demo/deep", "lora/demo/z"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "removed lora/demo/a\nremoved lora/demo/deep\nremoved lora/demo/z\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

TEST_F(ToolTest, removeTakesTheDirectoriesThatItEmpties) {
    addDefinition(custom, ".lora/demo/th1");
    custom.definition("lora/demo/apart", R"({"decoder": "codecs/apart.js", "properties": {}})");
    writeFile(temp / "custom/lora/demo/codecs/apart.js", "// decodes\n");
    addDefinition(custom, "lora/kept/th1");
    EXPECT_EQ(run({"remove", ".lora/demo/th1", "lora/demo/apart"}).out,
              "removed .lora/demo/th1\nremoved lora/demo/apart\n");
    EXPECT_EQ(treeOf(temp / "custom"),
              (std::set<std::string>{"lora", "lora/kept", "lora/kept/th1.js", "lora/kept/th1.json"}));
    EXPECT_EQ(run({"remove", "lora/kept/th1"}).status, 0);
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

// Nobody lists what is not a regular file, and whoever opened a FIFO would wait.
struct SpecialFileRow : NamedRow {
    void (*plant)(const std::string& path);
};

class RemoveSpecialFile : public ToolTest, public ::testing::WithParamInterface<SpecialFileRow> {};

TEST_P(RemoveSpecialFile, takesItByTheNameOfADefinition) {
    addDefinition(standard, "lora/demo/th1");
    addDefinition(custom, "lora/kept/th1");
    writeFile(temp / "custom/lora/demo/th1-decoder", "// decodes\n");
    GetParam().plant(temp / "custom/lora/demo/th1.json");
    const auto standardBefore = snapshot(temp / "default");
    const ToolRun result = run({"remove", "lora/demo/th1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "removed lora/demo/th1\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(treeOf(temp / "custom"),
              (std::set<std::string>{"lora", "lora/kept", "lora/kept/th1.js", "lora/kept/th1.json"}));
    EXPECT_EQ(snapshot(temp / "default"), standardBefore);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, RemoveSpecialFile,
    ::testing::Values(SpecialFileRow{"fifo", [](const std::string& path) { makeFifo(path); }},
                      SpecialFileRow{"socket", [](const std::string& path) { makeSocket(path); }},
                      SpecialFileRow{"link", [](const std::string& path) { makeLink("../kept/th1.json", path); }},
                      SpecialFileRow{"dead_link", [](const std::string& path) { makeLink("nowhere", path); }}),
    rowName);

struct OutsideRow : NamedRow {
    const char* asked;
};

class RemoveOutside : public ToolTest, public ::testing::WithParamInterface<OutsideRow> {};

TEST_P(RemoveOutside, findsNothing) {
    makeFifo(temp / "other/demo/th1.json");
    makeFifo(temp / "custom/th1.json");
    makeFifo(temp / "custom/lora/demo/deeper/th1.json");
    makeDir(temp / "custom/lora/demo/th1.json");
    makeLink("../other", temp / "custom/linked");
    makeLink("../../other/demo", temp / "custom/lora/linked");
    const auto before = treeOf(temp / "custom");
    EXPECT_EQ(run({"remove", GetParam().asked}).status, 4);
    EXPECT_EQ(treeOf(temp / "custom"), before);
    EXPECT_EQ(treeOf(temp / "other/demo"), std::set<std::string>{"th1.json"});
}

INSTANTIATE_TEST_SUITE_P(Tool, RemoveOutside,
                         ::testing::Values(OutsideRow{"above", "../other/demo/th1"},
                                           OutsideRow{"above_in_the_middle", "lora/../th1"},
                                           OutsideRow{"one_part", "th1"},
                                           OutsideRow{"four_parts", "lora/demo/deeper/th1"},
                                           OutsideRow{"behind_a_linked_source", "linked/demo/th1"},
                                           OutsideRow{"behind_a_linked_directory", "lora/linked/th1"},
                                           OutsideRow{"a_directory", "lora/demo/th1"}),
                         rowName);

// A directory with a leading dot is listed, but the library does not remove it when it empties the storage.
TEST_F(ToolTest, removeAllTakesEntriesThatBeginWithADot) {
    addDefinition(custom, ".lora/demo/th1");
    writeFile(temp / "custom/.notes/.more", "");
    const ToolRun result = run({"remove", "--all", "--yes"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "removed .lora/demo/th1\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

// The removal works on a copy of the storage, whose directories are writable for the user who makes it.
TEST_F(ToolTest, removeAllTakesWhatIsInDirectoriesThatMayNotBeWritten) {
    addDefinition(custom, "lora/demo/th1");
    writeFile(temp / "custom/kept/notes", "");
    for (const char* directory : {"custom/lora/demo", "custom/kept"})
        chmod((temp / directory).c_str(), 0555);
    const ToolRun result = run({"remove", "--all", "--yes"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "removed lora/demo/th1\n");
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

} // namespace
