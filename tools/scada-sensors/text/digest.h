#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the SHA-256 of `text` in hexadecimal.
std::string digestOf(const std::string& text);

/// Returns the SHA-256 of a regular file in hexadecimal, or nothing if it cannot be read or is of another kind.
std::string digestOfFile(const std::string& file);

} // namespace Kelvra::SCADA::Tool
