#pragma once

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The lines of standard input.
class UplinkLines {
public:
    /// Returns the next line without its end, nothing behind the last one. Of a very long line it is the begin.
    std::optional<std::string> next();
    /// Returns how many lines have been read.
    std::size_t count() const { return lines; }

private:
    std::size_t lines = 0;
};

} // namespace Kelvra::SCADA::Tool
