#include "DecoderGenerator.h"

#include <array>

namespace Kelvra::SCADA::Test {

namespace {

// Names of the language, names that a decoder may expect from other environments, and names of the engine itself.
const std::array<const char*, 50> NAMES = {"a",
                                           "b",
                                           "c",
                                           "input",
                                           "this",
                                           "arguments",
                                           "Array",
                                           "ArrayBuffer",
                                           "Boolean",
                                           "DataView",
                                           "Date",
                                           "Error",
                                           "RangeError",
                                           "Float32Array",
                                           "Float64Array",
                                           "Function",
                                           "JSON",
                                           "Math",
                                           "Number",
                                           "Object",
                                           "Proxy",
                                           "Reflect",
                                           "RegExp",
                                           "String",
                                           "Symbol",
                                           "Uint8Array",
                                           "eval",
                                           "isNaN",
                                           "parseInt",
                                           "decodeURI",
                                           "escape",
                                           "globalThis",
                                           "decodeUplink",
                                           "Decode",
                                           "Decoder",
                                           "undefined",
                                           "NaN",
                                           "Infinity",
                                           "Map",
                                           "Promise",
                                           "Duktape",
                                           "Buffer",
                                           "require",
                                           "process",
                                           "console",
                                           "print",
                                           "TextDecoder",
                                           "WeakMap",
                                           "performance",
                                           "module"};

const std::array<const char*, 52> MEMBERS = {
    "length",         "prototype", "constructor", "__proto__",  "toString", "valueOf",     "toJSON",
    "call",           "apply",     "bind",        "bytes",      "fPort",    "recvTime",    "data",
    "errors",         "warnings",  "push",        "pop",        "slice",    "splice",      "sort",
    "concat",         "join",      "map",         "forEach",    "reduce",   "reverse",     "indexOf",
    "replace",        "match",     "split",       "charCodeAt", "toFixed",  "toISOString", "setTime",
    "defineProperty", "freeze",    "keys",        "create",     "parse",    "stringify",   "set",
    "subarray",       "buffer",    "setFloat64",  "getUint16",  "repeat",   "stack",       "fileName",
    "lineNumber",     "0",         "name"};

const std::array<const char*, 32> LITERALS = {"0",
                                              "1",
                                              "-1",
                                              "255",
                                              "1e308",
                                              "4294967295",
                                              "-0",
                                              "0.1",
                                              "'x'",
                                              "''",
                                              "'\\ud800'",
                                              "'\\u0000'",
                                              "'\\\\n'",
                                              R"("\xff")",
                                              "/(a+)+b/",
                                              "/[\\s\\S]{1,9}/g",
                                              "/(?:)/",
                                              "null",
                                              "true",
                                              "false",
                                              "[]",
                                              "{}",
                                              "[1,[2,[3]]]",
                                              "{a:{b:null}}",
                                              "{get t(){throw 1}}",
                                              "{toJSON:0}",
                                              "[,,1]",
                                              "new Date(NaN)",
                                              "new Array(99999)",
                                              "new Uint8Array(65)",
                                              "'return this'",
                                              "{valueOf:function(){return a}}"};

const std::array<const char*, 28> OPERATORS = {
    "+", "-",  "*",  "/", "%",  "<<", ">>",   ">>>",          "&", "|",  "^",  "==", "===", "!=", "<",
    ">", "<=", ">=", ",", "&&", "||", " in ", " instanceof ", "=", "+=", "-=", "**", "|="};

const std::array<const char*, 64> TOKENS = {
    "{",           "}",      "(",         ")",        "[",       "]",       ";",        ",",         ".",
    ":",           "?",      "=>",        "...",      "`",       "${",      "?.",       "??",        "**",
    "'",           "\"",     "\\",        "/",        "//",      "/*",      "*/",       "\n",        "<!--",
    "let ",        "const ", "class ",    "var ",     "async ",  "await ",  "yield ",   "function ", "return ",
    "if",          "else ",  "for",       "of ",      "in ",     "new ",    "delete ",  "typeof ",   "void ",
    "throw ",      "try{",   "catch(a){", "finally{", "switch",  "case ",   "default:", "break ",    "with",
    "get ",        "set ",   "static ",   "extends ", "import ", "export ", "0x",       "1_0",       "'use strict'",
    "\xe2\x80\xa8"};

// With these, only the limits end the process.
const std::array<const char*, 8> ENDLESS = {"while(1);",
                                            "for(;;)b=[b,a];",
                                            "a='x';for(;;)a+=a;",
                                            "(function f(){f()})();",
                                            "a=[];for(;;)a.push(new Array(1000));",
                                            "/(x+x+)+y/.test('xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx');",
                                            "for(;;)try{throw new Error(a)}catch(e){}",
                                            "a={};a.a=a;b=JSON.stringify(a);"};

} // namespace

std::string DecoderGenerator::decoder() {
    switch (number(10)) {
    case 0:
        return tokens();
    case 1:
    case 2:
        return damaged(program());
    default:
        return program();
    }
}

std::string DecoderGenerator::program() {
    const std::array<const char*, 4> entryPoints = {"decodeUplink(input", "decodeUplink(a", "Decode(a,input,b",
                                                    "Decoder(input,a"};
    std::string text = "var a=1,b=[2],c={d:3};" + (number(3) == 0 ? statements(2) : std::string());
    text += "function " + oneOf(entryPoints) + "){" + statements(3);
    if (number(200) == 0)
        text += oneOf(ENDLESS);
    const std::string data = "{a:" + expression(3) + "," + "b:" + expression(2) + "}";
    return text + "return " + (number(4) == 0 ? expression(3) : "{data:" + data + "}") + "}";
}

std::string DecoderGenerator::tokens() {
    std::string text = number(2) == 0 ? "function decodeUplink(input){return {}}\n" : "";
    for (std::size_t left = 1 + number(40); left > 0; --left)
        text += number(3) == 0 ? oneOf(NAMES) + " " : oneOf(TOKENS);
    return text;
}

// The tool reads a decoder as bytes and sends it as text: bytes that are not text never reach the runner.
std::string DecoderGenerator::damaged(std::string text) {
    for (std::size_t left = 1 + number(3); left > 0; --left) {
        const std::size_t at = number(text.size());
        if (number(3) == 0)
            text.erase(at, 1 + number(5));
        else if (number(2) == 0)
            text.insert(at, oneOf(TOKENS));
        else
            text[at] = static_cast<char>(number(128));
        if (text.empty())
            return text;
    }
    return text;
}

std::string DecoderGenerator::statements(int levels) {
    std::string text;
    for (std::size_t left = number(4); left > 0; --left)
        text += statement(levels);
    return text;
}

std::string DecoderGenerator::statement(int levels) {
    const int below = levels - 1;
    if (levels <= 0)
        return expression(1) + ";";
    switch (number(8)) {
    case 0:
        return "if(" + expression(below) + "){" + statements(below) + "}";
    case 1:
        return "for(var i=0;i<" + std::to_string(number(30)) + ";++i){" + statements(below) + "}";
    case 2:
        return "try{" + statements(below) + statement(below) + "}catch(e){" + oneOf(NAMES) + "=e}";
    case 3:
        return "for(var k in " + expression(below) + "){" + statement(below) + "}";
    case 4:
        return "Object.defineProperty(" + expression(below) + ",'" + oneOf(MEMBERS) + "',{get:function(){" +
               statements(below) + "return " + expression(below) + "},configurable:true});";
    case 5:
        return "a=new Proxy({},{" + oneOf(std::array<const char*, 4>{"get", "ownKeys", "has", "set"}) +
               ":function(){return " + expression(below) + "}});";
    default:
        return "try{" + expression(levels) + "}catch(e){};";
    }
}

std::string DecoderGenerator::expression(int levels) {
    const int below = levels - 1;
    if (levels <= 0)
        return number(2) == 0 ? oneOf(NAMES) : literal();
    switch (number(9)) {
    case 0:
        return "(" + expression(below) + oneOf(OPERATORS) + expression(below) + ")";
    case 1:
        return oneOf(NAMES) + member() + "=" + expression(below);
    case 2:
        return expression(below) + member() + "(" + arguments(below) + ")";
    case 3:
        return "new " + oneOf(NAMES) + "(" + arguments(below) + ")";
    case 4:
        return "(function(" + oneOf(std::array<const char*, 2>{"", "a"}) + "){" + statements(below) + "return " +
               expression(below) + "})";
    case 5:
        return "[" + arguments(below) + "]";
    case 6:
        return "{" + oneOf(MEMBERS) + ":" + expression(below) + "}";
    case 7:
        return "(" + expression(below) + ")" + member();
    default:
        return oneOf(NAMES) + member();
    }
}

std::string DecoderGenerator::arguments(int levels) {
    std::string text;
    for (std::size_t left = number(4); left > 0; --left)
        text += expression(levels) + (left > 1 ? "," : "");
    return text;
}

std::string DecoderGenerator::member() {
    return number(4) == 0 ? "[" + literal() + "]" : "['" + oneOf(MEMBERS) + "']";
}

std::string DecoderGenerator::literal() {
    return number(4) == 0 ? std::to_string(static_cast<std::int32_t>(chance())) : oneOf(LITERALS);
}

} // namespace Kelvra::SCADA::Test
