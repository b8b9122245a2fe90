#include "NamedRow.h"
#include "row_name.h"
#include "text/unified_diff.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <sstream>
#include <string>

namespace {

using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;
using Kelvra::SCADA::Tool::unifiedDiff;

struct DiffRow : NamedRow {
    const char* from;
    const char* to;
    const char* hunks;
};

class UnifiedDiff : public ::testing::TestWithParam<DiffRow> {};

TEST_P(UnifiedDiff, hasEachChangeWithThreeLinesAround) {
    EXPECT_EQ(unifiedDiff(GetParam().from, GetParam().to), GetParam().hunks);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, UnifiedDiff,
    ::testing::Values(
        DiffRow{"same", "a\nb\n", "a\nb\n", ""}, DiffRow{"both_empty", "", "", ""},
        DiffRow{"from_nothing", "", "a\nb\n", "@@ -0,0 +1,2 @@\n+a\n+b\n"},
        DiffRow{"to_nothing", "a\n", "", "@@ -1,1 +0,0 @@\n-a\n"},
        DiffRow{"line_in_front", "b\n", "a\nb\n", "@@ -1,1 +1,2 @@\n+a\n b\n"},
        DiffRow{"line_behind", "a\n", "a\nb\n", "@@ -1,1 +1,2 @@\n a\n+b\n"},
        DiffRow{"line_break_at_the_end", "a", "a\n", "@@ -1,1 +1,1 @@\n-a\n\\ No newline at end of file\n+a\n"},
        DiffRow{"kind_of_line_break", "a\r\n", "a\n", "@@ -1,1 +1,1 @@\n-a\r\n+a\n"},
        DiffRow{"three_lines_around", "1\n2\n3\n4\n5\n6\n7\n8\n9\n", "1\n2\n3\n4\nx\n6\n7\n8\n9\n",
                "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+x\n 6\n 7\n 8\n"},
        DiffRow{"near_changes_in_one_hunk", "a\n1\n2\n3\n4\n5\n6\nb\n", "x\n1\n2\n3\n4\n5\n6\ny\n",
                "@@ -1,8 +1,8 @@\n-a\n+x\n 1\n 2\n 3\n 4\n 5\n 6\n-b\n+y\n"},
        DiffRow{"far_changes_in_two", "a\n1\n2\n3\n4\n5\n6\n7\nb\n", "1\n2\n3\n4\n5\n6\n7\ny\n",
                "@@ -1,4 +1,3 @@\n-a\n 1\n 2\n 3\n@@ -6,4 +5,4 @@\n 5\n 6\n 7\n-b\n+y\n"},
        DiffRow{"line_moved", "a\nb\nc\n", "b\nc\na\n", "@@ -1,3 +1,3 @@\n-a\n b\n c\n+a\n"},
        DiffRow{"same_lines_between", "a\nx\nb\nx\nc\n", "x\nx\nd\n", "@@ -1,5 +1,3 @@\n-a\n x\n-b\n x\n-c\n+d\n"}),
    rowName);

// Returns the text before ('-') or after ('+') the changes of a diff that leaves out no lines.
std::string sideOf(const std::string& hunks, char mark) {
    std::istringstream lines(hunks.substr(hunks.find('\n') + 1));
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == ' ' || line[0] == mark)
            text += line.substr(1) + "\n";
    }
    return text;
}

std::string randomLines(std::mt19937& random, std::size_t count, unsigned int kinds) {
    std::string text;
    for (std::size_t line = 0; line < count; ++line)
        text += std::to_string(random() % kinds) + "\n";
    return text;
}

TEST(UnifiedDiffOfRandomTexts, leadsFromOneToTheOther) {
    std::mt19937 random(1);
    for (int turn = 0; turn < 2000; ++turn) {
        // Few enough lines for one hunk, with a change at each end.
        const std::string from = "a\n" + randomLines(random, random() % 6, 3) + "c\n";
        const std::string to = "b\n" + randomLines(random, random() % 6, 3) + "d\n";
        const std::string hunks = unifiedDiff(from, to);
        ASSERT_EQ(sideOf(hunks, '-'), from) << hunks;
        ASSERT_EQ(sideOf(hunks, '+'), to) << hunks;
    }
}

// Beyond the limits, everything between the first and the last difference is replaced.
TEST(UnifiedDiffOfLongTexts, isOneBlock) {
    std::mt19937 random(2);
    const std::string from = randomLines(random, 12000, 1000000);
    const std::string to = randomLines(random, 12000, 1000000);
    const std::string hunks = unifiedDiff("start\n" + from + "end\n", "start\n" + to + "end\n");
    EXPECT_EQ(hunks.rfind("@@ -1,12002 +1,12002 @@\n start\n-", 0), 0U);
    EXPECT_EQ(sideOf(hunks, '-'), "start\n" + from + "end\n");
    EXPECT_EQ(sideOf(hunks, '+'), "start\n" + to + "end\n");
}

TEST(UnifiedDiffOfLongTexts, findsOneLineAmongMany) {
    std::mt19937 random(3);
    const std::string start = randomLines(random, 100000, 1000000);
    const std::string end = randomLines(random, 100000, 1000000);
    const std::string hunks = unifiedDiff(start + "x\n" + end, start + end);
    EXPECT_EQ(hunks.rfind("@@ -99998,7 +99998,6 @@\n", 0), 0U);
}

} // namespace
