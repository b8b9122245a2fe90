#pragma once

#include "answer/Answer.h"

#include <functional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// What work that changes files knows of the signals that its user sends.
class SignalGuard {
public:
    virtual ~SignalGuard() = default;
    /// Says that files will be changed from now on. Does not return when a signal has come before.
    virtual void begin() = 0;
    /// Returns the name of the last signal that has come since, or nothing.
    virtual std::string signalName() const = 0;
};

/// Runs `work` in a process and a session of its own, as the user who owns the custom storage if this one is root's, so
/// that neither Ctrl-C nor the hangup of the terminal reaches it or the programs that the library starts. SIGINT,
/// SIGTERM and SIGHUP end it before begin(); afterwards it goes on to its end. When this process is killed, the work is
/// killed too. REQUIRES: no other thread is running.
ExitCode runApart(const Answer& answer, const std::function<ExitCode(SignalGuard& guard)>& work);

/// Runs `work` in this process, for good as the user who owns the custom storage if this one is root's.
ExitCode runAsOwner(const Answer& answer, const std::function<ExitCode()>& work);

/// Says on stderr and in `*result` that a signal came and was not obeyed, if one did.
void tellSignal(const SignalGuard& guard, const Answer& answer, Json::Value* result);

} // namespace Kelvra::SCADA::Tool
