#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/DefinitionDirectory.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns what looks like a definition below a directory and is not listed, and what cannot be examined. `special` has
/// the entries of a source that its copy does not have as they are; links among them are not followed.
Findings checkTree(DefinitionDirectory& directory, const SpecialEntries& special = {});

} // namespace Kelvra::SCADA::Tool
