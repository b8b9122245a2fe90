#pragma once

#include <functional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The entry of an exported archive that contains the managed-sensors list.
inline constexpr const char* EXPORTED_LIST = "managed-sensors-list";

/// Writes the custom storage and the managed-sensors list to a tar archive with gzip. The same content gives the same
/// bytes. The file `name` is created or replaced in one step, after a call of `begin`; "-" is standard output. Special
/// files are left out. Throws std::runtime_error if something cannot be read or written; the file is then unchanged.
void exportArchive(const std::string& name, const std::function<void()>& begin);

} // namespace Kelvra::SCADA::Tool
