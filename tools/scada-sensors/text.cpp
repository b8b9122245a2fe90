#include "text.h"

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

std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(static_cast<unsigned char>(c)); }));
}

} // namespace

std::string printable(const std::string& text) {
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

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string table(const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::vector<std::string>> cells;
    std::vector<std::size_t> widths(rows.front().size());
    for (const auto& row : rows) {
        cells.emplace_back();
        for (std::size_t column = 0; column < row.size(); ++column) {
            cells.back().push_back(printable(row[column]));
            widths[column] = std::max(widths[column], widthOf(cells.back().back()));
        }
    }
    std::string text;
    for (const auto& row : cells) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            text += row[column] + std::string(widths[column] - widthOf(row[column]) + 2, ' ');
        text += row.back() + "\n";
    }
    return text;
}

} // namespace Kelvra::SCADA::Tool
