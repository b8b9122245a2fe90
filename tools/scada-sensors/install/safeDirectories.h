#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns why the staging and the custom directory must not be worked on, naming the option and the path, or nothing.
/// The library empties both through a shell without asking. `source` is an installation's source, or null.
Findings unsafeDirectories(const std::string* source);

} // namespace Kelvra::SCADA::Tool
