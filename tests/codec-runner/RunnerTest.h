#pragma once

#include "RunnerProcess.h"

#include <gtest/gtest.h>

#include <string>

namespace Kelvra::SCADA::Test {

/// A result is expected as the contract's JSON. Of an exception the members that are named count, and of a text that
/// begins with "~" that it is part of the actual one. "endless" means that no answer comes because the call never ends,
/// "memory or end" that the runner tells of the limit or ends.
struct ResultRow {
    const char* name;
    /// What stands in the body of decodeUplink(input), or a whole script when it has an entry point itself.
    const char* decoder;
    const char* expected;
    /// Where it differs with the engine of that name. A runner with another engine may do either.
    const char* onNode = nullptr;
};

/// Returns whether a value is what was expected.
bool matches(const Json::Value& expected, const Json::Value& actual);

/// The name generator of rows for the runner under test.
constexpr auto rowAndRunner = [](const auto& info) { return std::string(info.param.name) + "_" + runnerName(); };

class ResultTest : public testing::TestWithParam<ResultRow> {
protected:
    /// Loads the row's decoder, calls it once and compares what comes of it.
    static void check(const ResultRow& row);
};

/// What a runner is asked by more than a row.
class RunnerTest : public testing::TestWithParam<std::string> {
protected:
    RunnerProcess runner;

    /// Sends a line and returns the JSON of the answer.
    Json::Value ask(const std::string& line);
};

} // namespace Kelvra::SCADA::Test
