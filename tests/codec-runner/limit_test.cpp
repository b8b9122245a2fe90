// Calls that exceed a limit.

#include "RunnerTest.h"

namespace Kelvra::SCADA::Test {

namespace {

const ResultRow LIMITS[] = {
    {"endless_loop", "for (;;);", "endless"},
    {"endless_expression",
     "return /^(a+)+$/.test('aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa!')", "endless"},
    {"endless_getter", "return {get a() { for (;;); }}", "endless"},
    {"endless_text_of_an_exception", "throw {get message() { for (;;); }}", "endless"},
    {"endless_recursion", "function f(n) { return 1 + f(n + 1); } return f(0)",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"endless_mutual_recursion", "function f() { g(); } function g() { f(); } f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    // An engine may reuse the caller's stack frame, so that the recursion never gets too deep.
    {"endless_recursion_at_the_end", "function f() { return f(); } return f()", "endless",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"endless_recursion_in_sort", "function f() { return [2, 1].sort(f); } return f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"endless_recursion_in_replace", "function f() { return 'a'.replace(/a/, f); } return f()",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"endless_recursion_of_a_getter", "var o = {get a() { return o.a; }}; return o",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"endless_recursion_of_a_proxy", "var p = new Proxy({}, {get: function (t, k, r) { return r[k]; }}); return p.x",
     R"({"exception": {"text": "~Error: "}})"},
    {"caught_recursion", "var n = 0; function f() { n++; f(); } try { f(); } catch (e) { return [n > 100, e.name]; }",
     R"({"value": [true, "RangeError"]})"},

    {"text_that_doubles", "var s = 'x'; for (;;) s += s", R"({"limit": "memory"})",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"text_that_grows", "var a = []; for (;;) a.push('x' + a.length)", R"({"limit": "memory"})"},
    {"objects_that_grow", "var o = {}; for (var i = 0;; i++) o['k' + i] = {}", R"({"limit": "memory"})"},
    {"arrays_that_grow", "var a = []; for (;;) a = [a, [1, 2, 3]]", R"({"limit": "memory"})"},
    {"large_buffer", "return new Uint8Array(1e9)", R"({"limit": "memory"})", "memory or end"},
    {"many_buffers", "var a = []; for (;;) a.push(new Uint8Array(1e6))", R"({"limit": "memory"})", "memory or end"},
    {"large_text", "return 'x'.repeat(500000000).length", R"({"limit": "memory"})", R"({"value": 500000000})"},
    {"large_array", "return new Array(1e9).length", R"({"value": 1000000000})"},
    {"large_array_filled", "var a = new Array(1e9); for (var i = 0; i < a.length; i++) a[i] = i",
     R"({"limit": "memory"})", "memory or end"},
    {"large_array_returned", "return new Array(1e9)", R"({"limit": "output"})"},

    {"output_at_the_limit", "return 'x'.repeat(65536 - 25).length", R"({"value": 65511})"},
    {"output_over_the_limit", "return 'x'.repeat(65536)", R"({"limit": "output"})"},
    {"output_of_many_elements", "var a = []; for (var i = 0; i < 40000; i++) a.push(1); return a",
     R"({"limit": "output"})"},
    {"output_of_special_values", "var a = []; for (var i = 0; i < 4000; i++) a.push(NaN); return a",
     R"({"limit": "output"})"},
    {"output_of_a_gigabyte", "return {a: 'x'.repeat(1073741824)}", R"({"limit": "memory"})",
     R"({"exception": {"text": "~RangeError: "}})"},
    {"output_of_a_gigabyte_in_pieces",
     "var s = 'x'.repeat(1048576), a = []; for (var i = 0; i < 1024; i++) a.push(s); return a",
     R"({"limit": "output"})"},
    {"output_without_end", "return new Proxy([], {get: function (t, k) { return k === 'length' ? 1e9 : 7; }})",
     R"({"limit": "output"})"},

    {"deepest_value", "var v = 1; for (var i = 0; i < 32; i++) v = [v]; return typeof v", R"({"value": "object"})"},
    {"deep_value", "var v = 1; for (var i = 0; i < 33; i++) v = [v]; return v", R"({"limit": "depth"})"},
    {"very_deep_value", "var v = 1; for (var i = 0; i < 50000; i++) v = {v: v}; return v", R"({"limit": "depth"})"},
    {"cycle", "var o = {}; o.self = o; return o", R"({"limit": "depth"})"},
    {"cycle_of_arrays", "var a = []; a.push(a, a); return a", R"({"limit": "depth"})"},
    {"depth_of_a_getter", "function make() { return {get next() { return make(); }}; } return make()",
     R"({"limit": "depth"})"},
};

INSTANTIATE_TEST_SUITE_P(Limits, ResultTest, testing::ValuesIn(LIMITS), rowAndRunnerName);

} // namespace

} // namespace Kelvra::SCADA::Test
