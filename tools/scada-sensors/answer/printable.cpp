#include "answer/printable.h"

#include <terminal/Character.h>

#include <algorithm>

namespace Kelvra::SCADA::Tool {

std::string printable(const std::string& text) {
    const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (std::all_of(text.begin(), text.end(), isPlain))
        return text;
    std::string shown;
    for (std::size_t at = 0; at < text.size();)
        at = Terminal::appendShown(shown, text, at);
    return shown;
}

} // namespace Kelvra::SCADA::Tool
