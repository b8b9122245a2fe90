#pragma once

#include "answer/Answer.h"
#include "device/ManagedList.h"
#include "device/Storages.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Says in one line how many elements of the list are skipped, if any.
void noteFaultyElements(const ManagedList& list, const Answer& answer);

/// Names the storages that exist and cannot be read.
void noteUnreadableStorages(const Storages& storages, const Answer& answer);

/// Answers that no storage lists the definition, or `error` if it says more, and names the command that shows them all.
ExitCode answerNoDefinition(const std::string& name, const Answer& answer, const Json::Value& result = Json::Value());
ExitCode answerUnusableName(const std::string& error, const Answer& answer, const Json::Value& result = Json::Value());

} // namespace Kelvra::SCADA::Tool
