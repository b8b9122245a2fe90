// Loading a decoder, before the first call.

#include "NamedRow.h"
#include "RunnerTest.h"

#include <gmock/gmock.h>

namespace Kelvra::SCADA::Test {

namespace {

/// The first answer, without the engine and the results. Only the named members of an exception are compared.
struct LoadRow : NamedRow {
    const char* decoder;
    const char* expected;
};

const LoadRow LOADS[] = {
    {"empty", "", R"({"loaded": true, "entryPoint": null})"},
    {"comment_only", "// nothing\n", R"({"loaded": true, "entryPoint": null})"},
    {"function", "function decodeUplink(input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"variable", "var decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"constant", "const decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"member_of_this", "this.decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"member_of_global_this", "globalThis.Decode = function () {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"without_declaration", "Decoder = function () {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"from_eval", "eval('function Decode() {}')", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"older_shape", "function Decode(fPort, bytes, variables) {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"oldest_shape", "function Decoder(bytes, port) {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"newest_of_all", "function Decoder() {} function decodeUplink() {} function Decode() {}",
     R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"no_function", "var decodeUplink = {}; function Decoder() {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"byte_order_mark",
     "\xEF\xBB\xBF"
     "function Decode() {}",
     R"({"loaded": true, "entryPoint": "Decode"})"},
    {"line_ends_of_windows", "function Decode() {\r\n}\r\n", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"other_scripts", "var größe = 1; var s = '\u00e9€😀'; function Decode() {}",
     R"({"loaded": true, "entryPoint": "Decode"})"},
    {"not_strict", "undeclared = 1; with ({}) {} function Decode() {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"throws", "var a = 1;\nthrow new Error('at load');",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "Error: at load", "line": 2}})"},
    {"throws_the_entry_point",
     "Object.defineProperty(this, 'decodeUplink', {get: function () { throw new Error('no'); }})",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "Error: no"}})"},
    {"needs_modules", "\nmodule.exports = {};",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~ReferenceError", "line": 2, "missing": "module"}})"},
    {"needs_exports", "exports.decodeUplink = 1",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~ReferenceError", "missing": "exports"}})"},
    {"not_the_language", "\n\nvar a = ;",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~SyntaxError", "line": 3}})"},
    {"endless_recursion", "function f() { return 1 + f(); } f()",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~RangeError"}})"},
    {"nested_too_deeply", "var open = ''; for (var i = 0; i < 5000; i++) open += '('; eval(open)",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~Error: "}})"},
};

/// A piece of syntax that an older engine does not know.
struct NewerRow : NamedRow {
    const char* decoder;
    const char* newer;
};

const NewerRow NEWER[] = {
    {"let", "var a;\nlet b = 1;", "let"},
    {"let_pattern", "let [a] = [1]", "let"},
    {"arrow", "var f = (a, b) => a", "=>"},
    {"arrow_without_parameters", "var f = () => 1", "=>"},
    {"arrow_of_one", "var f = [1].map(a => a)", "=>"},
    {"template_literal", "var a = 'x'; var s = `a ${a}`", "template literal"},
    {"class", "class A {}", "class"},
    {"class_expression", "var A = class { f() {} }", "class"},
    {"spread_in_call", "Math.max(...[1])", "..."},
    {"spread_in_array", "var a = [1, ...[2]]", "..."},
    {"spread_in_object", "var a = {...{}}", "..."},
    {"rest", "function f(a, ...b) {}", "..."},
    {"object_pattern", "var {a} = {}", "destructuring"},
    {"array_pattern", "const [a] = [1]", "destructuring"},
    {"parameter_pattern", "function f(a, {b}) {}", "destructuring"},
    {"default_parameter", "function f(a, b = 1) {}", "default parameter"},
    {"for_of", "for (var a of [1]) {}", "for-of"},
    {"for_of_constant", "for (const a of [1]) {}", "for-of"},
    {"async_function", "async function f() {}", "async"},
    {"async_arrow", "var f = async () => 1", "async"},
    {"generator", "function* f() {}", "generator"},
    {"generator_method", "var o = {*f() {}}", "generator"},
    {"optional_chaining", "var a = {}; a?.b", "?."},
    {"optional_call", "var a; a?.()", "?."},
    {"coalescing", "var a = null ?? 1", "?\?"},
    {"coalescing_assignment", "var a; a ?\?= 1", "?\?="},
    {"logical_assignment", "var a; a ||= 1", "||="},
    {"catch_without_variable", "try { } catch { }", "catch without a variable"},
    {"big_int", "var a = 10n", "BigInt"},
    {"numeric_separator", "var a = 1_000", "numeric separator"},
    {"sticky_expression", "var a = /a/y", "regular expression flag y"},
    {"named_group", "var a = /(?<y>a)/", "regular expression group (?<"},
    {"trailing_comma", "Math.max(1,\n)", "trailing comma"},
    {"after_older_syntax", "/* let */ var s = 'let x = `'; // =>\nvar r = /=> [/`]/;\nconst f = x => x;", "=>"},
};

/// Texts that no engine accepts, with the part that looks newer.
struct BrokenRow : NamedRow {
    const char* decoder;
};

const BrokenRow BROKEN[] = {
    {"plain", "var a = ;"},
    {"before_newer_syntax", "var a = ;\nlet b = 1;"},
    {"before_newer_syntax_of_the_line", "var a = (; var f = x => x"},
    {"newer_in_a_text", "var a = 'let x'; b c"},
    {"newer_in_a_comment", "// let x = `\nb c"},
    {"newer_in_an_expression", "var a = /let x=>`/; b c"},
    {"brace_too_much", "function f() { } }"},
    {"brace_missing", "function f() {"},
    {"parenthesis_missing", "f(1"},
    {"text_without_end", "var a = 'x"},
    {"comment_without_end", "/* x"},
    {"member_called_class", "var a = b.class c"},
    {"condition_with_a_fraction", "var a = b ? .5 : ;"},
    {"only_an_end", ")"},
};

std::string loadWith(const std::string& decoder, Json::Value& answer) {
    RunnerProcess runner;
    runner.send(firstLine(decoder));
    const std::optional<std::string> line = runner.nextLine();
    answer = jsonOf(line.value_or("null"));
    return answer["engine"].asString();
}

class LoadTest : public testing::TestWithParam<LoadRow> {};
class NewerTest : public testing::TestWithParam<NewerRow> {};
class BrokenTest : public testing::TestWithParam<BrokenRow> {};

INSTANTIATE_TEST_SUITE_P(Loads, LoadTest, testing::ValuesIn(LOADS), rowAndRunnerName);
INSTANTIATE_TEST_SUITE_P(Newer, NewerTest, testing::ValuesIn(NEWER), rowAndRunnerName);
INSTANTIATE_TEST_SUITE_P(Broken, BrokenTest, testing::ValuesIn(BROKEN), rowAndRunnerName);

TEST_P(LoadTest, isAsExpected) {
    Json::Value answer;
    loadWith(GetParam().decoder, answer);
    const Json::Value expected = jsonOf(GetParam().expected);
    for (const char* member : {"loaded", "entryPoint"})
        EXPECT_EQ(expected[member], answer[member]) << lineOf(answer);
    EXPECT_EQ(Json::Value(Json::arrayValue), answer["results"]);
    ASSERT_EQ(expected.isMember("exception"), answer.isMember("exception")) << lineOf(answer);
    Json::Value wanted;
    Json::Value exception;
    wanted["exception"] = expected["exception"];
    exception["exception"] = answer["exception"];
    EXPECT_TRUE(!expected.isMember("exception") || matches(wanted, exception)) << lineOf(answer);
}

// An engine that knows the piece of syntax loads the decoder.
TEST_P(NewerTest, isNamedOrKnown) {
    Json::Value answer;
    const std::string engine = loadWith(GetParam().decoder, answer);
    if (engine.find("duktape") == 0) {
        EXPECT_EQ(GetParam().newer, answer["exception"]["newer"].asString()) << lineOf(answer);
    } else {
        EXPECT_TRUE(answer["loaded"].asBool() || answer["exception"].isMember("newer")) << lineOf(answer);
    }
}

TEST_P(BrokenTest, isNotTakenForNewer) {
    Json::Value answer;
    loadWith(GetParam().decoder, answer);
    EXPECT_EQ(Json::Value(false), answer["loaded"]) << lineOf(answer);
    EXPECT_THAT(answer["exception"]["text"].asString(), testing::HasSubstr("SyntaxError"));
    EXPECT_FALSE(answer["exception"].isMember("newer")) << lineOf(answer);
}

} // namespace

} // namespace Kelvra::SCADA::Test
