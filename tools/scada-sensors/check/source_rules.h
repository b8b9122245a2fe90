#pragma once

#include "check/DefinitionPlaces.h"
#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/DefinitionDirectory.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the faults that prevent the installation of a whole source.
Findings checkSourceDirectory(const std::string& srcDir);

/// Returns all faults that prevent the installation of one definition of a source, including those that the rules of
/// every definition find.
Findings checkSourceDefinition(const SourceCopy& source, const Definition& definition, DefinitionPlaces* places);

/// Returns the fault of a source that lists no definitions but has files that look like some. `tree` is the result of
/// checkTree() for the copy.
Findings checkSourceLevel(const SourceCopy& source, const Findings& tree);

} // namespace Kelvra::SCADA::Tool
