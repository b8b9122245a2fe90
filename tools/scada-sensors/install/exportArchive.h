#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// The entry of an exported archive that is the managed-sensors list.
inline constexpr const char* EXPORTED_LIST = "managed-sensors-list";

/// Writes the custom storage and the managed-sensors list to a tar archive with gzip, with the same bytes for the same
/// content. `file` is made or replaced in one step; "-" is standard output. Special files are left out. Throws
/// std::runtime_error when something cannot be read or written; `file` is as before then.
void exportArchive(const std::string& file);

} // namespace Kelvra::SCADA::Tool
