#pragma once

#include <string>

namespace Kelvra {
/// The text functions that the library needs. The device decides which characters are blanks and letters.
namespace Text {

/// Returns a copy without leading and trailing blanks. Any thread may call.
std::string trim(const std::string& text);

/// Returns a lower-cased copy. Any thread may call.
std::string toLowerCase(const std::string& text);

/// Reads the whole text as a decimal number of the type of `out`. On failure returns false; `out` is then unspecified.
/// Any thread may call.
bool parse(int& out, const std::string& text);
/// Like the above, for an unsigned number.
bool parse(unsigned int& out, const std::string& text);

} // namespace Text
} // namespace Kelvra
