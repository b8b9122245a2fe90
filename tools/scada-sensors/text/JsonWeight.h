#pragma once

#include <cstddef>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

/// Estimates what a JSON text takes when it is read and written again, without reading it: a value takes a hundred
/// times the byte that it may have in the text. Comments count as the reader takes them.
class JsonWeight {
public:
    /// Adds the next part of the text.
    void add(const char* data, std::size_t size);

    /// Returns how many values there are at most.
    std::size_t values() const { return counted; }
    /// Returns how many bytes the indentation takes when each value has its own line.
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
