// Requests, answers, and the process itself.

#include "NamedRow.h"
#include "RunnerTest.h"

#include <gmock/gmock.h>

#include <fstream>

namespace Kelvra::SCADA::Test {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const char* const COUNTER = "var n = 0; function decodeUplink(input) { return [++n, input.fPort, input.recvTime]; }";

const char* const SPIN_OR_ANSWER =
    "function decodeUplink(input) { if (input.fPort === 9) for (;;); return input.fPort; }";

INSTANTIATE_TEST_SUITE_P(Contract, RunnerTest, testing::Values(runnerName()),
                         [](const auto& row) { return row.param; });

/// A first line that every runner must refuse.
struct GarbageRow : NamedRow {
    const char* line;
};

const GarbageRow GARBAGE[] = {
    {"no_json", "hello"},
    {"unfinished", R"({"version": 1, "decoder": ")"},
    {"array", "[]"},
    {"number", "1"},
    {"no_version", R"({"decoder": "", "calls": []})"},
    {"other_version", R"({"version": 2, "decoder": "", "calls": []})"},
    {"no_decoder", R"({"version": 1, "calls": []})"},
    {"decoder_is_no_text", R"({"version": 1, "decoder": 1, "calls": []})"},
    {"no_calls", R"({"version": 1, "decoder": ""})"},
    {"calls_are_no_array", R"({"version": 1, "decoder": "", "calls": {}})"},
    {"call_without_bytes", R"({"version": 1, "decoder": "", "calls": [{"fPort": 1}]})"},
    {"byte_too_large", R"({"version": 1, "decoder": "", "calls": [{"fPort": 1, "bytes": [256]}]})"},
    {"byte_is_no_number", R"({"version": 1, "decoder": "", "calls": [{"fPort": 1, "bytes": ["1"]}]})"},
    {"byte_is_a_fraction", R"({"version": 1, "decoder": "", "calls": [{"fPort": 1, "bytes": [1.5]}]})"},
    {"port_is_no_number", R"({"version": 1, "decoder": "", "calls": [{"fPort": "1", "bytes": []}]})"},
    {"time_is_no_number", R"({"version": 1, "decoder": "", "calls": [{"fPort": 1, "bytes": [], "recvTime": "now"}]})"},
    {"limit_is_no_number", R"({"version": 1, "decoder": "", "calls": [], "limits": {"depth": "deep"}})"},
    {"limit_is_nothing", R"({"version": 1, "decoder": "", "calls": [], "limits": {"output": 0}})"},
};

class GarbageTest : public testing::TestWithParam<GarbageRow> {};
INSTANTIATE_TEST_SUITE_P(Garbage, GarbageTest, testing::ValuesIn(GARBAGE), rowAndRunnerName);

// Returns a number that the kernel reports about a process, or -1.
int numberOf(const std::string& process, const std::string& name) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0)
            return std::stoi(line.substr(name.size() + 1));
    return -1;
}

TEST_P(GarbageTest, endsWithAMessage) {
    RunnerProcess runner;
    runner.send(GetParam().line);
    runner.endInput();
    EXPECT_FALSE(runner.nextLine());
    EXPECT_EQ(2, runner.wait());
    EXPECT_THAT(runner.errors(), Not(IsEmpty()));
}

TEST_P(RunnerTest, endsWithItsInput) {
    runner.endInput();
    EXPECT_FALSE(runner.nextLine());
    EXPECT_EQ(0, runner.wait());
    EXPECT_EQ("", runner.errors());
}

TEST_P(RunnerTest, endsWithItsInputAfterAnswers) {
    ask(firstLine(COUNTER));
    ask(R"({"calls": []})");
    runner.endInput();
    EXPECT_FALSE(runner.nextLine());
    EXPECT_EQ(0, runner.wait());
    EXPECT_EQ("", runner.errors());
}

TEST_P(RunnerTest, endsOnALaterLineThatIsNoRequest) {
    ask(firstLine(COUNTER));
    runner.send("{}");
    EXPECT_FALSE(runner.nextLine());
    EXPECT_EQ(2, runner.wait());
}

TEST_P(RunnerTest, saysWhoItIs) {
    const Json::Value answer = ask(firstLine(COUNTER));
    EXPECT_EQ(1, answer["version"].asInt());
    EXPECT_THAT(answer["engine"].asString(), testing::MatchesRegex("[a-z]+ [0-9.]+"));
}

TEST_P(RunnerTest, keepsGlobalsBetweenCallsAndLines) {
    const Json::Value first = ask(firstLine(COUNTER, R"([{"fPort": 1, "bytes": []}, {"fPort": 2, "bytes": []}])"));
    EXPECT_EQ(2U, first["results"].size());
    EXPECT_EQ(2, first["results"][1]["value"][0].asInt());
    const Json::Value second = ask(R"({"calls": [{"fPort": 7, "bytes": []}]})");
    EXPECT_EQ("{\"results\":[{\"special\":[{\"kind\":\"undefined\",\"path\":[2]}],\"value\":[3,7,null]}]}",
              lineOf(second));
}

TEST_P(RunnerTest, answersManyCallsInOrder) {
    Json::Value request;
    for (int port = 0; port < 200; ++port) {
        request["calls"][port]["fPort"] = port;
        request["calls"][port]["bytes"] = Json::arrayValue;
    }
    ask(firstLine(COUNTER));
    const Json::Value answer = ask(lineOf(request));
    ASSERT_EQ(200U, answer["results"].size());
    for (int port = 0; port < 200; ++port)
        EXPECT_EQ(port, answer["results"][port]["value"][1].asInt());
}

TEST_P(RunnerTest, givesTheTimeOfTheCall) {
    const char* const decoder = "function decodeUplink(input) { return [input.recvTime, input.recvTime instanceof Date,"
                                " Date.now(), new Date(), Object.keys(input).sort()]; }";
    const Json::Value answer = ask(firstLine(
        decoder,
        R"([{"fPort": 1, "bytes": [], "recvTime": 1714557600000}, {"fPort": 1, "bytes": [], "recvTime": -1}])"));
    EXPECT_EQ(
        R"(["2024-05-01T10:00:00.000Z",true,1714557600000,"2024-05-01T10:00:00.000Z",["bytes","fPort","recvTime"]])",
        lineOf(answer["results"][0]["value"]));
    EXPECT_EQ(-1, answer["results"][1]["value"][2].asInt());
}

TEST_P(RunnerTest, hasTheUsualTimeAgainWithoutOne) {
    const char* const decoder = "function decodeUplink() { return Date.now(); }";
    const Json::Value answer =
        ask(firstLine(decoder, R"([{"fPort": 1, "bytes": [], "recvTime": 5}, {"fPort": 1, "bytes": []}])"));
    EXPECT_EQ(5, answer["results"][0]["value"].asInt());
    EXPECT_EQ(1577836800000, answer["results"][1]["value"].asInt64());
}

TEST_P(RunnerTest, handsOlderShapesTheirArguments) {
    const Json::Value answer = ask(firstLine("function Decode() { return [].slice.call(arguments); }",
                                             R"([{"fPort": 3, "bytes": [9], "recvTime": 1}])"));
    EXPECT_EQ("[3,[9],{}]", lineOf(answer["results"][0]["value"]));
}

TEST_P(RunnerTest, handsTheOldestShapeItsArguments) {
    const Json::Value answer =
        ask(firstLine("function Decoder() { return [].slice.call(arguments); }", R"([{"fPort": 3, "bytes": [9]}])"));
    EXPECT_EQ("[[9],3]", lineOf(answer["results"][0]["value"]));
}

TEST_P(RunnerTest, keepsTheEntryPointOfTheLoading) {
    const char* const decoder = "function decodeUplink() { decodeUplink = null; return 1; }";
    const Json::Value answer = ask(firstLine(decoder, R"([{"fPort": 1, "bytes": []}, {"fPort": 1, "bytes": []}])"));
    EXPECT_EQ(R"([{"value":1},{"value":1}])", lineOf(answer["results"]));
}

TEST_P(RunnerTest, callsNothingWithoutAnEntryPoint) {
    const Json::Value answer = ask(firstLine("var a = 1;", R"([{"fPort": 1, "bytes": []}])"));
    EXPECT_EQ(Json::Value(Json::arrayValue), answer["results"]);
    EXPECT_EQ(R"({"results":[]})", lineOf(ask(R"({"calls": [{"fPort": 1, "bytes": []}]})")));
}

TEST_P(RunnerTest, keepsTheGivenLimits) {
    const char* const decoder = "function decodeUplink(i) { return i.fPort === 1 ? 'x'.repeat(i.bytes[0]) : [[[1]]]; }";
    const Json::Value answer = ask(
        firstLine(decoder, R"([{"fPort": 1, "bytes": [40]}, {"fPort": 1, "bytes": [120]}, {"fPort": 2, "bytes": []}])",
                  R"({"memory": 8388608, "output": 100, "depth": 2})"));
    EXPECT_EQ(40U, answer["results"][0]["value"].asString().size());
    EXPECT_EQ(R"({"limit":"output"})", lineOf(answer["results"][1]));
    EXPECT_EQ(R"({"limit":"depth"})", lineOf(answer["results"][2]));
}

TEST_P(RunnerTest, answersAfterAnExceptionAndALimit) {
    const char* const decoder = "function decodeUplink(i) { if (i.fPort === 1) throw new Error('x');"
                                " if (i.fPort === 2) { var a = []; for (;;) a.push([a.length]); } return i.fPort; }";
    const Json::Value answer =
        ask(firstLine(decoder, R"([{"fPort": 1, "bytes": []}, {"fPort": 2, "bytes": []}, {"fPort": 3, "bytes": []}])"));
    EXPECT_EQ("Error: x", answer["results"][0]["exception"]["text"].asString());
    EXPECT_EQ(R"({"limit":"memory"})", lineOf(answer["results"][1]));
    EXPECT_EQ(R"({"value":3})", lineOf(answer["results"][2]));
}

TEST_P(RunnerTest, cutsALongExceptionOff) {
    const Json::Value answer = ask(firstLine("function Decode() { throw new Error(new Array(5000).join('\u20ac')); }",
                                             R"([{"fPort": 1, "bytes": []}])"));
    const std::string text = answer["results"][0]["exception"]["text"].asString();
    EXPECT_LE(text.size(), 1024U);
    EXPECT_GE(text.size(), 900U);
    EXPECT_THAT(text, testing::StartsWith("Error: €€"));
}

TEST_P(RunnerTest, takesALongLine) {
    const std::string decoder = "var s = '" + std::string(1000000, 'x') + "'; function Decode() { return s.length; }";
    const Json::Value answer = ask(firstLine(decoder, R"([{"fPort": 1, "bytes": []}])"));
    EXPECT_EQ(R"([{"value":1000000}])", lineOf(answer["results"]));
}

// The answers before a call that never ends have arrived, and no part of its own.
TEST_P(RunnerTest, canBeKilledInACall) {
    ask(firstLine(SPIN_OR_ANSWER));
    EXPECT_EQ(R"({"results":[{"value":3}]})", lineOf(ask(R"({"calls": [{"fPort": 3, "bytes": []}]})")));
    runner.send(R"({"calls": [{"fPort": 9, "bytes": []}]})");
    EXPECT_FALSE(runner.nextLine(1));
    runner.kill();
    EXPECT_EQ(128 + 9, runner.wait());
    EXPECT_FALSE(runner.nextLine());
    EXPECT_FALSE(runner.hasPartOfLine());
}

// A runner that does not say otherwise has given up its system calls before it runs the decoder.
TEST_P(RunnerTest, hasAFilterUnlessItSaysNo) {
    const Json::Value answer = ask(firstLine(COUNTER));
    const bool filtered = !answer.isMember("filter") || answer["filter"].asBool();
    EXPECT_EQ(numberOf("self", "Seccomp_filters") + (filtered ? 1 : 0),
              numberOf(std::to_string(runner.id()), "Seccomp_filters"));
}

TEST_P(RunnerTest, takesNoCoreAndNoPrivileges) {
    ask(firstLine(COUNTER));
    std::ifstream limits("/proc/" + std::to_string(runner.id()) + "/limits");
    const std::string text(std::istreambuf_iterator<char>(limits), {});
    EXPECT_THAT(text, testing::ContainsRegex("Max core file size +0 +0 "));
    EXPECT_THAT(text, testing::ContainsRegex("Max file size +0 +0 "));
    EXPECT_EQ(1, numberOf(std::to_string(runner.id()), "NoNewPrivs"));
}

} // namespace

} // namespace Kelvra::SCADA::Test
