#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the entries of a directory, the custom storage or another generation, that keep the next generation from
/// being made of it: the copy cannot have the owner or the content that they have. REQUIRES: the process is the one
/// that would make the copy.
Findings copyBlockers(const std::string& tree);

} // namespace Kelvra::SCADA::Tool
