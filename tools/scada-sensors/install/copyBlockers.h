#pragma once

#include "check/Finding.h"

namespace Kelvra::SCADA::Tool {

/// Returns the entries of the custom storage that keep the next generation from being made of it: the copy cannot have
/// the owner or the content that they have. REQUIRES: the process is the one that would make the copy.
Findings copyBlockers();

} // namespace Kelvra::SCADA::Tool
