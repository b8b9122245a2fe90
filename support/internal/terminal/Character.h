#pragma once

#include <cstddef>
#include <string>

namespace Kelvra::Terminal {

/// One character of a text.
struct Character {
    std::size_t length;     ///< in bytes; 0 if the bytes are not UTF-8
    unsigned int codePoint; ///< 0 if the bytes are not UTF-8

    bool isValid() const { return length != 0; }
};

inline unsigned int byteAt(const std::string& text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

/// Returns the character that begins at `at`. Overlong forms, halves of surrogate pairs and values above U+10FFFF are
/// not UTF-8.
inline Character characterAt(const std::string& text, std::size_t at) {
    constexpr unsigned int SMALLEST[] = {0, 0, 0x80, 0x800, 0x10000};
    constexpr unsigned int LEADING_BITS[] = {0, 0, 0x1f, 0x0f, 0x07};
    const unsigned int first = byteAt(text, at);
    if (first < 0x80)
        return {1, first};
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4)
        return {0, 0};
    unsigned int codePoint = first & LEADING_BITS[length];
    for (std::size_t next = 1; next < length; ++next) {
        const unsigned int byte = byteAt(text, at + next);
        if ((byte & 0xc0U) != 0x80)
            return {0, 0};
        codePoint = codePoint << 6U | (byte & 0x3fU);
    }
    const bool isSurrogate = codePoint >= 0xd800 && codePoint <= 0xdfff;
    if (codePoint < SMALLEST[length] || isSurrogate || codePoint > 0x10ffff)
        return {0, 0};
    return {length, codePoint};
}

/// Returns whether a terminal displays the character instead of obeying it: it is not a control character, does not end
/// the line, and does not change the direction of the text around it.
inline bool isShown(const Character& character) {
    const unsigned int c = character.codePoint;
    const bool isControl = c < 0x20 || (c >= 0x7f && c <= 0x9f);
    const bool isSeparator = c == 0x2028 || c == 0x2029;
    const bool isDirection =
        c == 0x061c || c == 0x200e || c == 0x200f || (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
    return character.isValid() && !isControl && !isSeparator && !isDirection;
}

/// Appends a byte as \xNN.
inline void appendEscapedByte(std::string& shown, unsigned int byte) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    (shown += "\\x") += {DIGITS[byte >> 4U & 0xfU], DIGITS[byte & 0xfU]};
}

/// Appends the character at `at`; if a terminal would not just display it, byte by byte as \xNN. Returns the position
/// of the next character.
inline std::size_t appendShown(std::string& shown, const std::string& text, std::size_t at) {
    const Character character = characterAt(text, at);
    const std::size_t end = at + (character.isValid() ? character.length : 1);
    if (isShown(character))
        shown.append(text, at, character.length);
    for (std::size_t next = at; !isShown(character) && next < end; ++next)
        appendEscapedByte(shown, byteAt(text, next));
    return end;
}

} // namespace Kelvra::Terminal
