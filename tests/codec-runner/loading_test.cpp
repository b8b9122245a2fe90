#include "NamedRow.h"

// Loading a decoder, before the first call.

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
    {"Empty", "", R"({"loaded": true, "entryPoint": null})"},
    {"CommentOnly", "// nothing\n", R"({"loaded": true, "entryPoint": null})"},
    {"Function", "function decodeUplink(input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"Variable", "var decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"Constant", "const decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"MemberOfThis", "this.decodeUplink = function (input) {}", R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"MemberOfGlobalThis", "globalThis.Decode = function () {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"WithoutDeclaration", "Decoder = function () {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"FromEval", "eval('function Decode() {}')", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"OlderShape", "function Decode(fPort, bytes, variables) {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"OldestShape", "function Decoder(bytes, port) {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"NewestOfAll", "function Decoder() {} function decodeUplink() {} function Decode() {}",
     R"({"loaded": true, "entryPoint": "decodeUplink"})"},
    {"NoFunction", "var decodeUplink = {}; function Decoder() {}", R"({"loaded": true, "entryPoint": "Decoder"})"},
    {"ByteOrderMark",
     "\xEF\xBB\xBF"
     "function Decode() {}",
     R"({"loaded": true, "entryPoint": "Decode"})"},
    {"LineEndsOfWindows", "function Decode() {\r\n}\r\n", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"OtherScripts", "var größe = 1; var s = '\u00e9€😀'; function Decode() {}",
     R"({"loaded": true, "entryPoint": "Decode"})"},
    {"NotStrict", "undeclared = 1; with ({}) {} function Decode() {}", R"({"loaded": true, "entryPoint": "Decode"})"},
    {"Throws", "var a = 1;\nthrow new Error('at load');",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "Error: at load", "line": 2}})"},
    {"ThrowsTheEntryPoint",
     "Object.defineProperty(this, 'decodeUplink', {get: function () { throw new Error('no'); }})",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "Error: no"}})"},
    {"NeedsModules", "\nmodule.exports = {};",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~ReferenceError", "line": 2, "missing": "module"}})"},
    {"NeedsExports", "exports.decodeUplink = 1",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~ReferenceError", "missing": "exports"}})"},
    {"NotTheLanguage", "\n\nvar a = ;",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~SyntaxError", "line": 3}})"},
    {"EndlessRecursion", "function f() { return 1 + f(); } f()",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~RangeError"}})"},
    {"NestedTooDeeply", "var open = ''; for (var i = 0; i < 5000; i++) open += '('; eval(open)",
     R"({"loaded": false, "entryPoint": null, "exception": {"text": "~Error: "}})"},
};

/// A piece of syntax that an older engine does not know.
struct NewerRow : NamedRow {
    const char* decoder;
    const char* newer;
};

const NewerRow NEWER[] = {
    {"Let", "var a;\nlet b = 1;", "let"},
    {"LetPattern", "let [a] = [1]", "let"},
    {"Arrow", "var f = (a, b) => a", "=>"},
    {"ArrowWithoutParameters", "var f = () => 1", "=>"},
    {"ArrowOfOne", "var f = [1].map(a => a)", "=>"},
    {"TemplateLiteral", "var a = 'x'; var s = `a ${a}`", "template literal"},
    {"Class", "class A {}", "class"},
    {"ClassExpression", "var A = class { f() {} }", "class"},
    {"SpreadInCall", "Math.max(...[1])", "..."},
    {"SpreadInArray", "var a = [1, ...[2]]", "..."},
    {"SpreadInObject", "var a = {...{}}", "..."},
    {"Rest", "function f(a, ...b) {}", "..."},
    {"ObjectPattern", "var {a} = {}", "destructuring"},
    {"ArrayPattern", "const [a] = [1]", "destructuring"},
    {"ParameterPattern", "function f(a, {b}) {}", "destructuring"},
    {"DefaultParameter", "function f(a, b = 1) {}", "default parameter"},
    {"ForOf", "for (var a of [1]) {}", "for-of"},
    {"ForOfConstant", "for (const a of [1]) {}", "for-of"},
    {"AsyncFunction", "async function f() {}", "async"},
    {"AsyncArrow", "var f = async () => 1", "async"},
    {"Generator", "function* f() {}", "generator"},
    {"GeneratorMethod", "var o = {*f() {}}", "generator"},
    {"OptionalChaining", "var a = {}; a?.b", "?."},
    {"OptionalCall", "var a; a?.()", "?."},
    {"Coalescing", "var a = null ?? 1", "?\?"},
    {"CoalescingAssignment", "var a; a ?\?= 1", "?\?="},
    {"LogicalAssignment", "var a; a ||= 1", "||="},
    {"CatchWithoutVariable", "try { } catch { }", "catch without a variable"},
    {"BigInt", "var a = 10n", "BigInt"},
    {"NumericSeparator", "var a = 1_000", "numeric separator"},
    {"StickyExpression", "var a = /a/y", "regular expression flag y"},
    {"NamedGroup", "var a = /(?<y>a)/", "regular expression group (?<"},
    {"TrailingComma", "Math.max(1,\n)", "trailing comma"},
    {"AfterOlderSyntax", "/* let */ var s = 'let x = `'; // =>\nvar r = /=> [/`]/;\nconst f = x => x;", "=>"},
};

/// Texts that no engine accepts, with the part that looks newer.
struct BrokenRow : NamedRow {
    const char* decoder;
};

const BrokenRow BROKEN[] = {
    {"Plain", "var a = ;"},
    {"BeforeNewerSyntax", "var a = ;\nlet b = 1;"},
    {"BeforeNewerSyntaxOfTheLine", "var a = (; var f = x => x"},
    {"NewerInAText", "var a = 'let x'; b c"},
    {"NewerInAComment", "// let x = `\nb c"},
    {"NewerInAnExpression", "var a = /let x=>`/; b c"},
    {"BraceTooMuch", "function f() { } }"},
    {"BraceMissing", "function f() {"},
    {"ParenthesisMissing", "f(1"},
    {"TextWithoutEnd", "var a = 'x"},
    {"CommentWithoutEnd", "/* x"},
    {"MemberCalledClass", "var a = b.class c"},
    {"ConditionWithAFraction", "var a = b ? .5 : ;"},
    {"OnlyAnEnd", ")"},
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

INSTANTIATE_TEST_SUITE_P(Loads, LoadTest, testing::ValuesIn(LOADS), rowAndRunner);
INSTANTIATE_TEST_SUITE_P(Newer, NewerTest, testing::ValuesIn(NEWER), rowAndRunner);
INSTANTIATE_TEST_SUITE_P(Broken, BrokenTest, testing::ValuesIn(BROKEN), rowAndRunner);

} // namespace

TEST_P(LoadTest, IsAsExpected) {
    Json::Value answer;
    loadWith(GetParam().decoder, answer);
    const Json::Value expected = jsonOf(GetParam().expected);
    for (const char* member : {"loaded", "entryPoint"})
        EXPECT_EQ(expected[member], answer[member]) << lineOf(answer);
    EXPECT_EQ(Json::Value(Json::arrayValue), answer["results"]);
    ASSERT_EQ(expected.isMember("exception"), answer.isMember("exception")) << lineOf(answer);
    Json::Value wanted, exception;
    wanted["exception"] = expected["exception"];
    exception["exception"] = answer["exception"];
    EXPECT_TRUE(!expected.isMember("exception") || matches(wanted, exception)) << lineOf(answer);
}

// An engine that knows the piece of syntax loads the decoder.
TEST_P(NewerTest, IsNamedOrKnown) {
    Json::Value answer;
    const std::string engine = loadWith(GetParam().decoder, answer);
    if (engine.find("duktape") == 0) {
        EXPECT_EQ(GetParam().newer, answer["exception"]["newer"].asString()) << lineOf(answer);
    } else {
        EXPECT_TRUE(answer["loaded"].asBool() || answer["exception"].isMember("newer")) << lineOf(answer);
    }
}

TEST_P(BrokenTest, IsNotTakenForNewer) {
    Json::Value answer;
    loadWith(GetParam().decoder, answer);
    EXPECT_EQ(Json::Value(false), answer["loaded"]) << lineOf(answer);
    EXPECT_THAT(answer["exception"]["text"].asString(), testing::HasSubstr("SyntaxError"));
    EXPECT_FALSE(answer["exception"].isMember("newer")) << lineOf(answer);
}

} // namespace Kelvra::SCADA::Test
