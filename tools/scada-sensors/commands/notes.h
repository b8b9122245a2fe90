#pragma once

#include "answer/Answer.h"
#include "device/ManagedList.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Says in one line how many elements of the list are skipped, if any.
void noteFaultyElements(const ManagedList& list, const Answer& answer);

/// Names the storages that exist and cannot be read.
void noteUnreadableStorages(const Storages& storages, const Answer& answer);

} // namespace Kelvra::SCADA::Tool
