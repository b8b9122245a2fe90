#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The lines of standard input.
class UplinkLines {
public:
    /// The most bytes of a line.
    static constexpr std::size_t LONGEST = 65536;

    /// Returns the next line without its end, or nothing after the last line. If a line is too long, returns its
    /// beginning, one byte longer than the longest line.
    std::optional<std::string> next();
    /// Returns how many lines have been read.
    std::size_t count() const { return lines; }

private:
    std::size_t lines = 0;
};

} // namespace Kelvra::SCADA::Tool
