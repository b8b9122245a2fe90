#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the changes that turn one text into another: the hunks of a unified diff with three lines around each
/// change, without the lines that name the files; nothing if the texts are the same. If too many lines differ, or too
/// many are between the first and the last difference, all of them are one replaced block.
std::string unifiedDiff(const std::string& from, const std::string& to);

} // namespace Kelvra::SCADA::Tool
