#include "duktape/json_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <set>

namespace Kelvra::SCADA::Codec {

namespace {

constexpr std::uint32_t FIRST_HIGH = 0xD800;
constexpr std::uint32_t FIRST_LOW = 0xDC00;
constexpr std::uint32_t BEHIND_LOW = 0xE000;
constexpr std::uint32_t FIRST_SUPPLEMENTARY = 0x10000;

void addUtf8(std::uint32_t code, std::string* text) {
    const auto add = [text](std::uint32_t byte) { text->push_back(static_cast<char>(byte)); };
    const auto addLow = [add, code](unsigned int shift) { add(0x80U | ((code >> shift) & 0x3FU)); };
    if (code < 0x80) {
        add(code);
    } else if (code < 0x800) {
        add(0xC0U | (code >> 6U));
        addLow(0);
    } else if (code < FIRST_SUPPLEMENTARY) {
        add(0xE0U | (code >> 12U));
        addLow(6);
        addLow(0);
    } else {
        add(0xF0U | (code >> 18U));
        addLow(12);
        addLow(6);
        addLow(0);
    }
}

class Reader {
public:
    explicit Reader(std::string_view given) : text(given) {}

    JsonValue whole(std::size_t levels) {
        JsonValue value = next(levels);
        skipBlanks();
        if (at < text.size())
            throw BadJson("something follows it");
        return value;
    }

private:
    JsonValue next(std::size_t levels) {
        skipBlanks();
        JsonValue value;
        switch (peek()) {
        case '{':
            readMembers(levels, &value);
            break;
        case '[':
            readElements(levels, &value);
            break;
        case '"':
            value.kind = JsonValue::Kind::STRING;
            value.text = readString();
            break;
        default:
            readPlain(&value);
        }
        return value;
    }

    void readMembers(std::size_t levels, JsonValue* object) {
        object->kind = JsonValue::Kind::OBJECT;
        std::set<std::string> names;
        for (bool more = enter('}', levels); more; more = goesOn('}')) {
            skipBlanks();
            std::string name = readString();
            if (!names.insert(name).second)
                throw BadJson("it has two members of one name");
            skipBlanks();
            require(':');
            object->members.emplace_back(std::move(name), next(levels - 1));
        }
    }

    void readElements(std::size_t levels, JsonValue* array) {
        array->kind = JsonValue::Kind::ARRAY;
        for (bool more = enter(']', levels); more; more = goesOn(']'))
            array->elements.push_back(next(levels - 1));
    }

    // Returns whether there is something before the end.
    bool enter(char end, std::size_t levels) {
        if (levels == 0)
            throw BadJson("it is nested too deeply");
        ++at;
        skipBlanks();
        return !take(end);
    }

    bool goesOn(char end) {
        skipBlanks();
        if (take(end))
            return false;
        require(',');
        return true;
    }

    void readPlain(JsonValue* value) {
        using Kind = JsonValue::Kind;
        if (takeWord("null"))
            value->kind = Kind::NOTHING;
        else if (takeWord("true") || takeWord("false"))
            value->kind = Kind::BOOLEAN;
        else
            readNumber(value);
    }

    void readNumber(JsonValue* value) {
        const std::size_t start = at;
        take('-');
        if (!take('0'))
            skipDigits();
        if (take('.'))
            skipDigits();
        if (take('e') || take('E')) {
            if (!take('-'))
                take('+');
            skipDigits();
        }
        value->kind = JsonValue::Kind::NUMBER;
        value->number = std::strtod(std::string(text.substr(start, at - start)).c_str(), nullptr);
    }

    void skipDigits() {
        const std::size_t start = at;
        while (peek() >= '0' && peek() <= '9')
            ++at;
        if (at == start)
            throw BadJson("a value was expected at byte " + std::to_string(at));
    }

    // A decoder has thousands of bytes and few that are escaped.
    std::string readString() {
        require('"');
        std::string found;
        for (;;) {
            const std::size_t end = text.find_first_of("\"\\", at);
            if (end == std::string_view::npos)
                throw BadJson("a text has no end");
            found.append(text, at, end - at);
            at = end + 1;
            if (text[end] == '"')
                return found;
            addEscaped(&found);
        }
    }

    void addEscaped(std::string* found) {
        constexpr std::string_view NAMES = "\"\\/bfnrt";
        constexpr std::string_view MEANINGS = "\"\\/\b\f\n\r\t";
        const char name = peek();
        ++at;
        const std::size_t known = NAMES.find(name);
        if (name == 'u')
            addUtf8(codePoint(), found);
        else if (name != '\0' && known != std::string_view::npos)
            found->push_back(MEANINGS[known]);
        else
            throw BadJson("a text has a wrong escape");
    }

    // A character beyond the basic plane has two numbers.
    std::uint32_t codePoint() {
        const std::uint32_t first = fourDigits();
        if (first >= FIRST_LOW && first < BEHIND_LOW)
            throw BadJson("a text has half a character");
        if (first < FIRST_HIGH || first >= BEHIND_LOW)
            return first;
        require('\\');
        require('u');
        const std::uint32_t second = fourDigits();
        if (second < FIRST_LOW || second >= BEHIND_LOW)
            throw BadJson("a text has half a character");
        return FIRST_SUPPLEMENTARY + ((first - FIRST_HIGH) << 10U) + (second - FIRST_LOW);
    }

    std::uint32_t fourDigits() {
        constexpr std::size_t DIGITS = 4;
        const std::string digits(text.substr(std::min(at, text.size()), DIGITS));
        if (digits.size() != DIGITS || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            throw BadJson("a text has a wrong escape");
        at += DIGITS;
        return static_cast<std::uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
    }

    char peek() const { return at < text.size() ? text[at] : '\0'; }

    bool take(char wanted) {
        const bool there = at < text.size() && text[at] == wanted;
        at += there ? 1 : 0;
        return there;
    }

    bool takeWord(std::string_view word) {
        const bool there = text.substr(at, word.size()) == word;
        at += there ? word.size() : 0;
        return there;
    }

    void require(char wanted) {
        if (!take(wanted))
            throw BadJson(std::string("\"") + wanted + "\" was expected at byte " + std::to_string(at));
    }

    void skipBlanks() { at = std::min(text.find_first_not_of(" \t\r\n", at), text.size()); }

    std::string_view text;
    std::size_t at = 0;
};

} // namespace

bool JsonValue::isCount(double most) const {
    return is(Kind::NUMBER) && number >= 0 && number <= most && number == std::trunc(number);
}

const JsonValue& JsonValue::operator[](std::string_view name) const {
    static const JsonValue none;
    const auto known =
        std::find_if(members.begin(), members.end(), [name](const auto& member) { return member.first == name; });
    return known == members.end() ? none : known->second;
}

JsonValue readObject(std::string_view text, std::size_t levels) {
    JsonValue value = Reader(text).whole(levels);
    if (!value.is(JsonValue::Kind::OBJECT))
        throw BadJson("it is of another kind");
    return value;
}

} // namespace Kelvra::SCADA::Codec
