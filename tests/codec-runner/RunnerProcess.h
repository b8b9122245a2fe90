#pragma once

#include <sys/types.h>

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Returns the command of the runner under test: the words of the environment variable SCADA_TEST_CODEC_RUNNER.
std::vector<std::string> runnerCommand();

/// The runner's file name, reduced to characters that are allowed in a test's name.
std::string runnerName();

/// A runner, started in the same environment as by the host tool.
class RunnerProcess {
public:
    RunnerProcess();
    /// Kills the runner if it is still running.
    ~RunnerProcess();
    RunnerProcess(const RunnerProcess&) = delete;
    RunnerProcess& operator=(const RunnerProcess&) = delete;

    /// Sends a line. Returns false if the runner no longer reads.
    bool send(const std::string& line) const;
    /// Closes the runner's input.
    void endInput();
    /// Returns the next line of output, or nothing if the output has ended or so many seconds have passed.
    std::optional<std::string> nextLine(double seconds = 60);
    /// Returns whether there was output that does not belong to a line.
    bool hasPartOfLine() const { return !pending.empty(); }
    void kill() const;
    /// Waits for the end. Returns the exit status, or 128 plus the number of the signal that ended it.
    int wait();
    /// Returns the text on standard error. REQUIRES: the runner has ended.
    std::string errors() const;
    pid_t id() const { return child; }

private:
    bool readMore(double seconds);

    pid_t child = -1;
    int input = -1, output = -1, error = -1;
    std::string pending;
    int status = -1;
};

/// Returns the JSON of a line, or a null value if it is not JSON.
Json::Value jsonOf(const std::string& text);
/// Returns a document as one line.
std::string lineOf(const Json::Value& document);
/// Returns the first request, with a decoder and with calls given as JSON text.
std::string firstLine(const std::string& decoder, const std::string& calls = "[]", const std::string& limits = "{}");

} // namespace Kelvra::SCADA::Test
