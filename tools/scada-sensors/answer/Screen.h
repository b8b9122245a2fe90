#pragma once

#include <cstddef>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The screen or file that shows an answer to people. By default it is not a terminal: lines have any length and no
/// colours.
struct Screen {
    std::size_t width = 0; ///< in columns; 0 without a limit
    bool hasColours = false;

    /// Returns a printable text as a heading.
    std::string heading(const std::string& text) const;
    /// Returns a printable word with the mark of its severity: "error", "fault", "warning" or "note". Other words stay
    /// as they are.
    std::string mark(const std::string& word) const;
};

/// Returns the properties of standard output. A terminal has colours unless NO_COLOR is in the environment or the
/// terminal calls itself dumb.
Screen standardOutput();

} // namespace Kelvra::SCADA::Tool
