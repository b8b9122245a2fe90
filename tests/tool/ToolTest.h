#pragma once

#include "NamedRow.h"
#include "StorageBuilder.h"
#include "TempDir.h"
#include "files.h"
#include "run_tool.h"

#include <json/value.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Returns `text` with every `part` replaced.
std::string replaced(std::string text, const std::string& part, const std::string& by);

/// Copies the duktape runner into a directory and returns the command that starts it: its user may not be allowed to
/// enter every directory of a build.
std::string duktapeRunnerIn(const TempDir& directory);

/// A run of one of the commands, and its whole output except the remedies of findings.
struct RunRow : NamedRow {
    std::vector<std::string> arguments;
    int status;
    const char* out;
    const char* err;
};

/// Returns the members that every JSON answer with this exit status has.
Json::Value envelope(int status);

/// Returns the tool's message on stderr when it refuses an installation because of so many errors.
std::string refusal(std::size_t errors);

/// Two storages and a list in a temporary directory, and runs of the tool on them. "$T" means that directory, in the
/// result of a run and in expected texts. Log messages are off unless a run turns them on.
class ToolTest : public ::testing::Test {
protected:
    ToolTest();

    ToolRun run(std::vector<std::string> arguments, const std::string& stdoutPath = "") const;

    void expectRun(const std::string& command, const RunRow& row) const;

    /// Writes the list with one element per line, the first in line 2.
    void writeList(const std::vector<std::string>& elements) const;

    TempDir temp;
    StorageBuilder standard;
    StorageBuilder custom;
};

/// A definition, the document of one without a decoder, and the key of a sensor.
constexpr const char* NAME = "lora/demo/th1";
constexpr const char* GOOD = R"({"properties": {}})";
constexpr const char* KEY = "lora@aa";
constexpr const char* GOOD_SENSOR = R"({"id": "AA", "src": "lora", "sensor": "demo/th1"})";

constexpr std::size_t MEGABYTE = std::size_t{1024} * 1024;
/// More than any storage holds, for a file without content.
constexpr std::uintmax_t FOUR_TERABYTES = std::uintmax_t{1} << 42U;

/// For a row that prepares nothing.
inline void nothing(const std::string& /*dir*/) {}

} // namespace Kelvra::SCADA::Test
