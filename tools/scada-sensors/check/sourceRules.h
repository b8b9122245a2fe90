#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/DefinitionDirectory.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns what keeps a source as a whole from being installed.
Findings checkSourceDirectory(const std::string& srcDir);

/// Returns everything that keeps one definition of a source from being installed, the rules of every definition
/// included.
Findings checkSourceDefinition(const SourceCopy& source, const Definition& definition, DefinitionPlaces* places);

/// Returns the fault of a source that lists no definitions but has files that look like some. `tree` is what
/// checkTree() found in the copy.
Findings checkSourceLevel(const SourceCopy& source, const Findings& tree);

} // namespace Kelvra::SCADA::Tool
