// A plain list is read without the JSON reader. The library would judge it in the same way.

#include "device/plain_list.h"
#include "row_name.h"

#include <scada/SensorMapEntry.h>

#include <json/reader.h>

#include <kelvra/Text.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <ostream>
#include <random>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::SensorMapEntry;
using Kelvra::SCADA::Tool::PlainElement;
using Kelvra::SCADA::Tool::readPlainList;

struct PlainTextRow {
    const char* name;
    std::string text;
    bool isPlain;
};

void PrintTo(const PlainTextRow& row, std::ostream* out) {
    *out << row.text;
}

// Returns whether the JSON reader and the library judge a text as the plain reader does.
::testing::AssertionResult isJudgedAlike(const std::string& text) {
    const auto plain = readPlainList(text);
    if (!plain)
        return ::testing::AssertionSuccess();
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value list;
    if (!reader->parse(text.data(), text.data() + text.size(), &list, nullptr) || !list.isArray() ||
        list.size() != plain->size())
        return ::testing::AssertionFailure() << "the JSON reader has another list for " << text;
    Json::ArrayIndex index = 0;
    for (const PlainElement& element : *plain) {
        const Json::Value& value = list[index++];
        SensorMapEntry entry;
        if (!entry.LoadJson(value, nullptr) || entry.id != Kelvra::Text::toLowerCase(std::string(element.id)) ||
            entry.src != element.src || entry.sensor != element.sensor ||
            static_cast<std::size_t>(value.getOffsetStart()) != element.start ||
            static_cast<std::size_t>(value.getOffsetLimit()) != element.end)
            return ::testing::AssertionFailure() << "the library has another element " << index - 1 << " for " << text;
    }
    return ::testing::AssertionSuccess();
}

class PlainList : public ::testing::TestWithParam<PlainTextRow> {};

TEST_P(PlainList, isRecognised) {
    EXPECT_EQ(readPlainList(GetParam().text).has_value(), GetParam().isPlain);
    EXPECT_TRUE(isJudgedAlike(GetParam().text));
}

std::string element(const std::string& members) {
    return "[{" + members + R"(, "src": "lora", "sensor": "demo/th1"}])";
}

INSTANTIATE_TEST_SUITE_P(
    Tool, PlainList,
    ::testing::Values(PlainTextRow{"empty", "[]", true}, PlainTextRow{"blanks", " [\r\n\t] \n", true},
                      PlainTextRow{"one", element(R"("id": "A1")"), true},
                      PlainTextRow{"another_member", element(R"("status": "active", "id": "A1")"), true},
                      PlainTextRow{"last_of_two", element(R"("id": "A1@", "id": "A2")"), true},
                      PlainTextRow{"letters", element("\"id\": \"\xc3\x89\x7f\""), true},
                      PlainTextRow{"escape_elsewhere", element(R"("note": "\"", "id": "A1")"), false},
                      PlainTextRow{"escape", element(R"("id": "A\u0031")"), false},
                      PlainTextRow{"line_break", element("\"id\": \"A\n1\""), false},
                      PlainTextRow{"empty_identifier", element(R"("id": "")"), false},
                      PlainTextRow{"blank_before", element(R"("id": " A1")"), false},
                      PlainTextRow{"blank_behind", element(R"("id": "A1 ")"), false},
                      PlainTextRow{"separator", element(R"("id": "A@1")"), false},
                      PlainTextRow{"number", element(R"("id": 1)"), false},
                      PlainTextRow{"no_identifier", element(R"("ID": "A1")"), false},
                      PlainTextRow{"comment", "// list\n[]", false}, PlainTextRow{"text_behind", "[] x", false},
                      PlainTextRow{"cut_off", R"([{"id": "A1)", false},
                      PlainTextRow{"comma_at_the_end", "[{},]", false}, PlainTextRow{"no_object", R"(["A1"])", false},
                      PlainTextRow{"object", "{}", false}, PlainTextRow{"nothing", "", false},
                      PlainTextRow{"byte_order_mark", "\xef\xbb\xbf[]", false}),
    rowName);

// A few bytes of a good list are changed, so that most of it stays as it is.
TEST(PlainLists, changedAnywhereAreJudgedAlike) {
    constexpr int TEXTS = 20000;
    const std::string good = element(R"("status": "on", "id": "A1")");
    const std::string bytes = "[]{}\",:\\ @/*a1\n\xc3";
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): every run tests the same texts
    int plain = 0;
    for (int count = 0; count < TEXTS; ++count) {
        std::string text = good;
        for (std::size_t change = random() % 3; change < 3; ++change)
            text[random() % text.size()] = bytes[random() % bytes.size()];
        plain += readPlainList(text) ? 1 : 0;
        ASSERT_TRUE(isJudgedAlike(text));
    }
    EXPECT_GT(plain, TEXTS / 20);
    EXPECT_LT(plain, TEXTS * 19 / 20);
}

} // namespace
