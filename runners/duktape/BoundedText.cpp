#include "duktape/BoundedText.h"

#include <array>
#include <cstring>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr unsigned REPLACEMENT = 0xFFFD;

bool isHighSurrogate(unsigned code) {
    return code >= 0xD800 && code <= 0xDBFF;
}

bool isLowSurrogate(unsigned code) {
    return code >= 0xDC00 && code <= 0xDFFF;
}

struct Decoded {
    unsigned code;
    std::size_t length;
};

std::size_t lengthAfter(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return 2;
    if (lead >= 0xE0 && lead <= 0xEF)
        return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// Decodes one unit at the beginning. Each surrogate is a unit.
Decoded unitOf(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthAfter(lead);
    if (length == 0 || length > text.size())
        return {REPLACEMENT, 1};
    unsigned code = length == 1 ? lead : lead & (0xFFU >> (length + 1));
    for (std::size_t at = 1; at < length; ++at) {
        const auto next = static_cast<unsigned char>(text[at]);
        if ((next & 0xC0U) != 0x80U)
            return {REPLACEMENT, 1};
        code = (code << 6U) | (next & 0x3FU);
    }
    return {code <= 0x10FFFF ? code : REPLACEMENT, length};
}

Decoded characterOf(std::string_view text) {
    const Decoded first = unitOf(text);
    if (isHighSurrogate(first.code) && text.size() > first.length) {
        const Decoded second = unitOf(text.substr(first.length));
        if (isLowSurrogate(second.code))
            return {0x10000 + ((first.code & 0x3FFU) << 10U) + (second.code & 0x3FFU), first.length + second.length};
    }
    const bool alone = isHighSurrogate(first.code) || isLowSurrogate(first.code);
    return {alone ? REPLACEMENT : first.code, first.length};
}

char byteOf(unsigned value) {
    return static_cast<char>(static_cast<unsigned char>(value));
}

std::size_t encode(unsigned code, std::array<char, 4>& bytes) {
    if (code < 0x80) {
        bytes[0] = byteOf(code);
        return 1;
    }
    const std::size_t length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    constexpr std::array<unsigned, 5> LEADS = {0, 0, 0xC0, 0xE0, 0xF0};
    for (std::size_t at = length - 1; at > 0; --at, code >>= 6U)
        bytes.at(at) = byteOf(0x80U | (code & 0x3FU));
    bytes[0] = byteOf(LEADS.at(length) | code);
    return length;
}

} // namespace

bool BoundedText::add(std::string_view text) {
    if (text.size() > room.left)
        return false;
    std::memcpy(bytes.get() + size, text.data(), text.size());
    size += text.size();
    room.left -= text.size();
    return true;
}

bool BoundedText::addCharacter(unsigned code) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    if (code == '"')
        return add("\\\"");
    if (code == '\\')
        return add("\\\\");
    if (code < 0x20 || code == 0x7F) {
        const std::array<char, 6> escape = {'\\', 'u', '0', '0', DIGITS[code >> 4U], DIGITS[code & 0xFU]};
        return add({escape.data(), escape.size()});
    }
    std::array<char, 4> encoded{};
    return add({encoded.data(), encode(code, encoded)});
}

bool BoundedText::addQuoted(std::string_view text) {
    if (!add("\""))
        return false;
    while (!text.empty()) {
        const Decoded next = characterOf(text);
        if (!addCharacter(next.code))
            return false;
        text.remove_prefix(next.length);
    }
    return add("\"");
}

} // namespace Kelvra::SCADA::Codec
