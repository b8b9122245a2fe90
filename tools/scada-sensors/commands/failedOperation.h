#pragma once

#include "answer/Answer.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// The answer to an operation on the custom storage that failed: the error, and in which state it has left the storage.
ExitCode failedOperation(const std::string& error, Json::Value result, const std::string& text, const Answer& answer);

/// The answer of an operation that must wait for a recovery.
ExitCode answerInterrupted(const Answer& answer);

} // namespace Kelvra::SCADA::Tool
