#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/DefinitionDirectory.h"

#include <cstddef>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

/// Returns what looks like a definition below a directory and is not listed, and what cannot be examined. `special` has
/// the entries of a source that its copy does not have as they are; links among them are not followed. Returns no
/// more than `most` findings.
Findings checkTree(DefinitionDirectory& directory, const SpecialEntries& special = {}, std::size_t most = SIZE_MAX);

} // namespace Kelvra::SCADA::Tool
