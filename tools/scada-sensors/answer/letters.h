#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns the width of a printable text in columns of a terminal: a wide letter takes two, a mark on the letter before
/// it takes none. The locale of the process does not matter.
std::size_t widthOf(std::string_view text);

/// Returns a printable text as lines of at most so many columns. Breaks between words if possible, and never inside a
/// letter with its marks. A letter that is wider gets its own line.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

} // namespace Kelvra::SCADA::Tool
