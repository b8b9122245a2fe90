#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "device/DefinitionDirectory.h"

namespace Kelvra::SCADA::Tool {

/// Returns all faults of one definition. None hides another.
Findings checkDefinition(const Definition& definition, DefinitionPlaces* places);
Findings checkDefinition(const Definition& definition);

} // namespace Kelvra::SCADA::Tool
