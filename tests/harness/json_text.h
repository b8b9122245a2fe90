#pragma once

#include <json/reader.h>
#include <json/value.h>
#include <json/version.h>

#include <cstddef>
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

/// The differences between versions of the JSON reader; docs/definition-file.md explains them.
constexpr bool READS_ANY_SIZE_OF_NUMBERS = JSONCPP_VERSION_HEXA >= 0x01090600;
constexpr bool REFUSES_CONTROL_CHARACTERS = JSONCPP_VERSION_HEXA >= 0x01090700;
constexpr bool READS_FRACTIONS_BY_THE_LOCALE = JSONCPP_VERSION_HEXA < 0x01090700;
constexpr std::size_t NESTING_LIMIT = JSONCPP_VERSION_HEXA >= 0x01090700 ? 256 : 1000;

/// Returns the text of `levels` nested arrays; the reader accepts NESTING_LIMIT levels and throws for one more.
inline std::string nestedArrays(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

} // namespace Kelvra::SCADA::Test
