// The bytes that reach a terminal, and how programs distinguish names that a terminal cannot show.

#include "RedisServer.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

#include <filesystem>
#include <map>
#include <set>

namespace {

using namespace Kelvra::SCADA::Test;

// One of each kind that a terminal obeys or cannot show; a command's output must not contain any of them.
const std::vector<std::string>& hostileParts() {
    static const std::vector<std::string> parts = {"\x1b",   "\r",     "\x7f",     "\xc2\x9b",     "\u061c",  "\u200e",
                                                   "\u200f", "\u202a", "\u202e",   "\u2066",       "\u2069",  "\u2028",
                                                   "\u2029", "\xff",   "\xe0\x80", "\xed\xa0\x80", "\xf4\x90"};
    return parts;
}

std::string hostile() {
    std::string text = "m";
    for (const std::string& part : hostileParts())
        text += part;
    return text + "n";
}

// The same inside a string of a JSON document, where newer readers refuse control characters.
std::string hostileInJson() {
    return replaced(replaced(hostile(), "\x1b", "\\u001b"), "\r", "\\r");
}

class Hostile : public ToolTest, public ::testing::WithParamInterface<RunRow> {
protected:
    Hostile() : source(temp / "source") {
        addDefinition(standard, "lora/demo/" + hostile());
        addDefinition(custom, "lora/demo/" + hostile());
        custom.definition("lora/demo/" + hostile(), R"({"decoder": ")" + hostileInJson() +
                                                        R"(.js", "properties": {"temperature": {"name": ")" +
                                                        hostileInJson() + "\"}}}");
        custom.definition("lora/broken/" + hostile(), R"({"decoder": "../)" + hostileInJson() + "\"}");
        writeFile(temp / ("custom/" + hostile()), "");
        addDefinition(source, "lora/demo/new" + hostile());
        addDefinition(source, "lora/demo/" + hostile());
        writeList(
            {R"({"id": "aa)" + hostileInJson() + R"(", "src": "lora", "sensor": "demo/)" + hostileInJson() + "\"}",
             R"({"id": "x@)" + hostileInJson() + R"(", "src": "lora", "sensor": "demo/th1"})"});
    }

    StorageBuilder source;
};

TEST_P(Hostile, namesAndValuesReachNoTerminal) {
    std::vector<std::string> arguments = GetParam().arguments;
    for (std::string& argument : arguments)
        argument = replaced(replaced(argument, "$H", hostile()), "$T", temp.path());
    arguments.insert(arguments.end(), {"--log-level", "trace"});
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, GetParam().status) << result.err;
    const std::string shown = result.out + result.err;
    EXPECT_NE(shown.find("m\\x1b"), std::string::npos) << shown;
    for (const std::string& part : hostileParts())
        EXPECT_EQ(shown.find(part), std::string::npos) << shown;
}

INSTANTIATE_TEST_SUITE_P(Tool, Hostile,
                         ::testing::Values(RunRow{"list", {"list"}, 0, "", ""},
                                           RunRow{"show", {"show", "lora/demo/$H"}, 0, "", ""},
                                           RunRow{"show_missing", {"show", "lora/demo/x$H"}, 4, "", ""},
                                           RunRow{"check", {"check"}, 1, "", ""},
                                           RunRow{"check_source", {"check", "$T/source"}, 1, "", ""},
                                           RunRow{"sensors", {"sensors"}, 0, "", ""},
                                           RunRow{"resolve_missing", {"resolve", "lora", "x$H"}, 4, "", ""},
                                           RunRow{"dry_run", {"install", "$T/source", "--dry-run"}, 5, "", ""},
                                           RunRow{"remove", {"remove", "lora/demo/$H"}, 0, "", ""},
                                           RunRow{"remove_missing", {"remove", "lora/demo/x$H"}, 4, "", ""},
                                           RunRow{"bad_usage", {"list", "$H"}, 2, "", ""}),
                         rowName);

TEST_F(Hostile, wordsAreNotOfferedForCompletion) {
    addDefinition(custom, "lora/demo/th1");
    const ToolRun result = runTool(
        {"--complete", "--custom-dir", temp / "custom", "--default-dir", temp / "default", "remove", "lora/demo/"});
    EXPECT_EQ(result.out, "words\nlora/demo/th1\n");
}

TEST_F(Hostile, databaseValuesReachNoTerminal) {
    const RedisServer server;
    server.run({"HSET", "hash", "field", hostile()});
    const ToolRun result = run({"db", "get", "hash", "field", "--socket", server.socket()});
    EXPECT_EQ(result.status, 0);
    for (const std::string& part : hostileParts())
        EXPECT_EQ(result.out.find(part), std::string::npos) << result.out;
}

// --- names for programs

// Decodes a string of an answer as docs tells programs to.
std::string unescaped(const std::string& text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isEscape = text.compare(at, 2, "\\x") == 0 &&
                              text.find_first_not_of("0123456789abcdef", at + 2) >= at + 4 && at + 4 <= text.size();
        if (isEscape)
            bytes += static_cast<char>(std::stoi(text.substr(at + 2, 2), nullptr, 16));
        else
            bytes += text[at];
        at += isEscape ? 3 : 0;
    }
    return bytes;
}

class Names : public ToolTest {};

const std::vector<std::string>& awkwardNames() {
    static const std::vector<std::string> names = {"a\xfe", "a\xff",       "a\xc3", "a\u00e9",      "a\ufffd",
                                                   "a\x7f", "a\U0001f321", "a\"b",  "a\xed\xa0\x80"};
    return names;
}

TEST_F(Names, thatDifferStayApartForPrograms) {
    std::set<std::string> expected;
    for (const std::string& name : awkwardNames()) {
        custom.definition("lora/demo/" + name, R"({"properties": {}})");
        expected.insert("lora/demo/" + name);
    }
    const ToolRun result = run({"list", "--json"});
    for (const char c : result.out)
        EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f)) << result.out;
    std::set<std::string> told;
    const Json::Value answer = parsed(result.out);
    for (const Json::Value& definition : answer["result"])
        told.insert(unescaped(definition["name"].asString()));
    EXPECT_EQ(told, expected);
}

TEST_F(Names, thatLookLikeAnEscapeStayApartFromTheByte) {
    const RedisServer server;
    const std::map<std::string, std::string> written = {
        {"\xff", R"(\xff)"},    {R"(\xff)", R"(\x5cxff)"},   {R"(\x5c)", R"(\x5cx5c)"},
        {R"(\xFF)", R"(\xFF)"}, {R"(\x5)", R"(\x5)"},        {"\\x5\xff", R"(\x5\xff)"},
        {"\\\xff", R"(\\xff)"}, {R"(\\xff)", R"(\\x5cxff)"}, {"\u00e9\n\x7f", "\u00e9\n\x7f"}};
    for (const auto& [value, text] : written) {
        server.run({"HSET", "hash", "field", value});
        const ToolRun result = run({"db", "get", "hash", "field", "--json", "--socket", server.socket()});
        EXPECT_EQ(parsed(result.out)["result"]["value"].asString(), text);
        EXPECT_EQ(unescaped(text), value);
    }
}

} // namespace
