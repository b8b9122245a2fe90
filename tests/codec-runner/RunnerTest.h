#pragma once

#include "NamedRow.h"
#include "RunnerProcess.h"

#include <gtest/gtest.h>

#include <string>

namespace Kelvra::SCADA::Test {

/// The expected result is JSON as in the contract. Only the named members of an exception are compared; a text that
/// begins with "~" must be a part of the actual one. "endless" means that no answer comes because the call never ends,
/// "memory or end" that the runner reports the limit or ends.
struct ResultRow : NamedRow {
    /// The body of decodeUplink(input), or a whole script if it contains an entry point itself.
    const char* decoder;
    const char* expected;
    /// The result with the engine of that name, if different. A runner with another engine may give either result.
    const char* onNode = nullptr;
};

/// Returns whether a value matches the expectation.
bool matches(const Json::Value& expected, const Json::Value& actual);

/// Returns the names of rows for the runner under test.
constexpr auto rowAndRunnerName = [](const auto& info) { return std::string(info.param.name) + "_" + runnerName(); };

class ResultTest : public testing::TestWithParam<ResultRow> {
protected:
    /// Loads the row's decoder, calls it once and compares the result.
    static void check(const ResultRow& row);
};

/// Tests of a runner that need more than a row.
class RunnerTest : public testing::TestWithParam<std::string> {
protected:
    RunnerProcess runner;

    /// Sends a line and returns the JSON of the answer.
    Json::Value ask(const std::string& line);
};

} // namespace Kelvra::SCADA::Test
