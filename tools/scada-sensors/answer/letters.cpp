#include "answer/letters.h"

#include <unigbrk.h>
#include <unilbrk.h>
#include <uniwidth.h>

#include <algorithm>
#include <cstdint>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* ENCODING = "UTF-8";

const std::uint8_t* unitsOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::size_t columnsOf(std::string_view text, std::size_t start, std::size_t end) {
    return static_cast<std::size_t>(u8_width(unitsOf(text) + start, end - start, ENCODING));
}

std::string withoutBlanksBehind(const std::string& line) {
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

/// Fills lines with the letters of one text. Each line takes one pass.
class LineFilling {
public:
    LineFilling(const std::string& filledText, std::size_t lineWidth)
        : text(filledText), width(lineWidth), letters(text.size()), breaks(text.size()) {
        u8_grapheme_breaks(unitsOf(text), text.size(), letters.data());
        u8_possible_linebreaks(unitsOf(text), text.size(), ENCODING, breaks.data());
    }

    std::vector<std::string> run() {
        for (std::size_t at = 0; at < text.size();) {
            std::size_t end = at + 1;
            while (end < text.size() && letters[end] == 0)
                ++end;
            add(at, end);
            at = end;
        }
        lines.push_back(text.substr(start));
        return std::move(lines);
    }

private:
    void add(std::size_t at, std::size_t end) {
        if (at > start && breaks[at] == UC_BREAK_POSSIBLE) {
            word = at;
            columnsBeforeWord = columns;
        }
        const std::size_t more = columnsOf(text, at, end);
        // A blank at the end of a line is not shown.
        if (at > start && columns + more > width && text[at] != ' ')
            breakBefore(word > start ? word : at);
        columns += more;
    }

    void breakBefore(std::size_t next) {
        lines.push_back(withoutBlanksBehind(text.substr(start, next - start)));
        columns -= next == word ? columnsBeforeWord : columns;
        start = next;
    }

    const std::string& text;
    const std::size_t width;
    std::vector<char> letters; ///< whether a letter begins at each byte
    std::vector<char> breaks;
    std::vector<std::string> lines;
    std::size_t start = 0; ///< of the line
    std::size_t columns = 0;
    std::size_t word = 0; ///< the last place in the line where another line can begin
    std::size_t columnsBeforeWord = 0;
};

} // namespace

std::size_t widthOf(std::string_view text) {
    return isAscii(text) ? text.size() : columnsOf(text, 0, text.size());
}

std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
    if (widthOf(text) <= width)
        return {text};
    return LineFilling(text, width).run();
}

} // namespace Kelvra::SCADA::Tool
