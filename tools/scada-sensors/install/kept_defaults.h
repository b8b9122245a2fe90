#pragma once

#include "device/GenerationPaths.h"
#include "device/InstalledFiles.h"

#include <string>

namespace Kelvra::SCADA::Tool {

// The default definitions that custom ones hide are kept beside the generations, so that the tool can report that the
// default definition has changed. Each function throws std::runtime_error on failure.

/// Keeps the default definition `name`, and its decoder, in a directory of kept ones for the custom definition that is
/// being installed. Returns the hash of the kept files, "unknown" if the definition cannot be read, and nothing if
/// there is none.
std::string keepDefault(const std::string& directory, const std::string& name, const InstalledFiles& installed);

/// Moves the definitions that an operation has kept to those kept before. If an interruption stops this step, the next
/// attempt continues it.
void takeOverDefaults(const GenerationPaths& paths);

/// Removes an entry of the kept definitions, if it exists, so that no reader finds a part of it.
void forgetDefault(const GenerationPaths& paths, const std::string& entry);

/// Removes the definitions that neither the present nor the previous generation needs.
void forgetDefaults(const GenerationPaths& paths);

} // namespace Kelvra::SCADA::Tool
