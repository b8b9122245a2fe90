#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/DefinitionDirectory.h"

#include <cstddef>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

/// Returns the files below a directory that look like definitions and are not listed, and the entries that cannot be
/// examined. `special` has the entries of a source that its copy has in another form or not at all; links among them
/// are not followed. Returns at most `most` findings.
Findings checkTree(DefinitionDirectory& directory, const SpecialEntries& special = {}, std::size_t most = SIZE_MAX);

} // namespace Kelvra::SCADA::Tool
