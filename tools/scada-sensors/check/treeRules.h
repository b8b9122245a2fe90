#pragma once

#include "check/Finding.h"
#include "device/DefinitionDirectory.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns what looks like a definition below a directory and is not listed, and what cannot be examined.
Findings checkTree(DefinitionDirectory& directory);

} // namespace Kelvra::SCADA::Tool
