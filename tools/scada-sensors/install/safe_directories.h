#pragma once

#include "check/Finding.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns why the tool must not work on the staging and the custom directory, with the option and the path, or
/// nothing. The library empties both through a shell without asking. `source` is the source of an installation, or
/// null.
Findings unsafeDirectories(const std::string* source);

} // namespace Kelvra::SCADA::Tool
