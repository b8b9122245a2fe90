// Decoders as check and install run them: faults of the decoders and of the program that runs them.

#include "DecoderTest.h"
#include "NamedRow.h"
#include "decoder_plants.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

// --- the program that runs decoders

/// The behaviour of a runner, and the text of the finding; there is none if the text is empty.
struct RunnerRow : NamedRow {
    const char* script; ///< "LOADED" stands for the answer to a decoder, "GOOD" for one to a call
    const char* rule;
    const char* text;
};

constexpr const char* GOOD_RESULTS = R"({"results": [{"value": {"data": {"t": 1}}}]})";
constexpr const char* TWO_EXAMPLES = R"([
{"description": "one", "input": {"fPort": 1, "bytes": "01"}, "output": {"data": {"t": 1}}},
{"description": "two", "input": {"fPort": 1, "bytes": "01"}, "output": {"data": {"t": 1}}}])";

std::string scriptOf(const RunnerRow& row) {
    const std::string loaded = "read -r line; echo '" + std::string(LOADED_DECODER) + "'";
    const std::string good = "read -r line; echo '" + std::string(GOOD_RESULTS) + "'";
    return replaced(replaced(row.script, "LOADED", loaded), "GOOD", good) + "\n";
}

class OtherRunner : public DecoderTest, public ::testing::WithParamInterface<RunnerRow> {};

TEST_P(OtherRunner, isJudgedAndNeverTrusted) {
    addDecoder("a", "// none", R"({"t": {}})", TWO_EXAMPLES);
    writeRunnerScript(temp.path(), scriptOf(GetParam()));
    const ToolRun result = runWith({"check", "--codec-runner", temp / "runner", "--codec-time", "0.05", "--json"});
    const Json::Value findings = parsed(result.out)["result"]["findings"];
    if (*GetParam().rule == '\0') {
        EXPECT_TRUE(findings.empty()) << result.out;
        EXPECT_EQ(result.status, 0);
        return;
    }
    ASSERT_EQ(findings.size(), 1U) << result.out;
    EXPECT_EQ(findings[0]["rule"].asString(), GetParam().rule);
    EXPECT_EQ(findings[0]["text"].asString(), GetParam().text);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
}

constexpr const char* FAULT = "codec/runner-fault";

INSTANTIATE_TEST_SUITE_P(
    Tool, OtherRunner,
    ::testing::Values(
        RunnerRow{"sound", "LOADED; GOOD; GOOD", "", ""},
        RunnerRow{"late", "LOADED; sleep 0.3; GOOD; sleep 0.3; GOOD", "", ""},
        RunnerRow{"ends_at_once", "exit 4", FAULT, "The runner [$T/runner] failed: it ended with status 4"},
        RunnerRow{"is_killed", "read -r line; kill -KILL $$", FAULT,
                  "The runner [$T/runner] failed: it was ended by SIGKILL"},
        RunnerRow{"ends_in_a_call", "LOADED; read -r line; exit 5", FAULT,
                  "In \"one\": The runner [$T/runner] failed: it ended with status 5"},
        RunnerRow{"ends_in_the_second_call", "LOADED; GOOD; read -r line; exit 6", FAULT,
                  "In \"two\": The runner [$T/runner] failed: it ended with status 6"},
        RunnerRow{"says_half_a_line", "LOADED; read -r line; printf '{\"results\":'", FAULT,
                  "In \"one\": The runner [$T/runner] failed: it ended with status 0"},
        RunnerRow{"closes_its_output", "LOADED; read -r line; exec >/dev/null; sleep 20", FAULT,
                  "In \"one\": The runner [$T/runner] failed: it closed its output"},
        RunnerRow{"says_garbage", "echo hello", FAULT,
                  "The runner [$T/runner] failed: its answer is not a JSON object"},
        RunnerRow{"says_a_list", "echo '[]'", FAULT, "The runner [$T/runner] failed: its answer is not a JSON object"},
        RunnerRow{"has_another_version", "echo '{\"version\": 2, \"loaded\": true, \"results\": []}'", FAULT,
                  "The runner [$T/runner] failed: its answer has no good member \"version\""},
        RunnerRow{"has_a_foreign_entry_point",
                  "echo '{\"version\": 1, \"loaded\": true, \"entryPoint\": \"main\", \"results\": []}'", FAULT,
                  "The runner [$T/runner] failed: its answer has no good member \"entryPoint\""},
        RunnerRow{"has_no_exception", "echo '{\"version\": 1, \"loaded\": false, \"results\": []}'", FAULT,
                  "The runner [$T/runner] failed: its answer has no good member \"exception\""},
        RunnerRow{"has_no_result", "LOADED; read -r line; echo '{\"results\": []}'", FAULT,
                  "In \"one\": The runner [$T/runner] failed: its answer has no good member \"results\""},
        RunnerRow{"has_two_results", "LOADED; read -r line; echo '{\"results\": [{\"value\": 1}, {\"value\": 1}]}'",
                  FAULT, "In \"one\": The runner [$T/runner] failed: its answer has no good member \"results\""},
        RunnerRow{"has_a_number_as_result", "LOADED; read -r line; echo '{\"results\": [1]}'", FAULT,
                  "In \"one\": The runner [$T/runner] failed: its answer has no good member \"results\""},
        RunnerRow{"has_an_unknown_limit", "LOADED; read -r line; echo '{\"results\": [{\"limit\": \"x\"}]}'", FAULT,
                  "In \"one\": The runner [$T/runner] failed: its answer has no good member \"results\""},
        RunnerRow{"has_a_bad_special",
                  "LOADED; read -r line; echo '{\"results\": [{\"value\": 1, \"special\": [{\"path\": 5}]}]}'", FAULT,
                  "In \"one\": The runner [$T/runner] failed: its answer has no good member \"results\""},
        RunnerRow{"says_more_than_asked",
                  "LOADED; read -r line; printf '%s\\n{}\\n' '{\"results\": [{\"value\": {\"data\": {\"t\": 1}}}]}'; "
                  "sleep 20",
                  FAULT, "In \"two\": The runner [$T/runner] failed: it answered more than it was asked"},
        RunnerRow{"nests_deeply", "LOADED; read -r line; head -c 5000 /dev/zero | tr '\\0' '['; echo; sleep 20", FAULT,
                  "In \"one\": The runner [$T/runner] failed: its answer is nested too deeply"},
        RunnerRow{"says_a_long_line", "LOADED; read -r line; head -c 9000000 /dev/zero | tr '\\0' 'x'; sleep 20", FAULT,
                  "In \"one\": The runner [$T/runner] failed: it answered with more than 131072 bytes"},
        RunnerRow{"sleeps", "LOADED; read -r line; exec sleep 20", FAULT,
                  "In \"one\": The runner [$T/runner] failed: it did not answer"},
        RunnerRow{"runs_out_of_memory", "read -r line; exit 3", "codec/over-limit",
                  "While it is loaded: It needs more memory than 16777216 bytes."}),
    rowName);

// Pipes hold less than this decoder; the answers come before it has been read.
TEST_F(DecoderTest, waitsForNoRunnerThatDoesNotRead) {
    addDecoder("a", std::string(1000000, ' '), R"({"t": {}})");
    writeRunnerScript(temp.path(), "echo '" + std::string(LOADED_DECODER) + "'\nsleep 20\n");
    const auto begin = std::chrono::steady_clock::now();
    const ToolRun result = runWith({"check", "--codec-runner", temp / "runner"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(DecoderTest, tellsWhyARunnerCannotBeStarted) {
    addDecoder("a", "// none", "{}");
    writeFile(temp / "runner", "#!/bin/sh\n");
    const ToolRun result = runWith({"check", "--codec-runner", temp / "runner"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, withRemedies("$T/default/lora/demo/a.js: error: The runner [$T/runner] failed: it cannot be "
                                       "started: Permission denied [codec/runner-fault]\n"
                                       "1 fault in 1 definition and 0 list elements\n"));
}

TEST_F(DecoderTest, saysOnceThatThereIsNoRunner) {
    for (const char* name : {"a", "b", "c"})
        addDecoder(name, "no decoder", SOUND_PROPERTIES);
    const ToolRun result = runWith({"check", "--codec-runner", temp / "none"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, withRemedies("$T/none: note: There is no such program, so that no decoder was "
                                       "run. [codec/no-runner]\n"
                                       "0 faults in 3 definitions and 0 list elements\n"));
}

TEST_F(DecoderTest, saysNothingOfARunnerWhereThereIsNoDecoder) {
    standard.definition("lora/demo/a", R"({"properties": {}})");
    EXPECT_EQ(runWith({"check", "--codec-runner", temp / "none"}).out,
              "0 faults in 1 definition and 0 list elements\n");
}

// --- the process for the next decoder, which starts in advance

class ManyDecoders : public DecoderTest {
protected:
    static constexpr const char* ONE_EXAMPLE =
        R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"data": {"x": "undefined"}}}])";

    std::string countOfProcesses() const {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
            std::ifstream words(entry.path() / "cmdline");
            const std::string line((std::istreambuf_iterator<char>(words)), std::istreambuf_iterator<char>());
            count += line.find(temp.path()) != std::string::npos ? 1 : 0;
        }
        return std::to_string(count) + " processes";
    }
};

TEST_F(ManyDecoders, seeNothingOfEachOther) {
    for (const char* name : {"a", "b", "c", "d"})
        addDecoder(name,
                   "var found = typeof shared; shared = 1; Object.prototype.shared = 1;\n"
                   "function decodeUplink(i) { return {data: {x: found}}; }",
                   R"({"x": {}})", ONE_EXAMPLE);
    EXPECT_EQ(runWith({"check"}).out, "0 faults in 4 definitions and 0 list elements\n");
}

TEST_F(ManyDecoders, areAllToldOfARunnerThatEndsBeforeItIsAsked) {
    for (const char* name : {"a", "b", "c", "d"})
        addDecoder(name, "// none", "{}");
    writeRunnerScript(temp.path(), "exit 4");
    const std::string out = runWith({"check", "--codec-runner", temp / "runner"}).out;
    for (const char* name : {"a", "b", "c", "d"})
        EXPECT_THAT(out, HasSubstr(std::string("/") + name +
                                   ".js: error: The runner [$T/runner] failed: it ended with "
                                   "status 4 [codec/runner-fault]\n"));
}

TEST_F(ManyDecoders, leaveNoProcess) {
    for (const char* name : {"a", "b", "c", "d"})
        addDecoder(name, "// none", "{}");
    writeRunnerScript(temp.path(), "read -r line || sleep 60\necho '" + std::string(LOADED_DECODER) + "'\nsleep 60\n");
    EXPECT_EQ(runWith({"check", "--codec-runner", temp / "runner"}).status, 0);
    // The tool kills all of them but waits only for the runner; what that started ends a moment later.
    for (int turns = 0; turns < 500 && countOfProcesses() != "0 processes"; ++turns)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(countOfProcesses(), "0 processes");
}

// --- the walls

class Walls : public DecoderTest {
protected:
    /// Returns the output of a shell command that runs as a runner.
    std::string printedBy(const std::string& command) {
        addDecoder("a", "// none", "{}");
        writeRunnerScript(temp.path(), "read -r line; echo '" + std::string(LOADED_DECODER) + "'\nread -r line\n" +
                                           R"(printf '{"results": [{"value": {"data": {"x": "%s"}}}]}\n' "$({ )" +
                                           command + "; } 2>&1 | tr '\\n\"' '; ')\"\n");
        const ToolRun result = runWith({"decode", "--definition", "lora/demo/a", "--port", "1", "00", "--json",
                                        "--codec-runner", temp / "runner"});
        return parsed(result.out)["result"]["values"][0]["value"].asString();
    }
};

TEST_F(Walls, hideTheEnvironment) {
    setenv("SCADA_SECRET", "x", 1);
    const std::string printed = printedBy("tr '\\0' '\\n' < /proc/$$/environ");
    unsetenv("SCADA_SECRET");
    EXPECT_EQ(printed, "TZ=UTC;PATH=/usr/sbin:/usr/bin:/sbin:/bin;");
}

TEST_F(Walls, leaveThreeDescriptors) {
    EXPECT_EQ(printedBy("ls /proc/self/fd"), "0;1;2;3;"); // the last one belongs to ls itself
}

TEST_F(Walls, leaveNoDirectory) {
    EXPECT_EQ(printedBy("pwd"), "/;");
}

TEST_F(Walls, leaveNoFileToWrite) {
    EXPECT_EQ(printedBy("ulimit -f; ulimit -c; ulimit -n"), "0;0;64;");
}

TEST_F(Walls, giveNoNewPrivileges) {
    EXPECT_THAT(printedBy("while read -r name value; do echo $name $value; done < /proc/$$/status"),
                HasSubstr(";NoNewPrivs: 1;"));
}

TEST_F(Walls, takeTheRightsOfRoot) {
    const std::string user = std::to_string(getuid() == 0 ? 65534 : getuid());
    const std::string group = std::to_string(getuid() == 0 ? 65534 : getgid());
    EXPECT_EQ(printedBy("id -u; id -g"), user + ";" + group + ";");
    if (getuid() == 0) {
        EXPECT_EQ(printedBy("id -G"), "65534;");
    }
}

// --- decoders

/// A decoder, and the only finding on the examples of a source with it.
struct DecoderRow : NamedRow {
    const char* script;
    const char* finding; ///< as the tool prints it, up to the engine's own words
};

class FaultyDecoder : public DecoderTest, public ::testing::WithParamInterface<DecoderRow> {
protected:
    FaultyDecoder() {
        addDecoder("a", GetParam().script, SOUND_PROPERTIES,
                   R"([
    {"description": "normal", "input": {"fPort": 1, "bytes": "d7 32"}, "output": {"data": {"t": 21.5, "b": 50}}},
    {"description": "short", "input": {"fPort": 1, "bytes": [1]}, "output": {"errors": "expected 2 bytes"}}])");
    }
};

TEST_P(FaultyDecoder, isFoundWithFileAndLine) {
    const ToolRun result = runWith({"check", "--codec-time", "0.2"});
    EXPECT_EQ(result.out.substr(0, std::string(GetParam().finding).size()), GetParam().finding);
    EXPECT_THAT(result.out, HasSubstr("\n1 fault in 1 definition"));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(runWith({"check", "--no-codec"}).status, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Duktape, FaultyDecoder,
    ::testing::Values(
        DecoderRow{"cut_off", "function decodeUplink(i) {\n  var x =\n",
                   "$T/default/lora/demo/a.js:3: error: It does not load: SyntaxError"},
        DecoderRow{"without_entry_point", "function decode(i) {}\n",
                   "$T/default/lora/demo/a.js:1:1: error: It has no function decodeUplink, Decode or Decoder"},
        DecoderRow{"other_factor",
                   "function decodeUplink(i) { if (i.bytes.length != 2) return {errors: 'expected 2 bytes'};\n"
                   "return {data: {t: i.bytes[0] / 100, b: i.bytes[1]}}; }",
                   "$T/default/lora/demo/a.json:4:5: error: In \"normal\": \"t\" is 2.15 and should be 21.5. "
                   "[codec/example-differs]"},
        DecoderRow{"throws",
                   "function decodeUplink(i) {\n  if (i.bytes.length != 2) return {errors: 'expected 2 bytes'};\n"
                   "  return {data: {t: i.bytes[0] / 10, b: battery(i)}};\n}",
                   "$T/default/lora/demo/a.js:3: error: In \"normal\": It threw an exception: ReferenceError"},
        DecoderRow{"asks_for_more",
                   "function decodeUplink(i) {\n  if (i.bytes.length != 2) return {errors: 'expected 2 bytes'};\n"
                   "\n  return {data: {t: Buffer.from(i.bytes)[0]}};\n}",
                   "$T/default/lora/demo/a.js:4: error: In \"normal\": It asks for \"Buffer\", which is not offered"},
        DecoderRow{"not_a_number",
                   "function decodeUplink(i) { if (i.bytes.length != 2) return {errors: 'expected 2 bytes'};\n"
                   "return {data: {t: i.none / 10, b: i.bytes[1]}}; }",
                   "$T/default/lora/demo/a.json:4:5: error: In \"normal\": \"t\" is NaN, which is not a value."},
        DecoderRow{"endless_in_one_call",
                   "function decodeUplink(i) { while (i.bytes.length == 2); return {errors: 'expected 2 bytes'}; }",
                   "$T/default/lora/demo/a.json:4:5: error: In \"normal\": It takes more than 0.2 s of CPU time."},
        DecoderRow{"returns_nothing",
                   "function decodeUplink(i) { if (i.bytes.length != 2) return {errors: 'expected 2 bytes'}; }",
                   "$T/default/lora/demo/a.json:4:5: error: In \"normal\": It returned undefined in place of"}),
    rowName);

TEST_F(DecoderTest, findsAValueOfAnotherTypeBesideTheDifference) {
    addDecoder("a", "function Decoder(bytes, port) { return {b: bytes[0] / port}; }", SOUND_PROPERTIES,
               R"([{"input": {"fPort": 2, "bytes": "03"}, "output": {"data": {"b": 1.5}}}])");
    EXPECT_EQ(runWith({"check"}).out,
              withRemedies("$T/default/lora/demo/a.json:3:14: error: In \"example 1\": \"b\" is 1.5, which is not of "
                           "the type uint32. [codec/value-type]\n"
                           "$T/default/lora/demo/a.json:2:21: note: No example has a value for \"t\". "
                           "[codec/never-seen]\n"
                           "1 fault in 1 definition and 0 list elements\n"));
}

TEST_F(DecoderTest, endsWhereTooManyCallsTakeTooLong) {
    std::string examples = "[";
    for (int number = 0; number < 25; ++number)
        examples += std::string(number == 0 ? "" : ",") + R"({"input": {"fPort": 2, "bytes": ""}, "throws": true})";
    addDecoder("a", "function decodeUplink(i) { while (true); }", "{}", examples + "]");
    const std::string out = runWith({"--codec-time", "0.02", "check"}).out;
    const auto countOf = [&out](const std::string& text) {
        int count = 0;
        for (std::size_t at = out.find(text); at != std::string::npos; at = out.find(text, at + 1))
            ++count;
        return count;
    };
    EXPECT_EQ(countOf("It takes more than 0.02 s of CPU time."), 5);
    EXPECT_EQ(countOf("It was not run: too many calls before it took too much time."), 20);
}

TEST_F(DecoderTest, accusesNoCallBehindOneThatTookTooMuchMemory) {
    addDecoder("a",
               "var kept = [];\nfunction decodeUplink(i) {\n  while (i.fPort == 2) kept.push('x' + kept.length);\n"
               "  return {data: {}};\n}",
               "{}",
               R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {}}},
                   {"input": {"fPort": 1, "bytes": ""}, "output": {"data": {}}}])");
    const ToolRun result = runWith({"--codec-memory", "4M", "--codec-time", "30", "check"});
    EXPECT_THAT(result.out, HasSubstr("In \"example 1\": It needs more memory than 4194304 bytes."));
    EXPECT_THAT(result.out, HasSubstr("\n1 fault in 1 definition"));
}

TEST_F(DecoderTest, findsWhatIsNoValueInAListThatIsAProperty) {
    addDecoder("a", "function decodeUplink(i) { return {data: {l: [NaN, 5]}}; }", R"({"l": {}})",
               R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {"l": [7, 5]}}}])");
    EXPECT_THAT(runWith({"check"}).out, HasSubstr("\"l\" is NaN, which is not a value."));
}

TEST_F(DecoderTest, takesLittleMemoryForALongDescription) {
    addDecoder(
        "a",
        "function decodeUplink(i) { var d = {}; for (var n = 0; n < 6000; ++n) d['x' + n] = n; return {data: d}; }",
        "{}",
        R"([{"description": ")" + std::string(900000, 'd') +
            R"(", "input": {"fPort": 2, "bytes": ""}, "output": {"data": {}}}])");
    const std::string out = runWith({"check"}).out;
    EXPECT_LT(out.size(), 10U * 1000 * 1000);
    EXPECT_THAT(out, HasSubstr("In \"" + std::string(120, 'd') + "\": "));
}

TEST_F(DecoderTest, countsANeedForNewerFunctionsAsNoFault) {
    for (const char* expression : {"[1].includes(1)", "'a'.padStart(2)", "Object.entries({})", "new Map()"}) {
        addDecoder("a", std::string("function decodeUplink(i) {\n  return {data: {x: ") + expression + "}};\n}", "{}",
                   R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {}}}])");
        const ToolRun result = runWith({"check"});
        EXPECT_EQ(result.status, 0) << result.out;
        EXPECT_THAT(result.out, HasSubstr("/a.js:2: note: In \"example 1\": It asks for \""));
        EXPECT_THAT(result.out, HasSubstr("\" of newer JavaScript: "));
    }
}

TEST_F(DecoderTest, countsAFunctionThatIsMissingAsAFault) {
    addDecoder("a", "var o = {};\nfunction decodeUplink(i) { return {data: {x: o.find(1)}}; }", "{}",
               R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {}}}])");
    EXPECT_THAT(runWith({"check"}).out, HasSubstr("[codec/threw]"));
}

TEST_F(DecoderTest, countsANeedForNewerJavaScriptAsNoFault) {
    addDecoder("a", "var x = 1;\nvar decodeUplink = (input) => ({data: {}});\n", "{}");
    const ToolRun result = runWith({"check"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("/a.js:2: note: It needs newer JavaScript than duktape"));
    EXPECT_THAT(result.out, HasSubstr("\"=>\". The rest was not read. [codec/needs-newer]\n"));
}

TEST_F(DecoderTest, namesNestedValuesByTheirPaths) {
    addDecoder(
        "a", "function decodeUplink(i) { return {data: {a: {b: 1}, l: [{c: 2}, 3], w: {x: 1}}}; }",
        R"({"a.b": {"type": "int32"}, "l.0.c": {"type": "bool"}, "w": {}})",
        R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {"a": {"b": 1}, "l": [{"c": 2}, 3], "w": {"x": 1}}}}])");
    EXPECT_EQ(runWith({"check"}).out,
              withRemedies("$T/default/lora/demo/a.json:3:14: error: In \"example 1\": \"l.0.c\" is 2, which is not of "
                           "the type bool. [codec/value-type]\n"
                           "$T/default/lora/demo/a.json:3:14: note: In \"example 1\": The definition has no property "
                           "\"l.1\". [codec/undeclared]\n"
                           "1 fault in 1 definition and 0 list elements\n"));
}

TEST_F(DecoderTest, takesNumbersThatDifferByABillionth) {
    addDecoder("a", "function decodeUplink(i) { return {data: {t: 0.1 + 0.2, b: 3000000000}}; }",
               R"({"t": {"type": "float"}, "b": {"type": "uint32"}})",
               R"([{"input": {"fPort": 2, "bytes": ""}, "output": {"data": {"t": 0.3, "b": 3000000001}}}])");
    EXPECT_EQ(runWith({"check"}).out, "0 faults in 1 definition and 0 list elements\n");
}

// --- examples

/// Examples that cannot be read, and the finding.
struct ExampleRow : NamedRow {
    const char* examples;
    const char* place;
    const char* text;
};

class BadExample : public DecoderTest, public ::testing::WithParamInterface<ExampleRow> {};

TEST_P(BadExample, isNamedWithItsPlace) {
    addDecoder("a", SOUND_DECODER, "{}", GetParam().examples);
    EXPECT_EQ(runWith({"check"}).out,
              withRemedies(std::string("$T/default/lora/demo/a.json:") + GetParam().place + ": error: " +
                           GetParam().text + " [codec/bad-example]\n1 fault in 1 definition and 0 list elements\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, BadExample,
    ::testing::Values(
        ExampleRow{"no_list", "{}", "3:13", "The examples must be a list of at most 1000 objects."},
        ExampleRow{"no_object", "[\n5]", "4:1", "An example must be an object."},
        ExampleRow{"description_of_a_number", R"([{"description": 5}])", "3:30", "The description must be a text."},
        ExampleRow{"no_input", R"([{"output": {}}])", "3:14", "An example needs an object \"input\"."},
        ExampleRow{"port_of_a_text", R"([{"input": {"fPort": "1"}}])", "3:34",
                   "The port must be a number from 0 to 255."},
        ExampleRow{"half_a_byte", R"([{"input": {"fPort": 1, "bytes": "0"}}])", "3:46",
                   "The bytes must be a list of numbers from 0 to 255 or a text of hexadecimal digits."},
        ExampleRow{"large_byte", R"([{"input": {"fPort": 1, "bytes": [256]}}])", "3:46",
                   "The bytes must be a list of numbers from 0 to 255 or a text of hexadecimal digits."},
        ExampleRow{"no_such_day", R"([{"input": {"fPort": 1, "bytes": "", "recvTime": "2023-02-29T00:00:00Z"}}])",
                   "3:62", "The time must be a text such as 2024-05-01T10:00:00Z."},
        ExampleRow{"neither_output_nor_exception", R"([{"input": {"fPort": 1, "bytes": ""}}])", "3:14",
                   "An example needs an output, which is an object, or \"throws\": true."},
        ExampleRow{"output_without_anything", R"([{"input": {"fPort": 1, "bytes": ""}, "output": {}}])", "3:61",
                   "The output needs data or errors."},
        ExampleRow{"errors_of_numbers", R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"errors": [1]}}])", "3:72",
                   "Warnings and errors must be lists of texts."}),
    rowName);

// One long name counts for each element of a list below it.
class LongPath : public DecoderTest, public ::testing::WithParamInterface<int> {
protected:
    const std::string name = std::string(static_cast<std::size_t>(GetParam() - 2), 'n');
    const std::string data = R"({")" + name + R"(": [1, 2]})";
    const std::string example = R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"data": )" + data + "}}]";
    const std::string property = "{\"" + name + "\": {}}";
};

TEST_P(LongPath, isRefusedInAnExample) {
    addDecoder("a", SOUND_DECODER, property, example);
    EXPECT_EQ(runWith({"check"}).out.find("The output has a value with a path of more than 255 bytes.") ==
                  std::string::npos,
              GetParam() <= 255);
}

TEST_P(LongPath, isRefusedInAResult) {
    addDecoder("a", "function decodeUplink(i) { return {data: " + data + "}; }", property,
               R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"errors": ["e"]}}])");
    EXPECT_EQ(runWith({"check"}).out.find("It returned a value with a path of more than 255 bytes.") ==
                  std::string::npos,
              GetParam() <= 255);
}

INSTANTIATE_TEST_SUITE_P(Tool, LongPath, ::testing::Values(255, 256));

TEST_F(DecoderTest, refusesTwoValuesOfOnePath) {
    for (const char* data : {"{t: {x: 99}, 't.x': 5}", "{'t.x': 5, t: {x: 99}}", "{l: [99], 'l.0': 5}"}) {
        addDecoder("a", std::string("function decodeUplink(i) { return {data: ") + data + "}; }", "{}",
                   R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"data": {"t": {"x": 5}, "l": [5]}}}])");
        EXPECT_THAT(runWith({"check"}).out, HasSubstr("It returned two values with the path [")) << data;
    }
}

// Halves of characters are no UTF-8: each becomes the same other character.
TEST_F(DecoderTest, refusesTwoValuesOfOneName) {
    for (const char* data : {"{'\\ud800': 1, '\\ud801': 2}", "{a: [{'x\\udc00': 1, 'x\\udc01': 1}]}"}) {
        addDecoder("a", std::string("function decodeUplink(i) { return {data: ") + data + "}; }", "{}",
                   R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"data": {"\ufffd": 2}}}])");
        EXPECT_THAT(runWith({"check"}).out, HasSubstr("It returned two values with the name [")) << data;
    }
}

TEST_F(DecoderTest, refusesMoreValuesThanAnUplinkCanHave) {
    for (const int count : {9999, 10000}) {
        addDecoder("a",
                   "function decodeUplink(i) { var a = []; for (var n = 0; n < " + std::to_string(count) +
                       "; ++n) a.push(0); return {data: {a: a}}; }",
                   R"({"a": {}})", R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"errors": ["e"]}}])");
        const bool isRefused = runWith({"check"}).out.find("It returned more than 10000 values.") != std::string::npos;
        EXPECT_EQ(isRefused, count > 9999);
    }
}

TEST_F(DecoderTest, refusesAnExampleWithTwoValuesOfOnePath) {
    addDecoder("a", SOUND_DECODER, "{}",
               R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"data": {"t": {"x": 5}, "t.x": 6}}}])");
    EXPECT_THAT(runWith({"check"}).out, HasSubstr("The output has two values with the path [t.x]."));
}

TEST_F(DecoderTest, leavesExamplesOutBehindTooManyFindings) {
    addDecoder("a",
               "function decodeUplink(i) { var d = {}; for (var k = 0; k < 600; ++k) d['n' + i.fPort + '_' + k] = 1;\n"
               "return {data: d}; }",
               "{}",
               R"([{"input": {"fPort": 1, "bytes": ""}, "output": {"errors": "e"}},
                   {"input": {"fPort": 2, "bytes": ""}, "output": {"errors": "e"}},
                   {"input": {"fPort": 3, "bytes": ""}, "output": {"errors": "e"}}])");
    const std::string found = runWith({"check"}).out;
    EXPECT_NE(found.find("\"n2_599\""), std::string::npos);
    EXPECT_EQ(found.find("\"n3_0\""), std::string::npos);
}

TEST_F(DecoderTest, setsTheClockToTheTimeOfAnExample) {
    addDecoder("a", "function decodeUplink(i) { return {data: {t: Date.now(), u: i.recvTime.getTime()}}; }",
               R"({"t": {}, "u": {}})",
               R"([{"input": {"fPort": 1, "bytes": "", "recvTime": "2024-05-01T12:00:00.250+02:00"},
                    "output": {"data": {"t": 1714557600250, "u": 1714557600250}}}])");
    EXPECT_EQ(runWith({"check"}).out, "0 faults in 1 definition and 0 list elements\n");
}

// --- installations

class DecoderOfSource : public PreflightTest {
protected:
    DecoderOfSource() { writeRunner(temp.path(), LOADED_DECODER, R"({"exception": {"text": "Error: x"}})"); }

    ToolRun install(const std::string& runner, const std::vector<std::string>& more) const {
        std::vector<std::string> arguments = {"install", temp / "source", "--codec-runner", temp / runner};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
};

TEST_F(DecoderOfSource, isInstalledWithItsFaultsWhereDecodersAreLeftOut) {
    source.definition("lora/demo/th1", R"({"decoder": "th1.js", "properties": {},
"examples": [{"input": {"fPort": 1, "bytes": "00"}, "output": {"data": {}}}]})");
    const ToolRun refused = install("runner", {});
    EXPECT_EQ(refused.status, 5);
    EXPECT_THAT(refused.out, HasSubstr("$T/source/lora/demo/th1.json:2:14: error: In \"example 1\": It threw"));
    EXPECT_EQ(refused.err, refusal(1));
    EXPECT_EQ(install("runner", {"--no-codec"}).out, "installed lora/demo/th1\n");
}

TEST_F(DecoderOfSource, isInstalledWithoutARunner) {
    const ToolRun result = install("none", {});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, withRemedies("$T/none: note: There is no such program, so that no decoder was "
                                       "run. [codec/no-runner]\ninstalled lora/demo/th1\n"));
}

// --- show

TEST_F(DecoderTest, showsTheEntryPoint) {
    addDecoder("a", SOUND_DECODER, "{}");
    addDecoder("old", "var Decode = function (port, bytes) { return {}; };", "{}");
    addDecoder("none", "var x;", "{}");
    EXPECT_THAT(runWith({"show", "lora/demo/a"}).out, HasSubstr("\nentry:      decodeUplink\n"));
    EXPECT_THAT(runWith({"show", "lora/demo/old"}).out, HasSubstr("\nentry:      Decode (old)\n"));
    EXPECT_THAT(runWith({"show", "lora/demo/none"}).out,
                HasSubstr("\nentry:      - (It has no function decodeUplink, Decode or Decoder after it has run.)\n"));
    EXPECT_THAT(runWith({"show", "lora/demo/a", "--codec-runner", temp / "none"}).out,
                ::testing::Not(HasSubstr("entry:")));
    EXPECT_EQ(parsed(runWith({"show", "lora/demo/old", "--json"}).out)["result"]["entry"].asString(), "Decode");
}

} // namespace
