#include "text/text.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

std::string counted(std::size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string shortened(const std::string& text, std::size_t longest) {
    constexpr unsigned char NOT_FIRST = 0x80;
    constexpr unsigned char MASK = 0xC0;
    std::size_t length = std::min(text.size(), longest);
    while (length < text.size() && length > 0 && (static_cast<unsigned char>(text[length]) & MASK) == NOT_FIRST)
        --length;
    return text.substr(0, length);
}

std::string shellWord(const std::string& word) {
    constexpr const char* UNQUOTED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+:@%,=";
    if (!word.empty() && word.find_first_not_of(UNQUOTED) == std::string::npos)
        return word;
    std::string quoted = "'";
    for (const char c : word)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

} // namespace Kelvra::SCADA::Tool
