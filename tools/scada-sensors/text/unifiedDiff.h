#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns how one text becomes another: the hunks of a unified diff with three lines around each change, without the
/// lines that name the files; nothing when the texts are the same. Where too many lines differ, or too many lie between
/// the first and the last difference, all of them are one replaced block.
std::string unifiedDiff(const std::string& from, const std::string& to);

} // namespace Kelvra::SCADA::Tool
