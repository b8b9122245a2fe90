#include "NamedRow.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::Not;

/// A definition that replaces or hides another, with the real runner.
class Effect : public ToolTest {
protected:
    static void define(const StorageBuilder& storage, const std::string& properties, const std::string& examples,
                       const std::string& decoder) {
        writeFile(storage.dir() + "/lora/demo/th1.json", R"({"decoder": "d.js", "properties": )" + properties +
                                                             (examples.empty() ? "" : R"(, "examples": )" + examples) +
                                                             "}");
        writeFile(storage.dir() + "/lora/demo/d.js", decoder);
    }

    ToolRun runWith(const std::vector<std::string>& arguments) const { return runWith(arguments, duktape); }

    ToolRun runWith(std::vector<std::string> arguments, const std::string& runner) const {
        arguments.insert(arguments.end(), {"--codec-runner", runner});
        return run(arguments);
    }

    /// Returns the lines of the dry run that describe the effect.
    std::string effectOf(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments = {"install", temp / "source", "--dry-run", "--allow-overwrite"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        std::string out = runWith(arguments).out;
        const std::size_t heading = out.find("lora/demo/th1: ", out.rfind("\nlora/demo/th1: ") + 1);
        out.erase(0, out.find('\n', heading) + 1);
        return out.substr(0, out.find("1 definition: "));
    }

    std::string duktape = duktapeRunnerIn(temp);
    StorageBuilder source{temp / "source"};
};

std::string decoderOf(const std::string& data) {
    return "function decodeUplink(input) { var b = input.bytes; return " + data + "; }";
}

constexpr const char* CELSIUS = R"({"temperature": {"unit": "°C", "type": "float"}})";
constexpr const char* NORMAL = R"([{"description": "normal report", "input": {"fPort": 1, "bytes": "00D7"},
    "output": {"data": {"temperature": 21.5}}}])";

struct EffectRow : NamedRow {
    const char* properties;
    const char* present; ///< the decoder's result for the bytes 00 d7
    const char* wanted;
    const char* lines; ///< each indented
};

class EffectOnValues : public Effect, public ::testing::WithParamInterface<EffectRow> {};

TEST_P(EffectOnValues, isShownByTheDryRunAndByDiff) {
    define(custom, GetParam().properties, NORMAL, decoderOf(GetParam().present));
    define(source, GetParam().properties, NORMAL, decoderOf(GetParam().wanted));
    EXPECT_EQ(effectOf(), GetParam().lines);
    const ToolRun diff = runWith({"diff", source.dir()});
    EXPECT_THAT(diff.out,
                HasSubstr(std::string(" No newline at end of file\n") + GetParam().lines + "differences in 1"));
    EXPECT_EQ(diff.status, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, EffectOnValues,
    ::testing::Values(
        EffectRow{"number", CELSIUS, "{data: {temperature: b[1] / 10}}", "{data: {temperature: b[1] / 100}}",
                  "    temperature 21.5 °C becomes 2.15 °C in \"normal report\"\n"},
        EffectRow{"no_effect", CELSIUS, "{data: {temperature: b[1] / 10}}", "{data: {temperature: b[1] * 0.1}}", ""},
        EffectRow{"value_appears_and_disappears", CELSIUS, "{data: {temperature: 1}}", "{data: {humidity: 2}}",
                  "    temperature 1 °C disappears in \"normal report\"\n"
                  "    humidity 2 appears in \"normal report\"\n"},
        EffectRow{"text", CELSIUS, "{data: {alarm: 'none'}}", "{data: {alarm: 'fire'}}",
                  "    alarm \"none\" becomes \"fire\" in \"normal report\"\n"},
        EffectRow{"type", CELSIUS, "{data: {a: 1, b: true, c: null}}", "{data: {a: '1', b: 1, c: 0}}",
                  "    a 1 becomes \"1\" in \"normal report\"\n"
                  "    b true becomes 1 in \"normal report\"\n"
                  "    c null becomes 0 in \"normal report\"\n"},
        EffectRow{"nested", CELSIUS, "{data: {a: {b: [1, 2]}}}", "{data: {a: {b: [1, 3]}}}",
                  "    a.b.1 2 becomes 3 in \"normal report\"\n"},
        EffectRow{"not_a_number", CELSIUS, "{data: {temperature: 1}}", "{data: {temperature: 0 / 0}}",
                  "    temperature 1 °C becomes NaN °C in \"normal report\"\n"},
        EffectRow{"still_not_a_number", CELSIUS, "{data: {temperature: 0 / 0}}", "{data: {temperature: NaN}}", ""},
        EffectRow{"error", CELSIUS, "{data: {temperature: 1}}", "{errors: ['too hot']}",
                  "    temperature 1 °C disappears in \"normal report\"\n"
                  "    the error \"too hot\" appears in \"normal report\"\n"},
        EffectRow{"warning", CELSIUS, "{data: {}, warnings: ['old', 'same']}", "{data: {}, warnings: ['same']}",
                  "    the warning \"old\" disappears in \"normal report\"\n"},
        EffectRow{"exception", CELSIUS, "{data: {temperature: 1}}", "nothing.there",
                  "    the exception [ReferenceError: identifier 'nothing' undefined] in place of 1 value in \"normal "
                  "report\"\n"},
        EffectRow{"no_exception_any_more", CELSIUS, "nothing.there", "{data: {}}",
                  "    0 values in place of the exception [ReferenceError: identifier 'nothing' undefined] in \"normal "
                  "report\"\n"},
        EffectRow{"another_exception", CELSIUS, "nothing.there", "other.there", ""},
        EffectRow{"no_result", CELSIUS, "{data: {temperature: 1}}", "5",
                  "    the failure [It returned 5 in place of an object with data or errors.] in place of 1 "
                  "value in \"normal report\"\n"},
        EffectRow{"what_a_terminal_would_obey", CELSIUS, "{data: {}}", "{data: {'\\u001b': '\\u009b'}}",
                  "    \\x1b \"\\xc2\\x9b\" appears in \"normal report\"\n"}),
    rowName);

TEST_F(Effect, changeOfTheUnitAlone) {
    define(custom, CELSIUS, NORMAL, decoderOf("{data: {temperature: b[1] / 10}}"));
    define(source, R"({"temperature": {"unit": "K"}})", NORMAL, decoderOf("{data: {temperature: b[1] / 10}}"));
    EXPECT_THAT(effectOf(), HasSubstr("    temperature 21.5 °C becomes 21.5 K in \"normal report\"\n"));
}

TEST_F(Effect, onTheExamplesOfBoth) {
    define(custom, CELSIUS, R"([{"description": "one", "input": {"fPort": 1, "bytes": [1]}, "output": {"data": {}}},
        {"description": "both", "input": {"fPort": 1, "bytes": [2]}, "output": {"data": {}}}])",
           decoderOf("{data: {t: b[0]}}"));
    define(source, CELSIUS,
           R"([{"description": "the same", "input": {"fPort": 1, "bytes": "02"}, "output": {"data": {}}},
        {"input": {"fPort": 2, "bytes": "02"}, "output": {"data": {}}},
        {"description": "other", "input": {"fPort": 1, "bytes": "03"}, "throws": true},
        {"description": "one", "input": {"fPort": 1, "bytes": "04"}, "output": {"data": {}}}])",
           decoderOf("{data: {t: b[0] * 2}}"));
    EXPECT_EQ(effectOf(), "    t 1 becomes 2 in \"one\"\n    t 2 becomes 4 in \"both\"\n"
                          "    t 2 becomes 4 in \"example 2\"\n    t 3 becomes 6 in \"other\"\n"
                          "    t 4 becomes 8 in \"one (new)\"\n");
}

TEST_F(Effect, ofHidingADefaultDefinition) {
    define(standard, CELSIUS, NORMAL, decoderOf("{data: {temperature: b[1] / 10}}"));
    define(source, CELSIUS, NORMAL, decoderOf("{data: {temperature: b[1]}}"));
    const std::string line = "    temperature 21.5 °C becomes 215 °C in \"normal report\"\n";
    EXPECT_EQ(effectOf(), line);
    ASSERT_EQ(run({"install", source.dir()}).status, 0);
    EXPECT_THAT(runWith({"diff", NAME}).out, HasSubstr(line));
}

TEST_F(Effect, ofOlderEntryPoints) {
    define(custom, CELSIUS, NORMAL, "function Decoder(bytes, port) { return {t: bytes[1] + port}; }");
    define(source, CELSIUS, NORMAL, "function Decode(fPort, bytes) { return {t: bytes[1]}; }");
    EXPECT_EQ(effectOf(), "    t 216 becomes 215 in \"normal report\"\n");
}

TEST_F(Effect, decodersThatCannotBeCalled) {
    const std::string good = decoderOf("{data: {}}");
    define(custom, CELSIUS, NORMAL, "var a = 1;");
    define(source, CELSIUS, NORMAL, good);
    EXPECT_EQ(effectOf(), "    the effect on the values is not known: the present decoder cannot be called: It has no "
                          "function decodeUplink, Decode or Decoder after it has run.\n");
    define(custom, CELSIUS, NORMAL, good);
    define(source, CELSIUS, NORMAL, "throw 'x';");
    EXPECT_THAT(effectOf(), HasSubstr("    the effect on the values is not known: the new decoder cannot be called: "));
}

TEST_F(Effect, withoutExamples) {
    define(custom, CELSIUS, "", decoderOf("{data: {}}"));
    define(source, CELSIUS, "", decoderOf("{data: {a: 1}}"));
    EXPECT_EQ(effectOf(), "    the effect on the values is not known: neither definition has examples\n");
}

// A decoder that never ends costs three calls, not a hundred.
TEST_F(Effect, decoderThatNeverEnds) {
    std::string examples;
    for (int port = 0; port < 100; ++port)
        examples += (port == 0 ? "[" : ",") + std::string(R"({"input": {"fPort": )") + std::to_string(port) +
                    R"(, "bytes": ""}, "output": {"data": {}}})";
    define(custom, CELSIUS, examples + "]", decoderOf("{data: {}}"));
    define(source, CELSIUS, "", "function decodeUplink() { for (;;); }");
    const std::string lines = effectOf();
    EXPECT_THAT(lines,
                HasSubstr(" in place of 0 values in \"example 3\"\n    the effect on the values is not known: too "
                          "many calls gave no result; the other examples are left out\n"));
    EXPECT_THAT(lines, Not(HasSubstr("example 4")));
}

TEST_F(Effect, tooMuchToShow) {
    define(custom, CELSIUS, NORMAL, decoderOf("{data: {}}"));
    define(source, CELSIUS, "",
           decoderOf("(function () { var d = {}; for (var i = 0; i < 1200; ++i) d['v' + i] = i; "
                     "return {data: d}; })()"));
    EXPECT_THAT(effectOf(), HasSubstr("    the effect on the values is not known: too much changes; the other "
                                      "examples are left out\n"));
}

TEST_F(Effect, nothingIsRunWithoutARunnerOrOnDemand) {
    define(custom, CELSIUS, NORMAL, decoderOf("{data: {temperature: 1}}"));
    define(source, CELSIUS, NORMAL, decoderOf("{data: {temperature: 2}}"));
    EXPECT_EQ(effectOf({"--no-codec"}), "");
    EXPECT_THAT(runWith({"diff", source.dir(), "--no-codec"}).out, Not(HasSubstr("becomes")));
    EXPECT_THAT(runWith({"diff", source.dir()}, temp / "none").out, Not(HasSubstr("becomes")));
    EXPECT_THAT(runWith({"install", source.dir(), "--dry-run", "--allow-overwrite"}, temp / "none").out,
                Not(HasSubstr("becomes")));
}

TEST_F(Effect, forPrograms) {
    define(custom, CELSIUS, NORMAL, decoderOf("{data: {temperature: 21.5, a: 0 / 0}, errors: 'x'}"));
    define(source, CELSIUS, NORMAL, decoderOf("{data: {temperature: 2.15}}"));
    const Json::Value expected = parsed(R"({"reason": null, "changes": [
        {"example": "normal report", "change": "value", "path": "a",
            "from": {"value": null, "special": "NaN", "unit": null}, "to": null},
        {"example": "normal report", "change": "value", "path": "temperature",
            "from": {"value": 21.5, "unit": "°C"}, "to": {"value": 2.15, "unit": "°C"}},
        {"example": "normal report", "change": "error", "from": "x", "to": null}]})");
    const ToolRun diff = runWith({"diff", source.dir(), "--json"});
    EXPECT_EQ(parsed(diff.out)["result"]["definitions"][0]["values"], expected);
    const ToolRun dry = runWith({"install", source.dir(), "--dry-run", "--allow-overwrite", "--json"});
    EXPECT_EQ(parsed(dry.out)["result"]["definitions"][0]["values"], expected);
}

// --- the samples

TEST_F(Effect, ofTheSampleUpload) {
    const std::string examples = SCADA_EXAMPLES;
    const ToolRun result = runWith({"install", examples + "/upload", "--dry-run", "--allow-overwrite", "--default-dir",
                                    examples + "/storages/default"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("    activePower 1500 W becomes 1.5 kW in \"normal report\"\n"));
}

} // namespace
