// The writer of HTML pages.

#include "NamedRow.h"
#include "answer/HtmlPage.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace Kelvra::SCADA::Test;
using namespace Kelvra::SCADA::Tool;
using ::testing::HasSubstr;

struct EscapeRow : NamedRow {
    std::string text;
    std::string expected;
};

class Escaping : public ::testing::TestWithParam<EscapeRow> {};

TEST_P(Escaping, leavesNoMarkup) {
    EXPECT_EQ(escapedHtml(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Tool, Escaping,
                         ::testing::Values(EscapeRow{"empty", "", ""}, EscapeRow{"plain", "21.5 °C", "21.5 °C"},
                                           EscapeRow{"element", "<script>", "&lt;script&gt;"},
                                           EscapeRow{"both_quotes", "\"><img alt='", "&quot;&gt;&lt;img alt=&#39;"},
                                           EscapeRow{"end_of_style", "</style>", "&lt;/style&gt;"},
                                           EscapeRow{"end_of_comment", "--><", "--&gt;&lt;"},
                                           EscapeRow{"entity", "&lt;&#60;", "&amp;lt;&amp;#60;"},
                                           EscapeRow{"line_separator", "a\u2028b", "a\\xe2\\x80\\xa8b"},
                                           EscapeRow{"direction", "a\u202eb", "a\\xe2\\x80\\xaeb"},
                                           EscapeRow{"zero", std::string("a\0<", 3), "a\\x00&lt;"},
                                           EscapeRow{"line", "a\nb", "a\\x0ab"},
                                           EscapeRow{"not_utf8", "\xff<", "\\xff&lt;"},
                                           EscapeRow{"overlong", "\xc0\xbc", "\\xc0\\xbc"},
                                           EscapeRow{"between", "<a&b>", "&lt;a&amp;b&gt;"}),
                         rowName);

TEST(HtmlPage, escapesTextsAndAttributes) {
    HtmlPage page("</title>", "", "");
    page.element("p", "</p>", {{"title", "\" onclick=\"x"}});
    const std::string text = page.finished();
    EXPECT_THAT(text, HasSubstr("<title>&lt;/title&gt;</title>"));
    EXPECT_THAT(text, HasSubstr("<p title=\"&quot; onclick=&quot;x\">&lt;/p&gt;</p>"));
}

// The digests of "a", "ab" and nothing are those of the standard, for each length of the padding there is.
TEST(HtmlPage, allowsItsOwnStyleAndScriptOnly) {
    EXPECT_THAT(HtmlPage("", "a", "ab").finished(),
                HasSubstr("content=\"default-src 'none'; "
                          "style-src 'sha256-ypeBEsobvcr6wjGzmiPcTaeG7/gUfE5yuYB3ha/uSLs='; "
                          "script-src 'sha256-+44g/C5MPySMYMOb1lLzwTRymLuXe4tNWQO4UFViBgM='; "
                          "base-uri 'none'; form-action 'none'\""));
}

TEST(HtmlTable, knowsTheHeadingOfEachCell) {
    HtmlPage page("", "", "");
    HtmlTable table(page, "All & more", {"Sensor", "Age"});
    table.beginRow();
    table.cell("<a>");
    table.cell("1 s");
    table.endRow();
    table.end();
    EXPECT_THAT(
        page.finished(),
        HasSubstr("<table><caption>All &amp; more</caption>\n<thead><tr><th scope=\"col\">Sensor</th>"
                  "<th scope=\"col\">Age</th></tr>\n</thead>\n<tbody><tr><th scope=\"row\" data-label=\"Sensor\">"
                  "&lt;a&gt;</th><td data-label=\"Age\">1 s</td></tr>\n</tbody></table>"));
}

} // namespace
