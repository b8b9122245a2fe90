#include "RunnerTest.h"

#include <algorithm>

namespace Kelvra::SCADA::Test {

namespace {

// The wait for an endless call, in seconds.
constexpr double PATIENCE = 2;

constexpr const char* ONE_CALL = R"([{"fPort": 2, "bytes": [1, 255]}])";

std::string scriptOf(const std::string& decoder) {
    const bool whole = decoder.find("function decodeUplink") != std::string::npos;
    return whole ? decoder : "function decodeUplink(input) {" + decoder + "}";
}

bool matchesPart(const Json::Value& expected, const Json::Value& actual) {
    const std::vector<std::string> names = expected.getMemberNames();
    return actual.isObject() && std::all_of(names.begin(), names.end(), [&](const std::string& name) {
               return actual.isMember(name) && matches(expected[name], actual[name]);
           });
}

std::string outcome(RunnerProcess& runner, bool endless) {
    runner.send(std::string(R"({"calls":)") + ONE_CALL + "}");
    const std::optional<std::string> answer = endless ? runner.nextLine(PATIENCE) : runner.nextLine();
    if (answer)
        return lineOf(jsonOf(*answer)["results"][0]);
    if (endless) {
        EXPECT_FALSE(runner.hasPartOfLine());
        return "endless";
    }
    const int status = runner.wait();
    return status == 3 || status > 128 ? "end" : "exit status " + std::to_string(status);
}

bool isOutcome(const std::string& expected, const std::string& actual) {
    if (expected == "endless")
        return actual == expected;
    if (expected == "memory or end")
        return actual == "end" || actual == R"({"limit":"memory"})";
    return matches(jsonOf(expected), jsonOf(actual));
}

} // namespace

bool matches(const Json::Value& expected, const Json::Value& actual) {
    if (expected.isObject() && expected.isMember("exception"))
        return actual.size() == 1 && matchesPart(expected["exception"], actual["exception"]);
    if (expected.isString() && actual.isString() && expected.asString().substr(0, 1) == "~")
        return actual.asString().find(expected.asString().substr(1)) != std::string::npos;
    if (expected.isNumeric() && actual.isNumeric())
        return expected.asDouble() == actual.asDouble();
    if (expected.isArray() && actual.isArray() && expected.size() == actual.size())
        return std::equal(expected.begin(), expected.end(), actual.begin(), matches);
    if (expected.isObject() && actual.isObject())
        return expected.size() == actual.size() && matchesPart(expected, actual);
    return expected == actual;
}

void ResultTest::check(const ResultRow& row) {
    RunnerProcess runner;
    ASSERT_TRUE(runner.send(firstLine(scriptOf(row.decoder))));
    const std::optional<std::string> first = runner.nextLine();
    ASSERT_TRUE(first) << "no answer";
    const Json::Value loaded = jsonOf(*first);
    ASSERT_TRUE(loaded["entryPoint"].isString()) << *first;
    std::vector<std::string> expected = {row.expected};
    const std::string engine = loaded["engine"].asString();
    if (row.onNode != nullptr && engine.find("node") == 0)
        expected = {row.onNode};
    else if (row.onNode != nullptr && engine.find("duktape") != 0)
        expected.emplace_back(row.onNode);
    const std::string actual = outcome(runner, expected.back() == std::string("endless"));
    EXPECT_TRUE(
        std::any_of(expected.begin(), expected.end(), [&](const std::string& text) { return isOutcome(text, actual); }))
        << actual << "\nexpected: " << expected.front();
}

Json::Value RunnerTest::ask(const std::string& line) {
    EXPECT_TRUE(runner.send(line));
    const std::optional<std::string> answer = runner.nextLine();
    EXPECT_TRUE(answer) << "no answer to " << line;
    return jsonOf(answer.value_or("null"));
}

} // namespace Kelvra::SCADA::Test
