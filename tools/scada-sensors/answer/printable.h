#pragma once

#include <string>
#include <string_view>

namespace Kelvra::SCADA::Tool {

/// Returns `text` with control characters, line separators, marks that change the direction of text, and bytes that are
/// not UTF-8 written as \xNN. Names come from files, and a terminal would obey such characters.
std::string printable(const std::string& text);

/// Appends `text` in the same form.
void appendPrintable(std::string_view text, std::string* shown);

} // namespace Kelvra::SCADA::Tool
