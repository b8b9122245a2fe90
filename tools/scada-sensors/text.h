#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns `text` with control characters and bytes that are no UTF-8 written as \xNN: names come from files, and a
/// terminal would obey them.
std::string printable(const std::string& text);

/// Returns "1 fault", "2 faults" and so on.
std::string counted(std::size_t count, const std::string& noun);

/// Returns the rows as aligned columns, a line each, made printable. Every row has as many cells as the first.
std::string table(const std::vector<std::vector<std::string>>& rows);

} // namespace Kelvra::SCADA::Tool
