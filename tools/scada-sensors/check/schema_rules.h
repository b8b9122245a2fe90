#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "device/DefinitionDirectory.h"

namespace Kelvra::SCADA::Tool {

/// Who judges the examples of a definition.
enum class ExamplesJudge {
    SCHEMA,
    DECODER, ///< they are run on the decoder, which also finds their faults
};

/// Returns where a definition does not fit its schema, except for faults that checkDefinition() reports. The library
/// may accept such a definition.
Findings checkSchema(const Definition& definition, ExamplesJudge judge, DefinitionPlaces* places);

} // namespace Kelvra::SCADA::Tool
