#include "NamedRow.h"
#include "row_name.h"

#include <kelvra/Text.h>

#include <string>

#include <gtest/gtest.h>

namespace {

using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

namespace Text = Kelvra::Text;

struct TextRow : NamedRow {
    std::string input;
    std::string expected;
};

class StandinTrim : public testing::TestWithParam<TextRow> {};

TEST_P(StandinTrim, knowsTheseBlanks) {
    EXPECT_EQ(GetParam().expected, Text::trim(GetParam().input));
}

INSTANTIATE_TEST_SUITE_P(Rows, StandinTrim,
                         testing::Values(TextRow{"everyBlank", " \t\n\v\f\ra\r\f\v\n\t ", "a"},
                                         TextRow{"onlyBlanks", "\t\n\v\f\r ", ""},
                                         TextRow{"nulKept", std::string("\0 a \0", 5), std::string("\0 a \0", 5)},
                                         TextRow{"noBreakSpaceKept",
                                                 "\xc2\xa0"
                                                 "a",
                                                 "\xc2\xa0"
                                                 "a"}),
                         rowName);

class StandinToLowerCase : public testing::TestWithParam<TextRow> {};

TEST_P(StandinToLowerCase, isForAsciiOnly) {
    EXPECT_EQ(GetParam().expected, Text::toLowerCase(GetParam().input));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinToLowerCase,
    testing::Values(TextRow{"everyLetter", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"},
                    TextRow{"utf8Kept", "\xc3\x80Z", "\xc3\x80z"}, TextRow{"latin1Kept", "\xc0\xdd", "\xc0\xdd"},
                    TextRow{"nulPassed", std::string("A\0B", 3), std::string("a\0b", 3)}),
    rowName);

template <typename Number> struct ParseRow : NamedRow {
    std::string input;
    bool accepted;
    Number expected;
};

using IntRow = ParseRow<int>;
using UnsignedRow = ParseRow<unsigned int>;

constexpr int UNTOUCHED = 77;

class StandinParseInt : public testing::TestWithParam<IntRow> {};

TEST_P(StandinParseInt, isStrict) {
    int value = UNTOUCHED;
    EXPECT_EQ(GetParam().accepted, Text::parse(value, GetParam().input));
    EXPECT_EQ(GetParam().expected, value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinParseInt,
    testing::Values(IntRow{"zero", "0", true, 0}, IntRow{"leadingZeros", "007", true, 7}, IntRow{"plus", "+1", true, 1},
                    IntRow{"minus", "-1", true, -1}, IntRow{"minusZero", "-0", true, 0},
                    IntRow{"largest", "2147483647", true, 2147483647},
                    IntRow{"largestWithPlus", "+2147483647", true, 2147483647},
                    IntRow{"smallest", "-2147483648", true, -2147483647 - 1},
                    IntRow{"aboveLargest", "2147483648", false, UNTOUCHED},
                    IntRow{"belowSmallest", "-2147483649", false, UNTOUCHED},
                    IntRow{"aboveUnsigned", "4294967296", false, UNTOUCHED},
                    IntRow{"aboveLongLong", "9223372036854775808", false, UNTOUCHED},
                    IntRow{"empty", "", false, UNTOUCHED}, IntRow{"onlyPlus", "+", false, UNTOUCHED},
                    IntRow{"onlyMinus", "-", false, UNTOUCHED}, IntRow{"plusMinus", "+-1", false, UNTOUCHED},
                    IntRow{"twoPlus", "++1", false, UNTOUCHED}, IntRow{"twoMinus", "--1", false, UNTOUCHED},
                    IntRow{"blankBefore", " 1", false, UNTOUCHED}, IntRow{"blankAfter", "1 ", false, UNTOUCHED},
                    IntRow{"blankAfterSign", "- 1", false, UNTOUCHED}, IntRow{"newlineAfter", "1\n", false, UNTOUCHED},
                    IntRow{"onlyBlank", " ", false, UNTOUCHED}, IntRow{"hexadecimal", "0x1", false, UNTOUCHED},
                    IntRow{"exponent", "1e3", false, UNTOUCHED}, IntRow{"fraction", "1.0", false, UNTOUCHED},
                    IntRow{"separator", "1,000", false, UNTOUCHED},
                    IntRow{"nulAfter", std::string("1\0", 2), false, UNTOUCHED},
                    IntRow{"arabicDigit", "\xd9\xa1", false, UNTOUCHED}),
    rowName);

class StandinParseUnsigned : public testing::TestWithParam<UnsignedRow> {};

TEST_P(StandinParseUnsigned, isStrict) {
    unsigned int value = UNTOUCHED;
    EXPECT_EQ(GetParam().accepted, Text::parse(value, GetParam().input));
    EXPECT_EQ(GetParam().expected, value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinParseUnsigned,
    testing::Values(UnsignedRow{"zero", "0", true, 0}, UnsignedRow{"leadingZeros", "007", true, 7},
                    UnsignedRow{"aboveInt", "2147483648", true, 2147483648U},
                    UnsignedRow{"largest", "4294967295", true, 4294967295U},
                    UnsignedRow{"aboveLargest", "4294967296", false, UNTOUCHED},
                    UnsignedRow{"aboveLongLong", "18446744073709551616", false, UNTOUCHED},
                    UnsignedRow{"plus", "+1", false, UNTOUCHED}, UnsignedRow{"minus", "-1", false, UNTOUCHED},
                    UnsignedRow{"minusZero", "-0", false, UNTOUCHED}, UnsignedRow{"empty", "", false, UNTOUCHED},
                    UnsignedRow{"blankBefore", " 1", false, UNTOUCHED},
                    UnsignedRow{"blankAfter", "1 ", false, UNTOUCHED},
                    UnsignedRow{"newlineAfter", "1\n", false, UNTOUCHED},
                    UnsignedRow{"hexadecimal", "0x1", false, UNTOUCHED},
                    UnsignedRow{"exponent", "1e3", false, UNTOUCHED}, UnsignedRow{"fraction", "1.0", false, UNTOUCHED},
                    UnsignedRow{"nulAfter", std::string("1\0", 2), false, UNTOUCHED}),
    rowName);

} // namespace
