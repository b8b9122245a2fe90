// The requests that the duktape runner reads, and those that it refuses.

#include "NamedRow.h"
#include "duktape/json_reader.h"
#include "duktape/request.h"
#include "row_name.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Kelvra::SCADA::Codec;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

struct TextRow : NamedRow {
    const char* json; ///< a JSON string
    std::string text;
};

class RequestText : public ::testing::TestWithParam<TextRow> {};

TEST_P(RequestText, isRead) {
    const FirstRequest request =
        firstRequest(std::string(R"({"version": 1, "calls": [], "decoder": )") + GetParam().json + "}");
    EXPECT_EQ(request.decoder, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Duktape, RequestText,
    ::testing::Values(TextRow{"empty", R"("")", ""}, TextRow{"plain", R"("a b")", "a b"},
                      TextRow{"escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
                      TextRow{"zero", R"("a\u0000b")", std::string("a\0b", 3)},
                      TextRow{"one_byte", R"("\u007f")", "\x7f"}, TextRow{"two_bytes", R"("\u00B0\u07fF")", "°\u07ff"},
                      TextRow{"three_bytes", R"("\u0800\u20ac\uffff")", "\u0800€\uffff"},
                      TextRow{"four_bytes", R"("\ud83d\uDE00\udbff\udfff")", "\U0001F600\U0010FFFF"},
                      TextRow{"utf_8_as_it_is", "\"°😀\"", "°😀"}, TextRow{"bytes_as_they_are", "\"\xff\"", "\xff"}),
    rowName);

TEST(Request, hasLimitsAndCalls) {
    const FirstRequest request = firstRequest(
        " {\"version\" : 1,\t\"more\": [null, true, false, {\"a\": -1.5E+3}], \"decoder\": \"x\", \"limits\": "
        "{\"memory\": "
        "1048576, \"output\": 1e3, \"depth\": null},\r\n \"calls\": [{\"fPort\": 4294967295, \"bytes\": [0, 10, 255]}, "
        "{\"fPort\": 0, \"bytes\": [], \"recvTime\": -1.5}]} ");
    EXPECT_EQ(request.limits.memory, 1048576U);
    EXPECT_EQ(request.limits.output, 1000U);
    EXPECT_EQ(request.limits.depth, Limits().depth);
    ASSERT_EQ(request.calls.size(), 2U);
    EXPECT_EQ(request.calls[0].port, "4294967295");
    EXPECT_EQ(request.calls[0].bytes, "[0,10,255]");
    EXPECT_FALSE(request.calls[0].recvTime);
    EXPECT_EQ(request.calls[1].bytes, "[]");
    EXPECT_EQ(request.calls[1].recvTime, -1.0);
}

struct RefusedRow : NamedRow {
    std::string line;
};

class RefusedRequest : public ::testing::TestWithParam<RefusedRow> {};

TEST_P(RefusedRequest, isNone) {
    EXPECT_THROW(firstRequest(GetParam().line), BadRequest);
}

std::string withDecoder(const std::string& json) {
    return R"({"version": 1, "calls": [], "decoder": )" + json + "}";
}

std::string withCalls(const std::string& json) {
    return R"({"version": 1, "decoder": "", "calls": )" + json + "}";
}

INSTANTIATE_TEST_SUITE_P(
    Text, RefusedRequest,
    ::testing::Values(
        RefusedRow{"nothing", ""}, RefusedRow{"list", "[]"}, RefusedRow{"cut", R"({"version": 1)"},
        RefusedRow{"without_a_colon", R"({"version" 1})"}, RefusedRow{"comma_at_the_end", withCalls("[],")},
        RefusedRow{"something_behind_it", withCalls("[]") + "x"},
        RefusedRow{"two_of_one_name", R"({"version": null, "version": 1, "decoder": "", "calls": []})"},
        RefusedRow{"nested_too_deeply", withCalls("[[[[[[[[]]]]]]]]")},
        RefusedRow{"text_without_end", withDecoder("\"")}, RefusedRow{"wrong_escape", withDecoder(R"("\x")")},
        RefusedRow{"escape_at_the_end", R"({"version": 1, "decoder": "\)"},
        RefusedRow{"short_number_of_a_character", withDecoder(R"("\u12")")},
        RefusedRow{"sign_in_a_character", withDecoder(R"("\u+123")")},
        RefusedRow{"first_half_of_a_character", withDecoder(R"("\ud83d")")},
        RefusedRow{"second_half_of_a_character", withDecoder(R"("\udc00")")},
        RefusedRow{"two_first_halves", withDecoder(R"("\ud83d\ud83d")")}, RefusedRow{"word", withDecoder("nul")}),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Content, RefusedRequest,
    ::testing::Values(
        RefusedRow{"other_version", R"({"version": 2, "decoder": "", "calls": []})"},
        RefusedRow{"without_decoder", R"({"version": 1, "calls": []})"},
        RefusedRow{"decoder_is_null", withDecoder("null")},
        RefusedRow{"without_calls", R"({"version": 1, "decoder": ""})"},
        RefusedRow{"call_is_a_number", withCalls("[1]")},
        RefusedRow{"port_is_no_whole_number", withCalls(R"([{"fPort": 1.5, "bytes": []}])")},
        RefusedRow{"port_too_large", withCalls(R"([{"fPort": 4294967296, "bytes": []}])")},
        RefusedRow{"port_is_negative", withCalls(R"([{"fPort": -1, "bytes": []}])")},
        RefusedRow{"without_bytes", withCalls(R"([{"fPort": 1}])")},
        RefusedRow{"byte_too_large", withCalls(R"([{"fPort": 1, "bytes": [256]}])")},
        RefusedRow{"number_without_digits", withCalls(R"([{"fPort": 1, "bytes": [-]}])")},
        RefusedRow{"number_with_a_zero_in_front", withCalls(R"([{"fPort": 01, "bytes": []}])")},
        RefusedRow{"number_that_ends_in_a_dot", withCalls(R"([{"fPort": 1., "bytes": []}])")},
        RefusedRow{"time_too_late", withCalls(R"([{"fPort": 1, "bytes": [], "recvTime": 1e999}])")},
        RefusedRow{"limits_are_a_list", R"({"version": 1, "decoder": "", "calls": [], "limits": []})"},
        RefusedRow{"limit_of_0", R"({"version": 1, "decoder": "", "calls": [], "limits": {"memory": 0}})"},
        RefusedRow{"limit_below_the_engine",
                   R"({"version": 1, "decoder": "", "calls": [], "limits": {"memory": 65536}})"},
        RefusedRow{"limit_too_large", R"({"version": 1, "decoder": "", "calls": [], "limits": {"depth": 257}})"}),
    rowName);

} // namespace
