#pragma once

#include "answer/Answer.h"

#include <functional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Tells work that changes files about the signals that its user sends.
class SignalGuard {
public:
    virtual ~SignalGuard() = default;
    /// Announces that files will be changed from now on. Does not return if a signal has come before.
    virtual void begin() = 0;
    /// Returns the name of the last signal since then, or nothing.
    virtual std::string signalName() const = 0;
};

/// Runs `work` in a separate process and session, as the user who owns the custom storage if this process is root's.
/// Neither Ctrl-C nor the hangup of the terminal reaches it or the programs that the library starts. SIGINT, SIGTERM
/// and SIGHUP end it before begin(); afterwards it runs to its end. If this process is killed, the work is killed too.
/// REQUIRES: no other thread is running.
ExitCode runApart(const Answer& answer, const std::function<ExitCode(SignalGuard& guard)>& work);

/// Runs `work` in this process. If the process is root's, it permanently becomes one of the user who owns the custom
/// storage.
ExitCode runAsOwner(const Answer& answer, const std::function<ExitCode()>& work);

/// Says on stderr and in `*result` that a signal came and was not obeyed, if so.
void tellSignal(const SignalGuard& guard, const Answer& answer, Json::Value* result);

} // namespace Kelvra::SCADA::Tool
