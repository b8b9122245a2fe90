#pragma once

#include "check/Finding.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Returns the fault of a custom storage that an interrupted operation has left neither old nor new.
Findings checkInterruption();

/// Returns everything that is wrong with the storages and their definitions, and which of them hide others.
Findings checkStorages(Storages& storages);

} // namespace Kelvra::SCADA::Tool
