#pragma once

#include <functional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The entry of an exported archive that is the managed-sensors list.
inline constexpr const char* EXPORTED_LIST = "managed-sensors-list";

/// Writes the custom storage and the managed-sensors list to a tar archive with gzip, with the same bytes for the same
/// content. The file `name` is made or replaced in one step, before which `begin` is called; "-" is standard output.
/// Special files are left out. Throws std::runtime_error when something cannot be read or written; the file is as
/// before then.
void exportArchive(const std::string& name, const std::function<void()>& begin);

} // namespace Kelvra::SCADA::Tool
