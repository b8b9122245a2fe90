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
                         testing::Values(TextRow{"every_blank", " \t\n\v\f\ra\r\f\v\n\t ", "a"},
                                         TextRow{"only_blanks", "\t\n\v\f\r ", ""},
                                         TextRow{"nul_kept", std::string("\0 a \0", 5), std::string("\0 a \0", 5)},
                                         TextRow{"no_break_space_kept",
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
    testing::Values(TextRow{"every_letter", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"},
                    TextRow{"utf8_kept", "\xc3\x80Z", "\xc3\x80z"}, TextRow{"latin1_kept", "\xc0\xdd", "\xc0\xdd"},
                    TextRow{"nul_passed", std::string("A\0B", 3), std::string("a\0b", 3)}),
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
    testing::Values(IntRow{"zero", "0", true, 0}, IntRow{"leading_zeros", "007", true, 7},
                    IntRow{"plus", "+1", true, 1}, IntRow{"minus", "-1", true, -1}, IntRow{"minus_zero", "-0", true, 0},
                    IntRow{"largest", "2147483647", true, 2147483647},
                    IntRow{"largest_with_plus", "+2147483647", true, 2147483647},
                    IntRow{"smallest", "-2147483648", true, -2147483647 - 1},
                    IntRow{"above_largest", "2147483648", false, UNTOUCHED},
                    IntRow{"below_smallest", "-2147483649", false, UNTOUCHED},
                    IntRow{"above_unsigned", "4294967296", false, UNTOUCHED},
                    IntRow{"above_long_long", "9223372036854775808", false, UNTOUCHED},
                    IntRow{"empty", "", false, UNTOUCHED}, IntRow{"only_plus", "+", false, UNTOUCHED},
                    IntRow{"only_minus", "-", false, UNTOUCHED}, IntRow{"plus_minus", "+-1", false, UNTOUCHED},
                    IntRow{"two_plus", "++1", false, UNTOUCHED}, IntRow{"two_minus", "--1", false, UNTOUCHED},
                    IntRow{"blank_before", " 1", false, UNTOUCHED}, IntRow{"blank_after", "1 ", false, UNTOUCHED},
                    IntRow{"blank_after_sign", "- 1", false, UNTOUCHED},
                    IntRow{"newline_after", "1\n", false, UNTOUCHED}, IntRow{"only_blank", " ", false, UNTOUCHED},
                    IntRow{"hexadecimal", "0x1", false, UNTOUCHED}, IntRow{"exponent", "1e3", false, UNTOUCHED},
                    IntRow{"fraction", "1.0", false, UNTOUCHED}, IntRow{"separator", "1,000", false, UNTOUCHED},
                    IntRow{"nul_after", std::string("1\0", 2), false, UNTOUCHED},
                    IntRow{"arabic_digit", "\xd9\xa1", false, UNTOUCHED}),
    rowName);

class StandinParseUnsigned : public testing::TestWithParam<UnsignedRow> {};

TEST_P(StandinParseUnsigned, isStrict) {
    unsigned int value = UNTOUCHED;
    EXPECT_EQ(GetParam().accepted, Text::parse(value, GetParam().input));
    EXPECT_EQ(GetParam().expected, value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinParseUnsigned,
    testing::Values(UnsignedRow{"zero", "0", true, 0}, UnsignedRow{"leading_zeros", "007", true, 7},
                    UnsignedRow{"above_int", "2147483648", true, 2147483648U},
                    UnsignedRow{"largest", "4294967295", true, 4294967295U},
                    UnsignedRow{"above_largest", "4294967296", false, UNTOUCHED},
                    UnsignedRow{"above_long_long", "18446744073709551616", false, UNTOUCHED},
                    UnsignedRow{"plus", "+1", false, UNTOUCHED}, UnsignedRow{"minus", "-1", false, UNTOUCHED},
                    UnsignedRow{"minus_zero", "-0", false, UNTOUCHED}, UnsignedRow{"empty", "", false, UNTOUCHED},
                    UnsignedRow{"blank_before", " 1", false, UNTOUCHED},
                    UnsignedRow{"blank_after", "1 ", false, UNTOUCHED},
                    UnsignedRow{"newline_after", "1\n", false, UNTOUCHED},
                    UnsignedRow{"hexadecimal", "0x1", false, UNTOUCHED},
                    UnsignedRow{"exponent", "1e3", false, UNTOUCHED}, UnsignedRow{"fraction", "1.0", false, UNTOUCHED},
                    UnsignedRow{"nul_after", std::string("1\0", 2), false, UNTOUCHED}),
    rowName);

} // namespace
