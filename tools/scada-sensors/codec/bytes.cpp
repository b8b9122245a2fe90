#include "codec/bytes.h"

#include <algorithm>
#include <cctype>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr unsigned int LARGEST = 255;

// Returns the value of a digit, or -1 for another character.
int digitOf(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const int letter = std::tolower(static_cast<unsigned char>(c));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace

std::optional<Bytes> bytesFromHex(const std::string& text) {
    Bytes bytes;
    for (std::size_t at = 0; at < text.size();) {
        if (text[at] == ' ' || text[at] == '\t') {
            ++at;
            continue;
        }
        const int high = digitOf(text[at]);
        const int low = at + 1 < text.size() ? digitOf(text[at + 1]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
        at += 2;
    }
    return bytes;
}

std::optional<Bytes> bytesFromJson(const Json::Value& value) {
    if (value.isString())
        return bytesFromHex(value.asString());
    if (!value.isArray() || !std::all_of(value.begin(), value.end(), [](const Json::Value& one) {
            return one.isUInt() && one.asUInt() <= LARGEST;
        }))
        return std::nullopt;
    Bytes bytes;
    for (const Json::Value& one : value)
        bytes.push_back(static_cast<std::uint8_t>(one.asUInt()));
    return bytes;
}

} // namespace Kelvra::SCADA::Tool
