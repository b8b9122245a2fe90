// Returned values and exceptions of an entry point, as the answer represents them.

#include "RunnerTest.h"

namespace Kelvra::SCADA::Test {

namespace {

const ResultRow VALUES[] = {
    {"null", "return null", R"({"value": null})"},
    {"booleans", "return [true, false]", R"({"value": [true, false]})"},
    {"integers", "return [0, -0, 1, -1, 9007199254740991]", R"({"value": [0, 0, 1, -1, 9007199254740991]})"},
    {"fractions", "return [0.1, 21.5, 5e-324, 1.7976931348623157e308, 1e21]",
     R"({"value": [0.1, 21.5, 5e-324, 1.7976931348623157e308, 1e21]})"},
    {"texts", R"(return ['', 'a"b\\c', '\n\u0000\u007f', 'é€', '\ud83d\ude00'])",
     R"({"value": ["", "a\"b\\c", "\n\u0000\u007f", "é€", "😀"]})"},
    {"half_of_a_pair", R"(return ['\ud83d', '\ude00', '\ud83dx', '\ude00\ud83d'])",
     R"({"value": ["\ufffd", "\ufffd", "\ufffdx", "\ufffd\ufffd"]})"},
    {"keys_that_are_special",
     R"(var o = {}; o[''] = 1; o['a"'] = 2; o['\u00e9'] = 3; o.length = 4; o.toString = 5; return o)",
     R"({"value": {"": 1, "a\"": 2, "é": 3, "length": 4, "toString": 5}})"},
    {"nested", "return {data: {list: [[], {}, [1, [2]]]}}", R"({"value": {"data": {"list": [[], {}, [1, [2]]]}}})"},
    {"the_input", "return input", R"({"value": {"bytes": [1, 255], "fPort": 2}})"},
    {"bytes_are_an_array", "return [Array.isArray(input.bytes), input.bytes.slice(1), 'recvTime' in input]",
     R"({"value": [true, [255], false]})"},
    {"same_object_twice", "var o = {a: 1}; return [o, o]", R"({"value": [{"a": 1}, {"a": 1}]})"},
    {"inherited_is_left_out", "var o = Object.create({a: 1}); o.b = 2; return o", R"({"value": {"b": 2}})"},
    {"hidden_is_left_out", "return Object.defineProperty({a: 1}, 'b', {value: 2})", R"({"value": {"a": 1}})"},
    {"symbol_key_is_left_out", "var o = {a: 1}; o[Symbol('s')] = 2; return o", R"({"value": {"a": 1}})"},
    {"array_with_members", "var a = [1]; a.more = 2; return a", R"({"value": [1]})"},
    {"boxed", "return [new Number(5), new String('x'), new Boolean(false)]", R"({"value": [5, "x", false]})"},
    {"boxed_na_n", "return [new Number(NaN)]", R"({"value": [null], "special": [{"path": [0], "kind": "NaN"}]})"},
    {"errors_and_expressions", "return [new Error('x'), /a/]", R"({"value": [{}, {}]})"},
    {"arguments", "return (function () { return arguments; })(7)", R"({"value": {"0": 7}})"},
    {"errors_are_not_interpreted", "return {errors: ['bad'], warnings: [1], data: 2}",
     R"({"value": {"errors": ["bad"], "warnings": [1], "data": 2}})"},
    {"getter", "return {get a() { return 1; }}", R"({"value": {"a": 1}})"},
    {"proxy", "return new Proxy({a: 1}, {get: function () { return 2; }})", R"({"value": {"a": 2}})"},
    {"date", "return [new Date(0), new Date(-1), new Date(8.64e15)]",
     R"({"value": ["1970-01-01T00:00:00.000Z", "1969-12-31T23:59:59.999Z", "+275760-09-13T00:00:00.000Z"]})"},

    {"undefined", "return undefined", R"({"value": null, "special": [{"path": [], "kind": "undefined"}]})"},
    {"nothing_returned", "return", R"({"value": null, "special": [{"path": [], "kind": "undefined"}]})"},
    {"na_n_at_the_top", "return NaN", R"({"value": null, "special": [{"path": [], "kind": "NaN"}]})"},
    {"numbers_that_are_none", "return {data: {a: NaN, b: [1, Infinity], c: -Infinity}}",
     R"({"value": {"data": {"a": null, "b": [1, null], "c": null}}, "special": [{"path": ["data", "a"], "kind": "NaN"},
         {"path": ["data", "b", 1], "kind": "Infinity"}, {"path": ["data", "c"], "kind": "-Infinity"}]})"},
    {"undefined_members", "return {a: undefined, b: [undefined, , 1]}",
     R"({"value": {"a": null, "b": [null, null, 1]}, "special": [{"path": ["a"], "kind": "undefined"},
         {"path": ["b", 0], "kind": "undefined"}, {"path": ["b", 1], "kind": "undefined"}]})"},
    {"functions", "return [function () {}, Math.max, Date]",
     R"({"value": [null, null, null], "special": [{"path": [0], "kind": "function"}, {"path": [1], "kind": "function"},
         {"path": [2], "kind": "function"}]})"},
    {"symbols", "return [Symbol('a'), Symbol.iterator]",
     R"({"value": [null, null], "special": [{"path": [0], "kind": "symbol"}, {"path": [1], "kind": "symbol"}]})"},
    {"binary", "return [new Uint8Array(2), new ArrayBuffer(2), new DataView(new ArrayBuffer(1)), new Float64Array(1)]",
     R"({"value": [null, null, null, null], "special": [{"path": [0], "kind": "binary"}, {"path": [1], "kind": "binary"},
         {"path": [2], "kind": "binary"}, {"path": [3], "kind": "binary"}]})"},
    {"invalid_date", "return {t: new Date(NaN)}",
     R"({"value": {"t": null}, "special": [{"path": ["t"], "kind": "invalid-date"}]})"},
    {"path_with_quotes", "var o = {}; o['a\"\\u00e9'] = NaN; return o",
     R"({"value": {"a\"é": null}, "special": [{"path": ["a\"é"], "kind": "NaN"}]})"},
    {"big_int", "return eval('[10n]')", R"({"exception": {"text": "~SyntaxError"}})",
     R"({"value": [null], "special": [{"path": [0], "kind": "bigint"}]})"},

    {"thrown_error", "\n  throw new TypeError('bad')", R"({"exception": {"text": "TypeError: bad", "line": 2}})"},
    {"thrown_within", "function deep() {\n  return null.x;\n}\nreturn [1].map(deep)",
     R"({"exception": {"text": "~TypeError: ", "line": 2}})"},
    {"thrown_text", "throw 'text'", R"({"exception": {"text": "text"}})"},
    {"thrown_number", "throw 42", R"({"exception": {"text": "42"}})"},
    {"thrown_nothing", "throw undefined", R"({"exception": {"text": "undefined"}})"},
    {"thrown_symbol", "throw Symbol('s')", R"({"exception": {"text": "a symbol"}})"},
    {"thrown_object", "throw {message: 'own'}", R"({"exception": {"text": "own"}})"},
    {"thrown_empty_object", "throw {}", R"({"exception": {"text": "an object that is not an error"}})"},
    {"thrown_that_throws", "throw {get message() { throw 1; }, toString: function () { throw 2; }}",
     R"({"exception": {"text": "an exception that tells nothing of itself"}})"},
    {"thrown_without_text", "var e = new Error(''); e.name = {}; throw e",
     R"({"exception": {"text": "an object that is not an error"}})"},
    {"getter_that_throws", "return {a: 1, get b() { throw new RangeError('in b'); }}",
     R"({"exception": {"text": "RangeError: in b"}})"},
    {"proxy_that_throws", "return new Proxy({}, {ownKeys: function () { throw new Error('in keys'); }})",
     R"({"exception": {"text": "Error: in keys"}})"},
    {"missing_buffer", "return Buffer.from(input.bytes)",
     R"({"exception": {"text": "~ReferenceError: ", "line": 1, "missing": "Buffer"}})"},
    {"missing_require", "return require('fs')",
     R"({"exception": {"text": "~ReferenceError: ", "missing": "require"}})"},
    {"missing_console", "console.log(1)", R"({"exception": {"text": "~ReferenceError: ", "missing": "console"}})"},
    {"missing_timer", "setTimeout(function () {}, 1)",
     R"({"exception": {"text": "~ReferenceError: ", "missing": "setTimeout"}})"},
    {"missing_of_the_decoder", "try { return unknown } catch (e) { return e.name }", R"({"value": "ReferenceError"})"},

    {"clock", "return [Date.now(), new Date(), new Date().getTime() === +new Date(), new Date(5).getTime()]",
     R"({"value": [1577836800000, "2020-01-01T00:00:00.000Z", true, 5]})"},
    {"clock_as_text", "return typeof Date() === 'string' && Date().indexOf('2020') >= 0", R"({"value": true})"},
    {"zone_is_utc", "return [new Date().getTimezoneOffset(), new Date(2020, 6, 1).toISOString(), Date.UTC(2020, 0)]",
     R"({"value": [0, "2020-07-01T00:00:00.000Z", 1577836800000]})"},
    {"date_is_whole",
     "return [new Date() instanceof Date, Date.prototype.constructor === Date, new Date().constructor === Date,"
     " Date.length, Date.name, Date.parse('1970-01-01T00:00:01Z'), Object.keys(Date)]",
     R"({"value": [true, true, true, 7, "Date", 1000, []]})"},
    {"clock_through_the_instance", "return new (new Date().constructor)().getTime()", R"({"value": 1577836800000})"},
    {"clock_through_reflect", "return Reflect.construct(Date, []).getTime()", R"({"value": 1577836800000})",
     R"({"value": 1577836800000})"},
    {"clock_cannot_be_set", "Date.prototype.constructor = 1; Date.now = 2; return new Date().getTime()",
     R"({"value": 1577836800000})"},
};

INSTANTIATE_TEST_SUITE_P(Values, ResultTest, testing::ValuesIn(VALUES), rowAndRunnerName);

} // namespace

TEST_P(ResultTest, isAsExpected) {
    check(GetParam());
}

} // namespace Kelvra::SCADA::Test
