#include "codec/value_text.h"

#include "answer/json.h"

#include <array>
#include <charconv>

namespace Kelvra::SCADA::Tool {

std::string shownValue(const Json::Value& value) {
    if (value.type() != Json::realValue)
        return readableJson(value, "");
    std::array<char, 64> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value.asDouble());
    return {digits.data(), end.ptr};
}

std::string storedValue(const Json::Value& value) {
    if (value.isBool())
        return value.asBool() ? "1" : "0";
    return value.isString() ? value.asString() : shownValue(value);
}

} // namespace Kelvra::SCADA::Tool
