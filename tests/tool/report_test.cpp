// The page for a browser, by its text. tests/docs/check_report.py opens it in one.

#include "RedisServer.h"
#include "ToolTest.h"
#include "json_text.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
namespace fs = std::filesystem;

class Report : public ToolTest {
protected:
    Report() {
        addDefinition(standard, "lora/demo/th1");
        writeList({GOOD_SENSOR, R"({"id": "bb", "src": "lora", "sensor": "demo/th1"})",
                   R"({"id": "cc", "src": "lora", "sensor": "demo/none"})"});
    }

    ToolRun report(std::vector<std::string> words) const {
        words.insert(words.begin(), {"report", "--socket", server.socket()});
        return run(words);
    }
    /// Returns the page without the digests of its style.
    std::string page() const {
        const ToolRun result = report({temp / "page.html"});
        EXPECT_EQ(result.status, 0) << result.err;
        return fs::exists(temp / "page.html") ? readFile(temp / "page.html") : "";
    }
    static std::string cell(const std::string& label, const std::string& content) {
        return "<td data-label=\"" + label + "\">" + content + "</td>";
    }
    static std::string marked(const std::string& label, const std::string& mark, const std::string& words) {
        return cell(label, "<span class=\"mark " + mark + "\">" + words + "</span>");
    }
    void set(const std::string& field, const std::string& value) const { server.run({"HSET", KEY, field, value}); }

    RedisServer server;
};

TEST_F(Report, saysWhatIsInThePage) {
    set("temperature", "21.5");
    const ToolRun result = report({temp / "page.html"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "$T/page.html has 3 sensors, 1 definition, 1 fault and 0 operations\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(parsed(report({temp / "page.html", "--json"}).out)["result"],
              parsed(R"({"file": "$T/page.html", "sensors": 3, "definitions": 1, "faults": 1,
                         "operations": 0, "database_fault": null})"));
}

TEST_F(Report, showsSensorsWithValuesAndAges) {
    standard.definition("lora/demo/th1", R"({"decoder": "th1.js", "properties": {
        "temperature": {"name": "Air", "unit": "°C", "type": "float", "max": 85}, "silent": {}, "count": {}}})");
    set("temperature", "140");
    set("other", "7");
    server.run({"PEXPIRE", KEY, "100000000"});
    const std::string text = page();
    EXPECT_THAT(text, HasSubstr("<tr><th scope=\"row\" data-label=\"Sensor\">lora@aa</th>" +
                                cell("Definition", "lora/demo/th1") + marked("State", "short bad", "1 bad value") +
                                cell("Age", "<span class=\"short\">8 h 13 min</span>")));
    EXPECT_THAT(text, HasSubstr("<span class=\"short\">1 d 3 h</span>"));
    EXPECT_THAT(text, HasSubstr("<dt>Air</dt>\n<dd>140 °C<div class=\"fault\">&quot;temperature&quot; is "
                                "140, above its maximum 85.</div></dd>"));
    EXPECT_THAT(text, HasSubstr("<dt>other</dt>\n<dd>7<span class=\"soft\"> undeclared</span></dd>"));
    EXPECT_THAT(text, HasSubstr("<p class=\"soft\">missing: count, silent</p>"));
    EXPECT_THAT(text, HasSubstr(marked("State", "short warn", "no values")));
    EXPECT_THAT(text, HasSubstr(marked("State", "short bad", "no definition")));
}

TEST_F(Report, marksASensorWithoutADeclaredValue) {
    set("other", "7");
    EXPECT_THAT(page(), HasSubstr(marked("State", "short warn", "no declared value")));
    set("temperature", "7");
    EXPECT_THAT(page(), HasSubstr(marked("State", "short ok", "ok")));
}

TEST_F(Report, marksWhatIsNoHash) {
    server.run({"SET", KEY, "1"});
    EXPECT_THAT(page(), HasSubstr(marked("State", "short bad", "no hash")));
}

TEST_F(Report, tellsSpansInTwoUnits) {
    for (const auto& [milliseconds, words] : std::vector<std::pair<const char*, const char*>>{
             {"3599000", "59 min"}, {"3630000", "1 h"}, {"7530000", "2 h 5 min"}, {"90030000", "1 d 1 h"}}) {
        set("temperature", "1");
        server.run({"PEXPIRE", KEY, milliseconds});
        // The time that is left may be shorter by what the test takes.
        const std::string text = page();
        EXPECT_THAT(text, HasSubstr("<td data-label=\"Expires in\"><span class=\"short\">" + std::string(words) + "<"));
    }
}

TEST_F(Report, showsOverridesAndTheirDifferences) {
    addDefinition(custom, "lora/demo/th1", "Water");
    writeFile(temp / "custom/lora/demo/th1.js", "var a = '<b>';\n");
    EXPECT_THAT(page(),
                AllOf(HasSubstr("property [temperature] changes its name from &quot;Air&quot; to &quot;Water&quot;\n"),
                      HasSubstr("<ins>+var a = &#39;&lt;b&gt;&#39;;</ins>\n"),
                      HasSubstr("<span class=\"short\">custom</span></td><td data-label=\"Hides\"><span "
                                "class=\"short\">default</span></td>")));
    writeFile(temp / "custom/lora/demo/th1.json", "{");
    EXPECT_THAT(page(), AllOf(HasSubstr("they cannot be compared: Invalid syntax"),
                              HasSubstr(marked("State", "short bad", "broken definition"))));
}

TEST_F(Report, hasTheFindingsOfTheCheck) {
    standard.definition("lora/demo/broken", "{");
    const Json::Value checked = parsed(run({"check", "--json"}).out)["result"]["findings"];
    ASSERT_GT(checked.size(), 1U);
    const std::string text = page();
    for (const Json::Value& finding : checked)
        EXPECT_THAT(text, AllOf(HasSubstr("<code>" + finding["rule"].asString() + "</code>"),
                                HasSubstr(finding["file"].asString().substr(2))));
    EXPECT_THAT(text, HasSubstr("/list.json:4:1, element 2</td>"));
}

TEST_F(Report, showsTheHistoryWithTheNewestFirst) {
    StorageBuilder source(temp / "source");
    addDefinition(source, "lora/demo/new");
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    ASSERT_EQ(run({"remove", "lora/demo/new"}).status, 0);
    const std::string text = page();
    const std::size_t removed = text.find("<li>removed lora/demo/new ");
    const std::size_t installed = text.find("<li>installed lora/demo/new ");
    EXPECT_NE(removed, std::string::npos);
    EXPECT_NE(installed, std::string::npos);
    EXPECT_LT(removed, installed);
}

TEST_F(Report, saysWhyThereAreNoValues) {
    const ToolRun result = run({"report", temp / "page.html", "--socket", temp / "none"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "scada-sensors: the page has no values: There is no socket [$T/none]. Start the server, or "
                          "correct --socket.\n");
    EXPECT_THAT(readFile(temp / "page.html"),
                AllOf(HasSubstr("<p class=\"notice\">There are no values: There is no socket [" + temp.path()),
                      HasSubstr(marked("State", "short warn", "unknown"))));
    EXPECT_EQ(run({"-q", "report", temp / "page.html", "--socket", temp / "none"}).err, "");
}

TEST_F(Report, isMadeWithoutAList) {
    writeFile(temp / "list.json", "{");
    EXPECT_THAT(page(), HasSubstr("The list of managed sensors cannot be used."));
    fs::remove_all(temp / "default");
    fs::remove_all(temp / "custom");
    fs::remove(temp / "list.json");
    EXPECT_THAT(page(), HasSubstr("<code>storage/missing</code>"));
}

TEST_F(Report, goesToStandardOutput) {
    const std::string file = page();
    const ToolRun result = report({"-"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), std::count(file.begin(), file.end(), '\n'));
    EXPECT_EQ(result.out.substr(result.out.size() - 8), "</html>\n");
    const ToolRun refused = report({"-", "--json"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("--json and a page cannot both go to standard output"));
}

// --- the file

TEST_F(Report, replacesAFileAndKeepsItsMode) {
    writeFile(temp / "page.html", "former");
    chmod((temp / "page.html").c_str(), 0600);
    fs::create_symlink("page.html", temp / "link.html");
    EXPECT_EQ(report({temp / "link.html"}).status, 0);
    EXPECT_TRUE(fs::is_symlink(temp / "link.html"));
    EXPECT_THAT(readFile(temp / "page.html"), HasSubstr("</html>"));
    EXPECT_EQ(fs::status(temp / "page.html").permissions(), fs::perms(0600));
    EXPECT_EQ(report({temp / "new.html"}).status, 0);
    EXPECT_EQ(fs::status(temp / "new.html").permissions(), fs::perms(0644));
}

TEST_F(Report, keepsTheFormerFileWhenItCannotBeWritten) {
    makeDir(temp / "closed");
    writeFile(temp / "closed/page.html", "former");
    chmod((temp / "closed").c_str(), 0555);
    const ToolRun result = report({temp / "closed/page.html"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: cannot write [$T/closed/page.html]: Permission denied\n");
    EXPECT_EQ(readFile(temp / "closed/page.html"), "former");
    chmod((temp / "closed").c_str(), 0755);
    EXPECT_EQ(report({temp / "none/page.html"}).err,
              "scada-sensors: cannot write [$T/none/page.html]: No such file or directory\n");
    EXPECT_EQ(report({temp / "closed"}).err, "scada-sensors: cannot write [$T/closed]: Is a directory\n");
}

TEST_F(Report, takesThePlaceOfNoFileOfTheDevice) {
    const auto before = snapshot(temp.path());
    for (const std::string& file : {temp / "list.json", temp / "default/lora/demo/th1.json"}) {
        const ToolRun result = report({file});
        EXPECT_EQ(result.status, 5);
        EXPECT_THAT(result.err, HasSubstr(" is a file of the device; give another name\n"));
        EXPECT_EQ(run({"export", file}).status, 5);
    }
    EXPECT_EQ(snapshot(temp.path()), before);
}

TEST_F(Report, replacesNoLinkThatLeadsNowhere) {
    fs::create_symlink("none/page.html", temp / "dead.html");
    fs::create_symlink("loop.html", temp / "loop.html");
    EXPECT_EQ(report({temp / "dead.html"}).err,
              "scada-sensors: cannot write [$T/dead.html]: No such file or directory\n");
    EXPECT_EQ(report({temp / "loop.html"}).status, 1);
    EXPECT_TRUE(fs::is_symlink(temp / "dead.html"));
    EXPECT_TRUE(fs::is_symlink(temp / "loop.html"));
    EXPECT_EQ(report({temp / "new/"}).status, 1);
    EXPECT_FALSE(fs::exists(temp / "new"));
}

TEST_F(Report, hasANameAsLongAsNamesCanBe) {
    EXPECT_EQ(report({temp / (std::string(250, 'n') + ".html")}).status, 0);
}

TEST_F(Report, leavesNothingOfAPageThatDoesNotFit) {
    makeDir(temp / "pages");
    writeFile(temp / "pages/page.html", "former");
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{1000, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const ToolRun result = report({temp / "pages/page.html"});
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: cannot write [$T/pages/page.html]: File too large\n");
    EXPECT_EQ(readFile(temp / "pages/page.html"), "former");
    EXPECT_EQ(std::distance(fs::directory_iterator(temp / "pages"), {}), 1);
}

TEST_F(Report, writesToADeviceThatStays) {
    EXPECT_EQ(report({"/dev/null"}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    EXPECT_EQ(report({"/dev/full"}).err, "scada-sensors: cannot write [/dev/full]: No space left on device\n");
}

// --- hostile texts

TEST_F(Report, takesNoMarkupFromFilesOrTheDatabase) {
    const std::string hostile = "\"><script>alert(1)</script><!--";
    const std::string quoted = "\\\"><script>alert(1)</script><!--";
    standard.definition("lora/x/<script>", R"({"decoder": "<script>.js", "properties": {")" + quoted +
                                               R"(": {"name": ")" + quoted + R"(", "unit": ")" + quoted +
                                               R"(", "type": ")" + quoted + R"("}}})");
    standard.decoder("lora/x/<script>", "<script>.js");
    custom.definition("lora/x/<script>", R"({"decoder": "none", "properties": 1, "a": "\u0000"})");
    writeList({R"({"id": ")" + quoted + R"(", "src": "lora", "sensor": "x/<script>"})",
               R"({"id": "aa", "src": ")" + quoted + R"(", "sensor": ")" + quoted + R"("})"});
    server.run({"HSET", "lora@" + hostile, hostile, hostile});
    makeDir(temp / "custom.generations");
    writeFile(temp / "custom.generations/history", R"({"number": 1, "time": ")" + quoted + R"(", "user": ")" + quoted +
                                                       R"(", "operation": ")" + quoted +
                                                       R"(", "definitions": [{"change": ")" + quoted +
                                                       R"(", "name": ")" + quoted + R"(", "content": ")" + quoted +
                                                       R"("}]})"
                                                       "\n");
    const std::string text = page();
    EXPECT_THAT(text, Not(HasSubstr("<script>alert")));
    EXPECT_THAT(text, Not(HasSubstr("<!--")));
    // The page's own one alone.
    EXPECT_EQ(text.find("<script>"), text.rfind("<script>"));
    EXPECT_THAT(text, HasSubstr("&quot;&gt;&lt;script&gt;alert(1)&lt;/script&gt;&lt;!--"));
}

} // namespace
