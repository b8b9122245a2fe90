#include "AllocationFault.h"
#include "NamedRow.h"
#include "row_name.h"

#include "config/format_message.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using Kelvra::SCADA::formatMessage;
using Kelvra::SCADA::Test::AllocationFault;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

struct MessageRow : NamedRow {
    std::string before;
    std::function<void(std::string* out)> format;
    std::string text;
};

std::function<void(std::string*)> ofLength(std::size_t length) {
    return [length](std::string* out) { formatMessage(out, "%s", std::string(length, 'x').c_str()); };
}

const MessageRow MESSAGE_ROWS[] = {
    {"arguments", "", [](std::string* out) { formatMessage(out, "[%s] %d of %u%%", "a", -1, 2U); }, "[a] -1 of 2%"},
    {"no_arguments", "", [](std::string* out) { formatMessage(out, "text"); }, "text"},
    {"replaces_a_shorter_text", "x", [](std::string* out) { formatMessage(out, "text"); }, "text"},
    {"replaces_a_longer_text", std::string(1000, 'x'), [](std::string* out) { formatMessage(out, "text"); }, "text"},
    {"replaces_by_nothing", "before", [](std::string* out) { formatMessage(out, "%s", ""); }, ""},
    {"ends_at_the_first_nul", "before", [](std::string* out) { formatMessage(out, "ab%ccd", '\0'); }, "ab"},
    {"starts_with_nul", "before", [](std::string* out) { formatMessage(out, "%cab", '\0'); }, ""},
    {"length254", "", ofLength(254), std::string(254, 'x')},
    {"length255", "", ofLength(255), std::string(255, 'x')},
    {"length256", "", ofLength(256), std::string(255, 'x')},
    {"length300", "", ofLength(300), std::string(255, 'x')},
    {"length100000", "", ofLength(100000), std::string(255, 'x')},
    {"cut_between_arguments", "",
     [](std::string* out) { formatMessage(out, "%s%s", std::string(250, 'a').c_str(), "bcdefghij"); },
     std::string(250, 'a') + "bcdef"},
    {"cut_inside_a_multibyte_character", "",
     [](std::string* out) { formatMessage(out, "%s%s", std::string(254, 'a').c_str(), "\xc3\xa9"); },
     std::string(254, 'a') + "\xc3"},
    {"argument_is_no_format", "", [](std::string* out) { formatMessage(out, "%s", "%s%n%d"); }, "%s%n%d"},
    {"argument_is_the_old_text", "old", [](std::string* out) { formatMessage(out, "<%s>", out->c_str()); }, "<old>"},
};

class FormatMessage : public ::testing::TestWithParam<MessageRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, FormatMessage, ::testing::ValuesIn(MESSAGE_ROWS), rowName);

TEST_P(FormatMessage, replacesTheText) {
    std::string out = GetParam().before;
    GetParam().format(&out);
    EXPECT_EQ(out, GetParam().text);
}

TEST(FormatMessageNull, nothingIsFormatted) {
    int count = -1;
    formatMessage(nullptr, "text%n", &count);
    EXPECT_EQ(count, -1);
    std::string out;
    formatMessage(&out, "text%n", &count);
    EXPECT_EQ(count, 4);
}

TEST(FormatMessageAllocation, takesNoMemoryBeyondTheText) {
    std::string out;
    out.reserve(255);
    const std::string argument(300, 'x');
    const AllocationFault fault(1);
    formatMessage(&out, "%s", argument.c_str());
    EXPECT_FALSE(fault.hit());
    EXPECT_EQ(out.size(), 255U);
}

TEST(FormatMessageAllocation, failurePassesThroughAndLeavesTheText) {
    std::string out = "before";
    bool thrown = false;
    {
        const AllocationFault fault(1);
        try {
            formatMessage(&out, "a text that is longer than any short string buffer");
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(out, "before");
}

} // namespace
