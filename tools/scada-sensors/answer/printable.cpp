#include "answer/printable.h"

#include <terminal/Character.h>

#include <algorithm>

namespace Kelvra::SCADA::Tool {

std::string printable(const std::string& text) {
    std::string shown;
    appendPrintable(text, &shown);
    return shown;
}

void appendPrintable(std::string_view text, std::string* shown) {
    const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (std::all_of(text.begin(), text.end(), isPlain)) {
        *shown += text;
        return;
    }
    const std::string whole(text);
    for (std::size_t at = 0; at < whole.size();)
        at = Terminal::appendShown(*shown, whole, at);
}

} // namespace Kelvra::SCADA::Tool
