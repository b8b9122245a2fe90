#pragma once

#include "text/Descriptor.h"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The reason why a process gave no answer.
struct ProcessFailure {
    enum class Kind {
        NONE,
        TIME,   ///< it used up its CPU time
        SILENT, ///< it did not answer for very long
        ENDED,  ///< it ended, as `text` says
        BROKEN, ///< it cannot be started, or answers too much, as `text` says
    };

    Kind kind = Kind::NONE;
    std::string text;
    int exitStatus = -1; ///< of a process that ended by itself
};

/// A program that answers each line on its standard input with one line and has access to nothing: no descriptors, no
/// environment, no files to write, an unprivileged user if the tool is root's. It ends with the tool.
class RunnerProcess {
public:
    /// Starts the program. The first question shows whether that has succeeded.
    explicit RunnerProcess(const std::string& program);
    /// Kills the process.
    ~RunnerProcess();
    RunnerProcess(const RunnerProcess&) = delete;
    RunnerProcess& operator=(const RunnerProcess&) = delete;

    /// Sends a line and waits for its answer, within so much CPU time of the process. After a failure the process is
    /// gone.
    ProcessFailure ask(const std::string& line, std::chrono::nanoseconds cpuTime, std::size_t longestAnswer,
                       std::string* answer);

private:
    struct Exchange;

    std::string start(const std::string& program);
    std::string finishStart();
    ProcessFailure step(Exchange* exchange);
    void write(Exchange* exchange);
    ProcessFailure read(Exchange* exchange);
    ProcessFailure checkTime(const Exchange& exchange) const;
    std::chrono::nanoseconds usedTime() const;
    ProcessFailure ended();
    void kill();

    pid_t child = -1;
    clockid_t clock = 0;
    Descriptor input;
    Descriptor output;
    Descriptor execution; ///< says why the program could not be executed; open until the first line
    std::string rest;     ///< the bytes after the last line
    std::string startFailure;
};

} // namespace Kelvra::SCADA::Tool
