#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// A number of bytes that several texts share.
struct Room {
    std::size_t left;
};

/// A text that grows within a room. It allocates its memory once, because nothing may throw between the engine's jumps.
class BoundedText {
public:
    BoundedText(Room& shared, std::size_t most) : room(shared), bytes(new char[most]) {}

    /// Returns false if the room is used up.
    bool add(std::string_view text);
    /// Adds a JSON string, given as the engine stores it: UTF-8 with each surrogate coded on its own. Bytes that are
    /// not text become U+FFFD.
    bool addQuoted(std::string_view text);
    void clear() { size = 0; }
    std::string_view view() const { return {bytes.get(), size}; }

private:
    bool addCharacter(unsigned code);

    Room& room;
    std::unique_ptr<char[]> bytes;
    std::size_t size = 0;
};

} // namespace Kelvra::SCADA::Codec
