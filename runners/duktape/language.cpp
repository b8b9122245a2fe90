#include "duktape/language.h"

#include "duktape/holds.h"

#include <array>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr std::array<std::string_view, 51> LANGUAGE = {"Array",
                                                       "ArrayBuffer",
                                                       "Boolean",
                                                       "DataView",
                                                       "Date",
                                                       "Error",
                                                       "EvalError",
                                                       "Float32Array",
                                                       "Float64Array",
                                                       "Function",
                                                       "Infinity",
                                                       "Int16Array",
                                                       "Int32Array",
                                                       "Int8Array",
                                                       "JSON",
                                                       "Math",
                                                       "NaN",
                                                       "Number",
                                                       "Object",
                                                       "Proxy",
                                                       "RangeError",
                                                       "ReferenceError",
                                                       "Reflect",
                                                       "RegExp",
                                                       "String",
                                                       "Symbol",
                                                       "SyntaxError",
                                                       "TypeError",
                                                       "URIError",
                                                       "Uint16Array",
                                                       "Uint32Array",
                                                       "Uint8Array",
                                                       "decodeURI",
                                                       "Uint8ClampedArray",
                                                       "decodeURIComponent",
                                                       "encodeURI",
                                                       "encodeURIComponent",
                                                       "escape",
                                                       "eval",
                                                       "globalThis",
                                                       "isFinite",
                                                       "isNaN",
                                                       "parseFloat",
                                                       "parseInt",
                                                       "undefined",
                                                       "unescape",
                                                       "Map",
                                                       "Set",
                                                       "WeakMap",
                                                       "WeakSet",
                                                       "Promise"};

constexpr std::array<std::string_view, 41> ELSEWHERE = {"Blob",
                                                        "Buffer",
                                                        "DOMParser",
                                                        "TextDecoder",
                                                        "TextEncoder",
                                                        "URL",
                                                        "URLSearchParams",
                                                        "WebAssembly",
                                                        "WebSocket",
                                                        "Worker",
                                                        "XMLHttpRequest",
                                                        "__dirname",
                                                        "__filename",
                                                        "alert",
                                                        "atob",
                                                        "btoa",
                                                        "cancelAnimationFrame",
                                                        "clearImmediate",
                                                        "clearInterval",
                                                        "clearTimeout",
                                                        "console",
                                                        "crypto",
                                                        "define",
                                                        "document",
                                                        "exports",
                                                        "fetch",
                                                        "global",
                                                        "importScripts",
                                                        "localStorage",
                                                        "module",
                                                        "msg",
                                                        "navigator",
                                                        "performance",
                                                        "print",
                                                        "process",
                                                        "queueMicrotask",
                                                        "require",
                                                        "self",
                                                        "setInterval",
                                                        "setTimeout",
                                                        "window"};

void removeFrom(duk_context* context, const char* owner, const char* name) {
    duk_get_global_string(context, owner);
    duk_del_prop_string(context, -1, name);
    duk_pop(context);
}

} // namespace

void keepToLanguage(duk_context* context) {
    duk_push_global_object(context);
    duk_enum(context, -1, DUK_ENUM_OWN_PROPERTIES_ONLY | DUK_ENUM_INCLUDE_NONENUMERABLE);
    while (duk_next(context, -1, 0) != 0) {
        if (holds(LANGUAGE, duk_get_string(context, -1)))
            duk_pop(context);
        else
            duk_del_prop(context, -3);
    }
    duk_pop_2(context);
    removeFrom(context, "Uint8Array", "allocPlain");
    removeFrom(context, "Uint8Array", "plainOf");
}

bool isNewerObject(std::string_view name) {
    constexpr std::array<std::string_view, 8> NEWER = {"BigInt", "BigInt64Array", "Map",     "Promise",
                                                       "Set",    "WeakMap",       "WeakRef", "WeakSet"};
    return holds(NEWER, name);
}

bool isNewerFunction(std::string_view name) {
    constexpr std::array<std::string_view, 43> NEWER = {"acosh",
                                                        "asinh",
                                                        "at",
                                                        "atanh",
                                                        "cbrt",
                                                        "copyWithin",
                                                        "cosh",
                                                        "entries",
                                                        "expm1",
                                                        "fill",
                                                        "find",
                                                        "findIndex",
                                                        "findLast",
                                                        "flat",
                                                        "flatMap",
                                                        "from",
                                                        "fround",
                                                        "fromEntries",
                                                        "getOwnPropertyDescriptors",
                                                        "hasOwn",
                                                        "imul",
                                                        "includes",
                                                        "isFinite",
                                                        "isInteger",
                                                        "isNaN",
                                                        "isSafeInteger",
                                                        "keys",
                                                        "log1p",
                                                        "matchAll",
                                                        "of",
                                                        "padEnd",
                                                        "padStart",
                                                        "parseFloat",
                                                        "parseInt",
                                                        "raw",
                                                        "repeat",
                                                        "replaceAll",
                                                        "sinh",
                                                        "tanh",
                                                        "trimEnd",
                                                        "trimStart",
                                                        "trunc",
                                                        "values"};
    return holds(NEWER, name);
}

bool isKnownElsewhere(std::string_view name) {
    return holds(ELSEWHERE, name);
}

} // namespace Kelvra::SCADA::Codec
