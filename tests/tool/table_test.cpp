// Tables for people: as wide as their texts in a pipe, as wide as the screen on a terminal.

#include "NamedRow.h"
#include "ToolProcess.h"
#include "ToolTest.h"
#include "row_name.h"

#include "answer/Table.h"
#include "answer/letters.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::Tool::AlignedColumns;
using Kelvra::SCADA::Tool::Screen;
using Kelvra::SCADA::Tool::widthOf;
using Kelvra::SCADA::Tool::wrapped;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Le;
using ::testing::Not;
using ::testing::ResultOf;

using Texts = std::vector<std::string>;

constexpr const char* COMBINED = "e\u0301"; // e with an accent of its own

Texts linesOf(const std::string& text) {
    Texts lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

struct WidthRow : NamedRow {
    std::string text;
    std::size_t width;
};

class LetterWidth : public ::testing::TestWithParam<WidthRow> {};

TEST_P(LetterWidth, isThatOfTheTerminal) {
    EXPECT_EQ(widthOf(GetParam().text), GetParam().width);
}

INSTANTIATE_TEST_SUITE_P(Tool, LetterWidth,
                         ::testing::Values(WidthRow{"ascii", "abc", 3}, WidthRow{"nothing", "", 0},
                                           WidthRow{"accent", "é°", 2}, WidthRow{"chinese", "温度", 4},
                                           WidthRow{"korean", "각", 2}, WidthRow{"half_width", "ｱ", 1},
                                           WidthRow{"combining", COMBINED, 1}, WidthRow{"emoji", "😀", 2},
                                           WidthRow{"hebrew", "שלום", 4}),
                         rowName);

struct WrapRow : NamedRow {
    std::string text;
    std::size_t width;
    Texts lines;
};

class Wrap : public ::testing::TestWithParam<WrapRow> {};

TEST_P(Wrap, breaksBetweenWords) {
    EXPECT_EQ(wrapped(GetParam().text, GetParam().width), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Wrap,
    ::testing::Values(
        WrapRow{"fits", "one two", 7, {"one two"}}, WrapRow{"words", "one two three", 8, {"one two", "three"}},
        WrapRow{"blank_at_the_end", "one two three", 7, {"one two", "three"}},
        WrapRow{"path", "/usr/share/th1.js", 11, {"/usr/share/", "th1.js"}},
        WrapRow{"long_word", "abcdefgh", 3, {"abc", "def", "gh"}},
        WrapRow{"long_word_behind_another", "a bcdefgh", 3, {"a", "bcd", "efg", "h"}},
        WrapRow{"chinese", "温度计温度计", 5, {"温度", "计温", "度计"}},
        WrapRow{"combining", std::string("ab") + COMBINED + COMBINED, 3, {std::string("ab") + COMBINED, COMBINED}},
        WrapRow{"wider_than_the_line", "温度", 1, {"温", "度"}}),
    rowName);

AlignedColumns columnsOf(const std::vector<Texts>& rows) {
    AlignedColumns columns;
    columns.addHeading({"NAME", "STORAGE", "STATE"});
    for (const Texts& row : rows)
        columns.add(row);
    return columns;
}

TEST(AlignedColumns, alignWideAndCombiningLetters) {
    EXPECT_EQ(columnsOf({{"温度", "custom", "ok"}, {COMBINED, "default", "ok"}, {"😀a", "שלום", "ok"}}).text(),
              "NAME  STORAGE  STATE\n"
              "温度  custom   ok\n" +
                  std::string(COMBINED) +
                  "     default  ok\n"
                  "😀a   שלום     ok\n");
}

TEST(AlignedColumns, haveNothingBehindTheLastText) {
    EXPECT_EQ(columnsOf({{"abcdef", "", ""}}).text(), "NAME    STORAGE  STATE\nabcdef\n");
}

TEST(AlignedColumns, takeTheRoomOfAScreenFromTheWidest) {
    EXPECT_EQ(columnsOf({{"lora/demo/th1", "custom", "there is no section of properties"}}).text({40, false}),
              "NAME           STORAGE  STATE\n"
              "lora/demo/th1  custom   there is no\n"
              "                        section of\n"
              "                        properties\n");
}

TEST(AlignedColumns, showEachLetterOnANarrowScreen) {
    const std::string name = "温度计温度计温度计/abcdefghijklmnopqrstuvwxyz";
    const AlignedColumns columns = columnsOf({{name, "custom", "ok"}});
    for (std::size_t width = 1; width < 80; ++width) {
        const std::string text = columns.text({width, false});
        std::string joined;
        for (const std::string& line : linesOf(text)) {
            EXPECT_LE(widthOf(line), std::max(width, std::size_t{8 + 2 + 7 + 2 + 5})) << text;
            joined += line.substr(0, line.find(' '));
        }
        EXPECT_EQ(joined, "NAME" + name) << text;
    }
}

TEST(AlignedColumns, markTheHeadingOnly) {
    EXPECT_EQ(columnsOf({{"a", "b", "c"}}).text({0, true}),
              "\x1b[1mNAME\x1b[0m  \x1b[1mSTORAGE\x1b[0m  \x1b[1mSTATE\x1b[0m\na     b        c\n");
}

// --- the tool

class OnTerminal : public ToolTest {
protected:
    OnTerminal() {
        addDefinition(standard, "lora/demo/温度计");
        addDefinition(standard, "lora/demo/th1");
        custom.definition("lora/demo/empty", "{}");
    }

    std::string screenOf(const std::string& command, const Terminal& terminal) const {
        ToolProcess process({"--default-dir", temp / "default", "--custom-dir", temp / "custom", "--map",
                             temp / "none.json", "--codec-runner", "", command},
                            terminal);
        process.wait();
        return process.screen();
    }
};

const Terminal COLOURED = {60, {{"TERM", "xterm"}, {"NO_COLOR", nullptr}}};

TEST_F(OnTerminal, linesAreNoLongerThanTheScreen) {
    const Terminal plain = {60, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}};
    const std::string screen = screenOf("list", plain);
    EXPECT_THAT(linesOf(screen), Each(ResultOf(widthOf, Le(60U)))) << screen;
    EXPECT_THAT(screen, HasSubstr("\nlora/demo/th1")) << screen;
    EXPECT_GT(linesOf(screen).size(), 4U) << screen;
}

TEST_F(OnTerminal, aLocaleMakesNoDifference) {
    Terminal plain = {60, {{"NO_COLOR", "1"}}};
    const std::string screen = screenOf("list", plain);
    for (const char* locale : {"C", "C.UTF-8", "tr_TR.ISO-8859-9"}) {
        plain.environment = {{"NO_COLOR", "1"}, {"LC_ALL", locale}};
        EXPECT_EQ(screenOf("list", plain), screen) << locale;
    }
}

TEST_F(OnTerminal, aTerminalThatDoesNotSayItsWidthGetsLongLines) {
    EXPECT_EQ(replaced(screenOf("list", {0, {{"NO_COLOR", "1"}}}), temp.path(), "$T"), run({"list"}).out);
}

TEST_F(OnTerminal, marksHeadingsAndFaults) {
    EXPECT_THAT(screenOf("list", COLOURED), HasSubstr("\x1b[1mNAME\x1b[0m"));
    EXPECT_THAT(screenOf("check", COLOURED), HasSubstr(": \x1b[31merror\x1b[0m: "));
    EXPECT_THAT(screenOf("doctor", COLOURED), HasSubstr("\x1b[31mfault\x1b[0m "));
}

struct ColourRow : NamedRow {
    Terminal terminal;
};

class WithoutColours : public OnTerminal, public ::testing::WithParamInterface<ColourRow> {};

TEST_P(WithoutColours, hasNone) {
    for (const char* command : {"list", "check", "doctor"})
        EXPECT_THAT(screenOf(command, GetParam().terminal), Not(HasSubstr("\x1b"))) << command;
}

INSTANTIATE_TEST_SUITE_P(Tool, WithoutColours,
                         ::testing::Values(ColourRow{"refused", {60, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}}},
                                           ColourRow{"refused_by_the_empty_word",
                                                     {60, {{"TERM", "xterm"}, {"NO_COLOR", ""}}}},
                                           ColourRow{"dumb", {60, {{"TERM", "dumb"}, {"NO_COLOR", nullptr}}}},
                                           ColourRow{"no_name", {60, {{"TERM", nullptr}, {"NO_COLOR", nullptr}}}}),
                         rowName);

TEST_F(OnTerminal, aPipeGetsWholeLines) {
    setenv("TERM", "xterm", 1); // NOLINT(concurrency-mt-unsafe)
    const std::string text = run({"list"}).out;
    EXPECT_EQ(linesOf(text).size(), 4U) << text;
    EXPECT_THAT(text, HasSubstr("NAME              STORAGE  HIDES  DECODER  "));
    EXPECT_THAT(text, HasSubstr("  Invalid syntax of the sensor definition [lora/demo/empty]: no [properties] "
                                "section defined.\nlora/demo/th1     default  -      $T/default/lora/demo/th1.js     "
                                "ok\nlora/demo/温度计  default  -      $T/default/lora/demo/温度计.js  ok\n"));
}

TEST_F(OnTerminal, namesFromFilesStayHarmless) {
    custom.definition("lora/demo/a\x1b[2J\u202e\u200f", R"({"properties": {}})");
    const std::string screen = screenOf("list", {40, {{"TERM", "dumb"}}});
    for (const char* part : {"\x1b", "\u202e", "\u200f"})
        EXPECT_THAT(screen, Not(HasSubstr(part)));
}

} // namespace
