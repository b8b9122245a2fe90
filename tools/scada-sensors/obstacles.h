#pragma once

#include "Fault.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns everything in the custom storage that would end the import of a definition, in the library's words. Nothing
/// is opened: an import that met a FIFO would wait for its other end.
Faults obstacles(const std::string& name);

/// Returns the definitions in the staging directory that its emptying leaves there, so that they would be installed
/// with those of any source.
Faults stagedObstacles();

} // namespace Kelvra::SCADA::Tool
