#pragma once

#include "answer/Answer.h"

#include <json/value.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

// What the commands that change the custom storage have in common.

/// Returns how the command ends when the directories must not be worked on. Asked before the lock is taken, which makes
/// files beside them.
std::optional<ExitCode> refuseUnsafe(const Answer& answer);

/// Returns how the command ends when one of the directories has entries that it cannot copy.
std::optional<ExitCode> refuseUncopiable(const std::vector<std::string>& copied, const Answer& answer);

/// Does `work` while no other operation can run. What it throws becomes failedOperation().
ExitCode withLock(const Answer& answer, const std::function<ExitCode()>& work);

/// The answer to an operation on the custom storage that failed: the error, and in which state it has left the storage.
ExitCode failedOperation(const std::string& error, Json::Value result, const std::string& text, const Answer& answer);

/// The answer of an operation that must wait for a recovery.
ExitCode answerInterrupted(const Answer& answer);

} // namespace Kelvra::SCADA::Tool
