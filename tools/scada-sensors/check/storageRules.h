#pragma once

#include "check/Finding.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Returns everything that is wrong with the storages and their definitions, and which of them hide others.
Findings checkStorages(Storages& storages);

} // namespace Kelvra::SCADA::Tool
