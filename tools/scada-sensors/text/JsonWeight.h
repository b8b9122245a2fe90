#pragma once

#include <cstddef>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

/// Estimates the cost of reading a JSON text and writing it again, without parsing it: a value takes a hundred times
/// the byte that it may have in the text. Comments count as the reader treats them.
class JsonWeight {
public:
    /// Adds the next part of the text.
    void add(const char* data, std::size_t size);

    /// Returns the largest possible number of values.
    std::size_t values() const { return counted; }
    /// Returns the size of the indentation in bytes if each value has its own line.
    std::uint64_t indentation() const { return indented; }

private:
    enum class State { OUTSIDE, STRING, ESCAPE, SLASH, LINE_COMMENT, BLOCK_COMMENT, BLOCK_STAR };

    void addOutside(char c);
    static State afterSlash(char c);

    State state = State::OUTSIDE;
    std::size_t counted = 0;
    std::uint64_t depth = 0;
    std::uint64_t indented = 0;
};

} // namespace Kelvra::SCADA::Tool
