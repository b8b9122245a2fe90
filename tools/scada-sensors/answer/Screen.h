#pragma once

#include <cstddef>
#include <string>

namespace Kelvra::SCADA::Tool {

/// What shows an answer to people. By default it is no terminal: lines are as long as they are, without colours.
struct Screen {
    std::size_t width = 0; ///< in columns; 0 without a limit
    bool hasColours = false;

    /// Returns a printable text as a heading.
    std::string heading(const std::string& text) const;
    /// Returns the printable word that says how bad something is: "error", "fault", "warning", "note"; others stay.
    std::string mark(const std::string& word) const;
};

/// Returns what standard output is. A terminal has colours unless NO_COLOR is in the environment or it says of itself
/// that it is dumb.
Screen standardOutput();

} // namespace Kelvra::SCADA::Tool
