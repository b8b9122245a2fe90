// Returned values and exceptions of an entry point, as the answer represents them.

#include "RunnerTest.h"

namespace Kelvra::SCADA::Test {

namespace {

const ResultRow VALUES[] = {
    {"Null", "return null", R"({"value": null})"},
    {"Booleans", "return [true, false]", R"({"value": [true, false]})"},
    {"Integers", "return [0, -0, 1, -1, 9007199254740991]", R"({"value": [0, 0, 1, -1, 9007199254740991]})"},
    {"Fractions", "return [0.1, 21.5, 5e-324, 1.7976931348623157e308, 1e21]",
     R"({"value": [0.1, 21.5, 5e-324, 1.7976931348623157e308, 1e21]})"},
    {"Texts", R"(return ['', 'a"b\\c', '\n\u0000\u007f', 'é€', '\ud83d\ude00'])",
     R"({"value": ["", "a\"b\\c", "\n\u0000\u007f", "é€", "😀"]})"},
    {"HalfOfAPair", R"(return ['\ud83d', '\ude00', '\ud83dx', '\ude00\ud83d'])",
     R"({"value": ["\ufffd", "\ufffd", "\ufffdx", "\ufffd\ufffd"]})"},
    {"KeysThatAreSpecial",
     R"(var o = {}; o[''] = 1; o['a"'] = 2; o['\u00e9'] = 3; o.length = 4; o.toString = 5; return o)",
     R"({"value": {"": 1, "a\"": 2, "é": 3, "length": 4, "toString": 5}})"},
    {"Nested", "return {data: {list: [[], {}, [1, [2]]]}}", R"({"value": {"data": {"list": [[], {}, [1, [2]]]}}})"},
    {"TheInput", "return input", R"({"value": {"bytes": [1, 255], "fPort": 2}})"},
    {"BytesAreAnArray", "return [Array.isArray(input.bytes), input.bytes.slice(1), 'recvTime' in input]",
     R"({"value": [true, [255], false]})"},
    {"SameObjectTwice", "var o = {a: 1}; return [o, o]", R"({"value": [{"a": 1}, {"a": 1}]})"},
    {"InheritedIsLeftOut", "var o = Object.create({a: 1}); o.b = 2; return o", R"({"value": {"b": 2}})"},
    {"HiddenIsLeftOut", "return Object.defineProperty({a: 1}, 'b', {value: 2})", R"({"value": {"a": 1}})"},
    {"SymbolKeyIsLeftOut", "var o = {a: 1}; o[Symbol('s')] = 2; return o", R"({"value": {"a": 1}})"},
    {"ArrayWithMembers", "var a = [1]; a.more = 2; return a", R"({"value": [1]})"},
    {"Boxed", "return [new Number(5), new String('x'), new Boolean(false)]", R"({"value": [5, "x", false]})"},
    {"BoxedNaN", "return [new Number(NaN)]", R"({"value": [null], "special": [{"path": [0], "kind": "NaN"}]})"},
    {"ErrorsAndExpressions", "return [new Error('x'), /a/]", R"({"value": [{}, {}]})"},
    {"Arguments", "return (function () { return arguments; })(7)", R"({"value": {"0": 7}})"},
    {"ErrorsAreNotInterpreted", "return {errors: ['bad'], warnings: [1], data: 2}",
     R"({"value": {"errors": ["bad"], "warnings": [1], "data": 2}})"},
    {"Getter", "return {get a() { return 1; }}", R"({"value": {"a": 1}})"},
    {"Proxy", "return new Proxy({a: 1}, {get: function () { return 2; }})", R"({"value": {"a": 2}})"},
    {"Date", "return [new Date(0), new Date(-1), new Date(8.64e15)]",
     R"({"value": ["1970-01-01T00:00:00.000Z", "1969-12-31T23:59:59.999Z", "+275760-09-13T00:00:00.000Z"]})"},

    {"Undefined", "return undefined", R"({"value": null, "special": [{"path": [], "kind": "undefined"}]})"},
    {"NothingReturned", "return", R"({"value": null, "special": [{"path": [], "kind": "undefined"}]})"},
    {"NaNAtTheTop", "return NaN", R"({"value": null, "special": [{"path": [], "kind": "NaN"}]})"},
    {"NumbersThatAreNone", "return {data: {a: NaN, b: [1, Infinity], c: -Infinity}}",
     R"({"value": {"data": {"a": null, "b": [1, null], "c": null}}, "special": [{"path": ["data", "a"], "kind": "NaN"},
         {"path": ["data", "b", 1], "kind": "Infinity"}, {"path": ["data", "c"], "kind": "-Infinity"}]})"},
    {"UndefinedMembers", "return {a: undefined, b: [undefined, , 1]}",
     R"({"value": {"a": null, "b": [null, null, 1]}, "special": [{"path": ["a"], "kind": "undefined"},
         {"path": ["b", 0], "kind": "undefined"}, {"path": ["b", 1], "kind": "undefined"}]})"},
    {"Functions", "return [function () {}, Math.max, Date]",
     R"({"value": [null, null, null], "special": [{"path": [0], "kind": "function"}, {"path": [1], "kind": "function"},
         {"path": [2], "kind": "function"}]})"},
    {"Symbols", "return [Symbol('a'), Symbol.iterator]",
     R"({"value": [null, null], "special": [{"path": [0], "kind": "symbol"}, {"path": [1], "kind": "symbol"}]})"},
    {"Binary", "return [new Uint8Array(2), new ArrayBuffer(2), new DataView(new ArrayBuffer(1)), new Float64Array(1)]",
     R"({"value": [null, null, null, null], "special": [{"path": [0], "kind": "binary"}, {"path": [1], "kind": "binary"},
         {"path": [2], "kind": "binary"}, {"path": [3], "kind": "binary"}]})"},
    {"InvalidDate", "return {t: new Date(NaN)}",
     R"({"value": {"t": null}, "special": [{"path": ["t"], "kind": "invalid-date"}]})"},
    {"PathWithQuotes", "var o = {}; o['a\"\\u00e9'] = NaN; return o",
     R"({"value": {"a\"é": null}, "special": [{"path": ["a\"é"], "kind": "NaN"}]})"},
    {"BigInt", "return eval('[10n]')", R"({"exception": {"text": "~SyntaxError"}})",
     R"({"value": [null], "special": [{"path": [0], "kind": "bigint"}]})"},

    {"ThrownError", "\n  throw new TypeError('bad')", R"({"exception": {"text": "TypeError: bad", "line": 2}})"},
    {"ThrownWithin", "function deep() {\n  return null.x;\n}\nreturn [1].map(deep)",
     R"({"exception": {"text": "~TypeError: ", "line": 2}})"},
    {"ThrownText", "throw 'text'", R"({"exception": {"text": "text"}})"},
    {"ThrownNumber", "throw 42", R"({"exception": {"text": "42"}})"},
    {"ThrownNothing", "throw undefined", R"({"exception": {"text": "undefined"}})"},
    {"ThrownSymbol", "throw Symbol('s')", R"({"exception": {"text": "a symbol"}})"},
    {"ThrownObject", "throw {message: 'own'}", R"({"exception": {"text": "own"}})"},
    {"ThrownEmptyObject", "throw {}", R"({"exception": {"text": "an object that is no error"}})"},
    {"ThrownThatThrows", "throw {get message() { throw 1; }, toString: function () { throw 2; }}",
     R"({"exception": {"text": "an exception that tells nothing of itself"}})"},
    {"ThrownWithoutText", "var e = new Error(''); e.name = {}; throw e",
     R"({"exception": {"text": "an object that is no error"}})"},
    {"GetterThatThrows", "return {a: 1, get b() { throw new RangeError('in b'); }}",
     R"({"exception": {"text": "RangeError: in b"}})"},
    {"ProxyThatThrows", "return new Proxy({}, {ownKeys: function () { throw new Error('in keys'); }})",
     R"({"exception": {"text": "Error: in keys"}})"},
    {"MissingBuffer", "return Buffer.from(input.bytes)",
     R"({"exception": {"text": "~ReferenceError: ", "line": 1, "missing": "Buffer"}})"},
    {"MissingRequire", "return require('fs')", R"({"exception": {"text": "~ReferenceError: ", "missing": "require"}})"},
    {"MissingConsole", "console.log(1)", R"({"exception": {"text": "~ReferenceError: ", "missing": "console"}})"},
    {"MissingTimer", "setTimeout(function () {}, 1)",
     R"({"exception": {"text": "~ReferenceError: ", "missing": "setTimeout"}})"},
    {"MissingOfTheDecoder", "try { return unknown } catch (e) { return e.name }", R"({"value": "ReferenceError"})"},

    {"Clock", "return [Date.now(), new Date(), new Date().getTime() === +new Date(), new Date(5).getTime()]",
     R"({"value": [1577836800000, "2020-01-01T00:00:00.000Z", true, 5]})"},
    {"ClockAsText", "return typeof Date() === 'string' && Date().indexOf('2020') >= 0", R"({"value": true})"},
    {"ZoneIsUtc", "return [new Date().getTimezoneOffset(), new Date(2020, 6, 1).toISOString(), Date.UTC(2020, 0)]",
     R"({"value": [0, "2020-07-01T00:00:00.000Z", 1577836800000]})"},
    {"DateIsWhole",
     "return [new Date() instanceof Date, Date.prototype.constructor === Date, new Date().constructor === Date,"
     " Date.length, Date.name, Date.parse('1970-01-01T00:00:01Z'), Object.keys(Date)]",
     R"({"value": [true, true, true, 7, "Date", 1000, []]})"},
    {"ClockThroughTheInstance", "return new (new Date().constructor)().getTime()", R"({"value": 1577836800000})"},
    {"ClockThroughReflect", "return Reflect.construct(Date, []).getTime()", R"({"value": 1577836800000})",
     R"({"value": 1577836800000})"},
    {"ClockCannotBeSet", "Date.prototype.constructor = 1; Date.now = 2; return new Date().getTime()",
     R"({"value": 1577836800000})"},
};

INSTANTIATE_TEST_SUITE_P(Values, ResultTest, testing::ValuesIn(VALUES), rowAndRunner);

} // namespace

TEST_P(ResultTest, IsAsExpected) {
    check(GetParam());
}

} // namespace Kelvra::SCADA::Test
