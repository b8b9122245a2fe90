#include "answer/printable.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

namespace {

unsigned byteAt(const std::string& text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

bool isContinuation(unsigned byte) {
    return (byte & 0xc0U) == 0x80;
}

// Returns how many bytes the character at `at` has, or 0 when it must not reach a terminal. U+0080 to U+009F, which
// start with the byte C2, are control characters too.
std::size_t printableLength(const std::string& text, std::size_t at) {
    const unsigned first = byteAt(text, at);
    const unsigned second = byteAt(text, at + 1);
    if (first < 0x80)
        return first >= 0x20 && first != 0x7f ? 1 : 0;
    if (first < 0xc2 || first > 0xf4 || !isContinuation(second))
        return 0;
    if (first < 0xe0)
        return first == 0xc2 && second < 0xa0 ? 0 : 2;
    if (!isContinuation(byteAt(text, at + 2)))
        return 0;
    if (first < 0xf0)
        return first == 0xe0 && second < 0xa0 ? 0 : 3;
    return isContinuation(byteAt(text, at + 3)) && !(first == 0xf0 && second < 0x90) ? 4 : 0;
}

} // namespace

std::string printable(const std::string& text) {
    const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (std::all_of(text.begin(), text.end(), isPlain))
        return text;
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = printableLength(text, at);
        if (length == 0)
            (shown += "\\x") += {DIGITS[byteAt(text, at) >> 4U], DIGITS[byteAt(text, at) & 0xfU]};
        else
            shown.append(text, at, length);
        at += std::max<std::size_t>(length, 1);
    }
    return shown;
}

std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(static_cast<unsigned char>(c)); }));
}

} // namespace Kelvra::SCADA::Tool
