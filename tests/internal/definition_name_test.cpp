#include "NamedRow.h"
#include "row_name.h"

#include "definitions/definition_name.h"

#include <gtest/gtest.h>

namespace {

using Kelvra::SCADA::definitionPath;
using Kelvra::SCADA::SplitName;
using Kelvra::SCADA::splitName;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

struct SplitRow : NamedRow {
    const char* text;
    const char* directory;
    const char* stem;
};

const SplitRow SPLIT_ROWS[] = {
    {"three_components", "lora/demo/th1", "lora/demo", "th1"},
    {"absolute_path", "/data/defs/lora/demo/th1.json", "/data/defs/lora/demo", "th1.json"},
    {"backslash", "lora\\demo\\th1", "lora\\demo", "th1"},
    {"backslash_last", "lora/demo\\th1", "lora/demo", "th1"},
    {"slash_last", "lora\\demo/th1", "lora\\demo", "th1"},
    {"empty_stem", "lora/demo/", "lora/demo", ""},
    {"empty_directory", "/th1", "", "th1"},
    {"separator_only", "/", "", ""},
    {"backslash_only", "\\", "", ""},
    {"doubled_separator", "a//b", "a/", "b"},
    {"mixed_doubled", "a/\\b", "a/", "b"},
    {"dots_are_no_separators", "a.b/c.d", "a.b", "c.d"},
    {"no_separator", "th1", "th1", "th1"},
    {"empty", "", "", ""},
};

class SplitNameRows : public ::testing::TestWithParam<SplitRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, SplitNameRows, ::testing::ValuesIn(SPLIT_ROWS), rowName);

TEST_P(SplitNameRows, cutsAtTheLastSeparator) {
    const SplitName split = splitName(GetParam().text);
    EXPECT_EQ(split.directory, GetParam().directory);
    EXPECT_EQ(split.stem, GetParam().stem);
}

struct PathRow : NamedRow {
    const char* dir;
    const char* definition;
    const char* path;
};

const PathRow PATH_ROWS[] = {
    {"plain", "/data/defs", "lora/demo/th1", "/data/defs/lora/demo/th1.json"},
    {"trailing_slash", "/data/defs/", "lora/demo/th1", "/data/defs//lora/demo/th1.json"},
    {"climbing", "/data", "../x", "/data/../x.json"},
    {"suffix_is_always_added", "/data", "a.json", "/data/a.json.json"},
    {"empty_name", "/data", "", "/data/.json"},
    {"empty_directory", "", "a", "/a.json"},
};

class DefinitionPathRows : public ::testing::TestWithParam<PathRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, DefinitionPathRows, ::testing::ValuesIn(PATH_ROWS), rowName);

TEST_P(DefinitionPathRows, joinsAsGiven) {
    EXPECT_EQ(definitionPath(GetParam().dir, GetParam().definition), GetParam().path);
}

} // namespace
