#pragma once

#include <sys/types.h>

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Returns the command of the runner under test: the words of the environment variable SCADA_TEST_CODEC_RUNNER.
std::vector<std::string> runnerCommand();

/// The runner's file name, with what a test's name may have.
std::string runnerName();

/// A runner, started in the surroundings that the host tool gives it.
class RunnerProcess {
public:
    RunnerProcess();
    /// Kills the runner when it still runs.
    ~RunnerProcess();
    RunnerProcess(const RunnerProcess&) = delete;
    RunnerProcess& operator=(const RunnerProcess&) = delete;

    /// Sends a line. Returns false when nobody reads it any more.
    bool send(const std::string& line) const;
    /// Ends the runner's input.
    void endInput();
    /// Returns the next line of output, or nothing when the output has ended or so many seconds have passed.
    std::optional<std::string> nextLine(double seconds = 60);
    /// Returns whether output that belongs to no line has come.
    bool hasPartOfLine() const { return !pending.empty(); }
    void kill() const;
    /// Waits for the end. Returns the exit status, or 128 and the number of the signal that ended it.
    int wait();
    /// Returns what came on standard error. REQUIRES: the runner has ended.
    std::string errors() const;
    pid_t id() const { return child; }

private:
    bool readMore(double seconds);

    pid_t child = -1;
    int input = -1, output = -1, error = -1;
    std::string pending;
    int status = -1;
};

/// Returns the JSON of a line; a null value where it is none.
Json::Value jsonOf(const std::string& text);
/// Returns a document on one line.
std::string lineOf(const Json::Value& document);
/// Returns the first request, for a decoder and the calls of a JSON text.
std::string firstLine(const std::string& decoder, const std::string& calls = "[]", const std::string& limits = "{}");

} // namespace Kelvra::SCADA::Test
