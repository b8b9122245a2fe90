#include <kelvra/Text.h>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <type_traits>

namespace Kelvra::Text {

namespace {

const char BLANKS[] = " \t\n\v\f\r";

template <typename Number> bool parseWhole(Number& out, const std::string& text) {
    const char* first = text.data();
    const char* const last = first + text.size();
    // from_chars knows only the minus of signed types, and no plus at all.
    if (std::is_signed_v<Number> && text.size() > 1 && text[0] == '+' && text[1] != '-')
        ++first;
    Number value{};
    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc() || end != last)
        return false;
    out = value;
    return true;
}

} // namespace

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(BLANKS);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

std::string toLowerCase(const std::string& text) {
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

bool parse(int& out, const std::string& text) {
    return parseWhole(out, text);
}

bool parse(unsigned int& out, const std::string& text) {
    return parseWhole(out, text);
}

} // namespace Kelvra::Text
