#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace Kelvra::SCADA::Test {

/// Returns the value of a JSON text. Throws std::runtime_error if the text is not JSON.
inline Json::Value parsed(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors))
        throw std::runtime_error(text + ": " + errors);
    return value;
}

/// Returns the text of `levels` nested arrays; the reader accepts 1000 levels and throws for one more.
inline std::string nestedArrays(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

} // namespace Kelvra::SCADA::Test
