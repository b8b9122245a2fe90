// Calls that exceed a limit.

#include "RunnerTest.h"

namespace Kelvra::SCADA::Test {

namespace {

const ResultRow LIMITS[] = {
    {"EndlessLoop", "for (;;);", "endless"},
    {"EndlessExpression",
     "return /^(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!')", "endless"},
    {"EndlessGetter", "return {get a() { for (;;); }}", "endless"},
    {"EndlessTextOfAnException", "throw {get message() { for (;;); }}", "endless"},
    {"EndlessRecursion", "function f(n) { return 1 + f(n + 1); } return f(0)",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"EndlessMutualRecursion", "function f() { g(); } function g() { f(); } f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    // An engine may reuse the caller's stack frame, so that the recursion never gets too deep.
    {"EndlessRecursionAtTheEnd", "function f() { return f(); } return f()", "endless",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"EndlessRecursionInSort", "function f() { return [2, 1].sort(f); } return f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"EndlessRecursionInReplace", "function f() { return 'a'.replace(/a/, f); } return f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"EndlessRecursionOfAGetter", "var o = {get a() { return o.a; }}; return o",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"EndlessRecursionOfAProxy", "var p = new Proxy({}, {get: function (t, k, r) { return r[k]; }}); return p.x",
     R"({"exception": {"text": "~Error: "}})"},
    {"CaughtRecursion", "var n = 0; function f() { n++; f(); } try { f(); } catch (e) { return [n > 100, e.name]; }",
     R"({"value": [true, "RangeError"]})"},

    {"TextThatDoubles", "var s = 'x'; for (;;) s += s", R"({"limit": "memory"})",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"TextThatGrows", "var a = []; for (;;) a.push('x' + a.length)", R"({"limit": "memory"})"},
    {"ObjectsThatGrow", "var o = {}; for (var i = 0;; i++) o['k' + i] = {}", R"({"limit": "memory"})"},
    {"ArraysThatGrow", "var a = []; for (;;) a = [a, [1, 2, 3]]", R"({"limit": "memory"})"},
    {"LargeBuffer", "return new Uint8Array(1e9)", R"({"limit": "memory"})", "memory or end"},
    {"ManyBuffers", "var a = []; for (;;) a.push(new Uint8Array(1e6))", R"({"limit": "memory"})", "memory or end"},
    {"LargeText", "return 'x'.repeat(500000000).length", R"({"limit": "memory"})", R"({"value": 500000000})"},
    {"LargeArray", "return new Array(1e9).length", R"({"value": 1000000000})"},
    {"LargeArrayFilled", "var a = new Array(1e9); for (var i = 0; i < a.length; i++) a[i] = i",
     R"({"limit": "memory"})", "memory or end"},
    {"LargeArrayReturned", "return new Array(1e9)", R"({"limit": "output"})"},

    {"OutputAtTheLimit", "return 'x'.repeat(65536 - 25).length", R"({"value": 65511})"},
    {"OutputOverTheLimit", "return 'x'.repeat(65536)", R"({"limit": "output"})"},
    {"OutputOfManyElements", "var a = []; for (var i = 0; i < 40000; i++) a.push(1); return a",
     R"({"limit": "output"})"},
    {"OutputOfSpecialValues", "var a = []; for (var i = 0; i < 4000; i++) a.push(NaN); return a",
     R"({"limit": "output"})"},
    {"OutputOfAGigabyte", "return {a: 'x'.repeat(1073741824)}", R"({"limit": "memory"})",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"OutputOfAGigabyteInPieces",
     "var s = 'x'.repeat(1048576), a = []; for (var i = 0; i < 1024; i++) a.push(s); return a",
     R"({"limit": "output"})"},
    {"OutputWithoutEnd", "return new Proxy([], {get: function (t, k) { return k === 'length' ? 1e9 : 7; }})",
     R"({"limit": "output"})"},

    {"DeepestValue", "var v = 1; for (var i = 0; i < 32; i++) v = [v]; return typeof v", R"({"value": "object"})"},
    {"DeepValue", "var v = 1; for (var i = 0; i < 33; i++) v = [v]; return v", R"({"limit": "depth"})"},
    {"VeryDeepValue", "var v = 1; for (var i = 0; i < 50000; i++) v = {v: v}; return v", R"({"limit": "depth"})"},
    {"Cycle", "var o = {}; o.self = o; return o", R"({"limit": "depth"})"},
    {"CycleOfArrays", "var a = []; a.push(a, a); return a", R"({"limit": "depth"})"},
    {"DepthOfAGetter", "function make() { return {get next() { return make(); }}; } return make()",
     R"({"limit": "depth"})"},
};

INSTANTIATE_TEST_SUITE_P(Limits, ResultTest, testing::ValuesIn(LIMITS), rowAndRunner);

} // namespace

} // namespace Kelvra::SCADA::Test
