// Attempts of a decoder to change how its result is written, and to reach objects outside the language.

#include "RunnerTest.h"

namespace Kelvra::SCADA::Test {

namespace {

// Function constructors, which are asked for objects outside the decoder.
#define ASKS_OUTSIDE "('return typeof process + typeof require + typeof Duktape')()"
#define NOTHING_OUTSIDE R"({"value": "undefinedundefinedundefined"})"

const ResultRow TRICKS[] = {
    {"to_json_of_all", "Object.prototype.toJSON = function () { return 1; }; return {a: [1]}",
     R"({"value": {"a": [1]}})"},
    {"to_json_of_one", "return {toJSON: 1, a: {toJSON: 2}}", R"({"value": {"toJSON": 1, "a": {"toJSON": 2}}})"},
    {"to_json_of_dates",
     "Date.prototype.toJSON = Date.prototype.toISOString = Date.prototype.getTime = null; return new Date(0)",
     R"({"value": "1970-01-01T00:00:00.000Z"})"},
    {"stringify_replaced", "JSON.stringify = function () { return '{'; }; JSON.parse = null; return [1]",
     R"({"value": [1]})"},
    {"push_replaced", "Array.prototype.push = Array.prototype.join = function () { throw 1; }; return [1, NaN]",
     R"({"value": [1, null], "special": [{"path": [1], "kind": "NaN"}]})"},
    {"iterator_replaced", "Array.prototype[Symbol.iterator] = null; return [1, [2]]", R"({"value": [1, [2]]})"},
    {"text_functions_replaced",
     "String.prototype.charCodeAt = String.prototype.toString = String.prototype.valueOf = null; return ['é\"', new "
     "String('x')]",
     R"({"value": ["é\"", "x"]})"},
    {"number_functions_replaced",
     "Number.prototype.toString = Number.prototype.valueOf = null; return [1.5, new Number(2)]",
     R"({"value": [1.5, 2]})"},
    {"object_functions_replaced",
     "Object.keys = Object.getOwnPropertyDescriptor = Object.prototype.hasOwnProperty = Reflect.ownKeys = null;"
     "Array.isArray = function () { return true; }; return {a: 1}",
     R"({"value": {"a": 1}})"},
    {"function_functions_replaced",
     "Function.prototype.call = Function.prototype.apply = Reflect.apply = null; return {a: [1]}",
     R"({"value": {"a": [1]}})"},
    {"setters_of_indices",
     "Object.defineProperty(Object.prototype, '0', {set: function () { throw 1; }});"
     "Object.defineProperty(Array.prototype, '1', {set: function () { throw 2; }}); return [new Date(0), {b: 3}]",
     R"({"value": ["1970-01-01T00:00:00.000Z", {"b": 3}]})"},
    {"setters_of_the_input",
     "var set = {set: function () { throw 1; }};"
     "Object.defineProperty(Object.prototype, 'bytes', set); Object.defineProperty(Object.prototype, 'fPort', set);"
     "Object.defineProperty(Object.prototype, '0', set); function decodeUplink(input) { return input; }",
     R"({"value": {"bytes": [1, 255], "fPort": 2}})"},
    {"members_of_descriptors", "Object.prototype.value = 7; Object.prototype.writable = 8; return Object.keys({a: 1})",
     R"({"value": ["a"]})"},
    {"prototype_of_the_result", "var o = {a: 1}; Object.setPrototypeOf(o, null); return o", R"({"value": {"a": 1}})"},
    {"prototype_of_arrays", "var a = [1, 2]; Object.setPrototypeOf(a, null); return a", R"({"value": [1, 2]})"},
    {"tag_of_the_class", "var o = {a: 1}; o[Symbol.toStringTag] = 'Date'; return o", R"({"value": {"a": 1}})"},
    {"conversion_to_primitive", "var o = {a: 1}; o[Symbol.toPrimitive] = function () { throw 1; }; return o",
     R"({"value": {"a": 1}})"},
    {"stack_replaced", "var e = new Error('x'); e.stack = {}; throw e", R"({"exception": {"text": "Error: x"}})"},
    {"stack_that_throws",
     "var e = new Error('x'); Object.defineProperty(e, 'stack', {get: function () { throw 1; }}); throw e",
     R"({"exception": {"text": "Error: x"}})"},
    {"error_replaced", "Error = TypeError = 1; Object.prototype.name = 2; return null.x",
     R"({"exception": {"text": "~TypeError: "}})"},

    {"constructor_of_the_input", "return input.constructor.constructor" ASKS_OUTSIDE, NOTHING_OUTSIDE},
    {"constructor_of_the_bytes", "return input.bytes.constructor.constructor" ASKS_OUTSIDE, NOTHING_OUTSIDE},
    {"constructor_of_the_globals", "return this.constructor.constructor" ASKS_OUTSIDE, NOTHING_OUTSIDE},
    {"constructor_of_an_error", "try { null.x } catch (e) { return e.constructor.constructor" ASKS_OUTSIDE " }",
     NOTHING_OUTSIDE},
    {"constructor_of_an_overflow",
     "function f() { f(); } try { f(); } catch (e) { return e.constructor.constructor" ASKS_OUTSIDE " }",
     NOTHING_OUTSIDE},
    {"constructor_of_the_date", "return Date.prototype.constructor.constructor" ASKS_OUTSIDE, NOTHING_OUTSIDE},
    {"function_of_a_text", "return new Function" ASKS_OUTSIDE, NOTHING_OUTSIDE},
    {"eval", "return eval('typeof process + typeof require + typeof Duktape')", NOTHING_OUTSIDE},
    {"indirect_eval", "return (0, eval)('typeof process + typeof require + typeof Duktape')", NOTHING_OUTSIDE},
    {"with", "with (input) { return [fPort, typeof process] }", R"({"value": [2, "undefined"]})"},
    {"caller", "return arguments.callee.caller || null", R"({"value": null})"},
    {"this_is_the_globals", "return [this === globalThis, (function () { return this; })() === globalThis]",
     R"({"value": [true, true]})"},
    {"nothing_beyond_the_language",
     "return ['Duktape', 'CBOR', 'Buffer', 'TextDecoder', 'TextEncoder', 'performance', 'print', 'alert', 'process', "
     "'require',"
     " 'module', 'exports', 'console', 'setTimeout', 'queueMicrotask', 'structuredClone', 'fetch', 'WebAssembly', "
     "'Intl',"
     " 'SharedArrayBuffer', 'Atomics', 'std', 'os'].filter(function (n) { return n in globalThis; })",
     R"({"value": []})"},
    {"no_plain_buffers", "return [typeof Uint8Array.allocPlain, typeof Uint8Array.plainOf]",
     R"({"value": ["undefined", "undefined"]})"},
    {"no_stack_functions", "return typeof Error.captureStackTrace", R"({"value": "undefined"})"},
    {"places_of_the_stack",
     "Error.prepareStackTrace = function (e, places) { return places; }; var s = new Error('x').stack;"
     "return [typeof s, s.constructor.constructor('return typeof process')()]",
     R"({"value": ["string", "undefined"]})"},
    {"stack_at_its_end",
     "var reached = 0, left = 50; function look(e) { try { if (e.constructor.constructor('return typeof process')() !=="
     " 'undefined') reached++; } catch (x) { } } function f() { try { f(); } catch (e) { if (left-- > 0) { look(e);"
     " try { eval('1+'); } catch (x) { look(x); } try { new Error('y').stack; } catch (x) { look(x); } } throw e; } }"
     " try { f(); } catch (e) { } return [reached, left < 0]",
     R"({"value": [0, true]})"},
    {"proxy_of_the_globals", "var p = new Proxy(globalThis, {}); return typeof p.process + typeof p.Duktape",
     R"({"value": "undefinedundefined"})"},
    {"import_in_a_text", "return typeof eval(\"import('fs')\")", R"({"exception": {"text": "~SyntaxError"}})",
     R"({"value": "object"})"},
    {"import_gives_no_functions",
     "var f = 'none'; try { var p = eval(\"import('fs')\"); f = p.constructor; f = f && f.constructor;"
     " f = f ? f('return typeof process')() : 'none'; } catch (e) { f = 'none'; } return f === 'none' || f === "
     "'undefined'",
     R"({"value": true})"},
    {"import_is_never_kept",
     "var seen = []; try { eval(\"import('fs').then(function (m) { seen.push(Object.keys(m)); },"
     " function (e) { seen.push(e.constructor.constructor('return typeof process')()); })\"); } catch (e) { }"
     " function decodeUplink(input) { return seen; }",
     R"({"value": []})"},
    // At the end of the stack a rejection may be an error that does not belong to the decoder's own realm.
    {"rejection_at_the_end_of_the_stack",
     "var left = 3000, foreign = 0, load; try { load = new Function(\"return import('zz')\"); } catch (e) { left = 0; }"
     " function arm(e) { if (e instanceof Error) return; foreign++; var top = e, above;"
     " while ((above = Object.getPrototypeOf(top))) { top = above; } Object.defineProperty(top, 'toJSON', {get: "
     "function ()"
     " { return function () { return {fPort: 99, bytes: [66]}; }; }}); }"
     " function f() { try { f(); } catch (e) { if (left-- > 0) load().then(null, arm); throw e; } }"
     " try { f(); } catch (e) { } function decodeUplink(input) { return [foreign > 0, input.fPort, input.bytes]; }",
     R"({"value": [false, 2, [1, 255]]})", R"({"value": [true, 2, [1, 255]]})"},

    // The engine's environment may call a function that the decoder has placed there to format a stack.
    {"frames_for_the_global_error",
     "var Saved = Error, seen = 'nothing'; try { globalThis.Error = {prepareStackTrace: function (e, frames) {"
     " seen = String(frames.map(function (f) { return f.getFileName(); })); return ''; }}; } catch (e) { }"
     " new Saved('x').stack; function decodeUplink() { return seen; }",
     R"({"value": "nothing"})"},
    {"frames_for_a_redefined_error",
     "var Saved = Error, seen = 'nothing', trap = {prepareStackTrace: function () { seen = 'frames'; return ''; }};"
     " try { Object.defineProperty(globalThis, 'Error', {get: function () { return trap; }}); } catch (e) { }"
     " try { delete globalThis.Error; globalThis.Error = trap; } catch (e) { }"
     " new Saved('x').stack; function decodeUplink() { return seen; }",
     R"({"value": "nothing"})"},
    {"paths_in_a_stack",
     "var whole = String(new Error('x').stack); return /codec-runner|[( ]\\//.test(whole) ? whole : 'none'",
     R"({"value": "none"})"},
};

INSTANTIATE_TEST_SUITE_P(Tricks, ResultTest, testing::ValuesIn(TRICKS), rowAndRunnerName);

} // namespace

} // namespace Kelvra::SCADA::Test
