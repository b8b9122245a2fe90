#pragma once

#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace Kelvra::SCADA::Test {

/// Returns the value that a JSON text stands for. Throws std::runtime_error when the text is none.
inline Json::Value parsed(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors))
        throw std::runtime_error(text + ": " + errors);
    return value;
}

/// Returns the text of `levels` arrays, one inside the other; the reader takes 1000 levels and throws at one more.
inline std::string nestedArrays(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

} // namespace Kelvra::SCADA::Test
