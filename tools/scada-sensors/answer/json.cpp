#include "answer/json.h"

#include "answer/printable.h"

#include <json/reader.h>
#include <json/writer.h>

#include <terminal/Character.h>

#include <algorithm>
#include <memory>
#include <sstream>

namespace Kelvra::SCADA::Tool {

namespace {

// With so many digits, a number reads back as the one that was written.
constexpr unsigned int ALL_DIGITS = 17;

std::string writeJson(const Json::Value& value, const std::string& indentation, bool utf8,
                      unsigned int digits = ALL_DIGITS) {
    Json::StreamWriterBuilder builder;
    builder["precision"] = digits;
    builder["indentation"] = indentation;
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = utf8;
    return Json::writeString(builder, value);
}

// Whether a backslash of a string, which is written as two, would read as the beginning of an escaped byte.
bool looksEscaped(const std::string& written, std::size_t at) {
    const std::size_t digits = at + 3;
    return written.compare(at, 3, "\\\\x") == 0 && digits + 2 <= written.size() &&
           std::all_of(written.begin() + static_cast<std::ptrdiff_t>(digits),
                       written.begin() + static_cast<std::ptrdiff_t>(digits + 2),
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

void appendUnit(std::string& text, unsigned unit) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    (text += "\\u") +=
        {DIGITS[unit >> 12U & 0xfU], DIGITS[unit >> 8U & 0xfU], DIGITS[unit >> 4U & 0xfU], DIGITS[unit & 0xfU]};
}

// Appends the character of a string at `at`. If the bytes are not UTF-8, appends the byte as the text \xNN, because a
// replacement character could make two names equal. Returns the place of the next character.
std::size_t appendInAscii(std::string& text, const std::string& written, std::size_t at) {
    const Terminal::Character character = Terminal::characterAt(written, at);
    if (!character.isValid()) {
        text += '\\';
        Terminal::appendEscapedByte(text, Terminal::byteAt(written, at));
        return at + 1;
    }
    if (character.codePoint < 0x10000) {
        appendUnit(text, character.codePoint);
    } else {
        appendUnit(text, 0xd800 + ((character.codePoint - 0x10000) >> 10U));
        appendUnit(text, 0xdc00 + (character.codePoint & 0x3ffU));
    }
    return at + character.length;
}

} // namespace

std::string jsonText(const Json::Value& value, const std::string& indentation) {
    const std::string written = writeJson(value, indentation, true);
    std::string text;
    text.reserve(written.size());
    for (std::size_t at = 0; at < written.size();) {
        const char c = written[at];
        if (c == '\\') {
            text += looksEscaped(written, at) ? "\\\\x5c" : written.substr(at, 2);
            at += 2;
        } else if (c == '\n' || (c >= 0x20 && c < 0x7f)) {
            text += c;
            ++at;
        } else {
            at = appendInAscii(text, written, at);
        }
    }
    return text;
}

std::string readableJson(const Json::Value& value, const std::string& indentation) {
    std::istringstream lines(writeJson(value, indentation, true));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += (text.empty() ? "" : "\n") + printable(line);
    return text;
}

std::string shortJson(const Json::Value& value) {
    constexpr unsigned int FEWEST_DIGITS = 15;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string text;
    Json::Value again;
    for (unsigned int digits = FEWEST_DIGITS; digits <= ALL_DIGITS; ++digits) {
        text = writeJson(value, "", true, digits);
        if (reader->parse(text.data(), text.data() + text.size(), &again, nullptr) && again == value)
            break;
    }
    return printable(text);
}

Json::Value orNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value toArray(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts)
        array.append(text);
    return array;
}

} // namespace Kelvra::SCADA::Tool
