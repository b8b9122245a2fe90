#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "device/Storages.h"

#include <functional>

namespace Kelvra::SCADA::Tool {

/// Returns the fault of a custom storage that an interrupted operation has left neither old nor new.
Findings checkInterruption();

/// An additional check of each definition, which the check may take over.
using DefinitionCheck = std::function<Findings(Definition&& definition, DefinitionPlaces* places)>;

/// Returns all faults of the storages and their definitions, and which of them hide others.
Findings checkStorages(Storages& storages, const DefinitionCheck& also);

} // namespace Kelvra::SCADA::Tool
