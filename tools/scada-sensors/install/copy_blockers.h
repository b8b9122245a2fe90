#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the entries of a directory, the custom storage or another generation, that prevent the next generation from
/// being made of it: the copy cannot have their owner or their content. REQUIRES: the process is the one that would
/// make the copy.
Findings copyBlockers(const std::string& tree);

} // namespace Kelvra::SCADA::Tool
