#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace Kelvra::SCADA::Codec {

/// Room for bytes that several texts share.
struct Room {
    std::size_t left;
};

/// A text that grows within a room. It takes its memory once: between the engine's jumps nothing may throw.
class BoundedText {
public:
    BoundedText(Room& shared, std::size_t most) : room(shared), bytes(new char[most]) {}

    /// Returns false when the room is used up.
    bool add(std::string_view text);
    /// Adds a JSON string of bytes as the engine keeps them: UTF-8 with surrogates coded one by one. What is no text
    /// becomes U+FFFD.
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
