#pragma once

#include "answer/Answer.h"

#include <json/value.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

// The common parts of the commands that change the custom storage.

/// Returns the exit code of the command if the tool must not work on the directories. Call it before the lock is taken,
/// which makes files beside them.
std::optional<ExitCode> refuseUnsafe(const Answer& answer);

/// Returns the exit code of the command if one of the directories has entries that it cannot copy.
std::optional<ExitCode> refuseUncopiable(const std::vector<std::string>& copied, const Answer& answer);

/// Does `work` while no other operation can run. An exception from it becomes failedOperation().
ExitCode withLock(const Answer& answer, const std::function<ExitCode()>& work);

/// Answers a failed operation on the custom storage: the error, and the state in which it has left the storage.
ExitCode failedOperation(const std::string& error, Json::Value result, const std::string& text, const Answer& answer);

/// Answers an operation that must wait for a recovery.
ExitCode answerInterrupted(const Answer& answer);

} // namespace Kelvra::SCADA::Tool
