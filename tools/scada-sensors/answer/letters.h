#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Returns how many columns of a terminal a printable text takes: two for a wide letter, none for a mark that is set on
/// the letter before it. The locale of the process does not matter.
std::size_t widthOf(const std::string& text);

/// Returns a printable text as lines of at most so many columns, broken between words where that is possible, and never
/// inside a letter with its marks. A letter that is wider has a line of its own.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

} // namespace Kelvra::SCADA::Tool
