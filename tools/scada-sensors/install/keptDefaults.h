#pragma once

#include "device/GenerationPaths.h"
#include "device/InstalledFiles.h"

#include <string>

namespace Kelvra::SCADA::Tool {

// The default definitions that custom ones hide are kept beside the generations, so that the tool can say when
// another default definition comes. Each function throws std::runtime_error when it cannot do its work.

/// Keeps the default definition `name`, and its decoder, in a directory of kept ones for the custom definition that is
/// being installed. Returns the hash of what is kept; nothing when the definition cannot be read.
std::string keepDefault(const std::string& directory, const std::string& name, const InstalledFiles& installed);

/// Puts what an operation has kept beside what was kept before. Done again after an interruption, it goes on where it
/// was.
void takeOverDefaults(const GenerationPaths& paths);

/// Removes what neither the present nor the previous generation needs.
void forgetDefaults(const GenerationPaths& paths);

} // namespace Kelvra::SCADA::Tool
