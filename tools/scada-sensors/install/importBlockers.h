#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns everything in the custom storage that would end the import of a definition, in the library's words. Nothing
/// is opened: an import that met a FIFO would wait for its other end.
Findings importBlockers(const std::string& name);

/// Returns why the staging directory cannot be used, or nothing.
Findings stagingBlockers();

} // namespace Kelvra::SCADA::Tool
