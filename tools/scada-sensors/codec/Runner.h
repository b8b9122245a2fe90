#pragma once

#include "codec/CallResult.h"
#include "codec/RunnerProcess.h"

#include <memory>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether decoders can be run: a program is configured and its file exists.
bool isRunnerThere();

/// Keeps a process of the runner ready while the previous one works: starting a process takes as long as running a
/// decoder.
class RunnersAhead {
public:
    /// Returns a process of `program`.
    std::unique_ptr<RunnerProcess> take(const std::string& program);

private:
    std::unique_ptr<RunnerProcess> next;
    bool areMany = false; ///< whether a process has been taken before
};

/// Runs one decoder in a process of the configured runner program. The process stays for all calls; if a call ends it,
/// it is started again for the next calls. A decoder or a runner cannot cause an exception.
class Runner {
public:
    /// `script` is the decoder's text, `file` its name for messages of the engine. If there are many decoders to run,
    /// `ahead` starts the processes; it must live as long as the runner.
    Runner(std::string script, std::string file, RunnersAhead* ahead = nullptr);

    /// Starts the process and loads the decoder, if necessary.
    const LoadResult& load();

    /// Calls the entry point. REQUIRES: load() has returned an entry point.
    CallResult call(const UplinkCall& uplink);

private:
    LoadResult start();
    CallResult ask(const UplinkCall& uplink);
    bool admitsCall() const;
    void count(const ProcessFailure& failure);

    std::string script;
    std::string file;
    RunnersAhead* ahead;
    std::unique_ptr<RunnerProcess> process;
    std::optional<LoadResult> loaded;
    unsigned int overruns = 0; ///< calls that exceeded their time
};

} // namespace Kelvra::SCADA::Tool
