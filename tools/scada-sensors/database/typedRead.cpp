#include "database/typedRead.h"

#include <array>
#include <charconv>
#include <cmath>

namespace Kelvra::SCADA::Tool {

namespace {

// The shortest text that reads back as the same number.
std::string textOf(float number) {
    std::array<char, 32> digits{};
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

} // namespace

int readAs(const std::string& type, Database& database, const std::string& key, const std::string& field,
           TypedValue* value) {
    int result = 0;
    if (type == "float") {
        float number = 0;
        result = database.hgetFloat(key, field, &number);
        value->text = textOf(number);
        // JSON has no numbers for these.
        value->json = std::isfinite(number) ? Json::Value(static_cast<double>(number)) : Json::Value(value->text);
    } else if (type == "bool") {
        bool truth = false;
        result = database.hgetBool(key, field, &truth);
        *value = {truth, truth ? "true" : "false"};
    } else if (type == "int32") {
        int number = 0;
        result = database.hgetInt32(key, field, &number);
        *value = {number, std::to_string(number)};
    } else if (type == "uint32") {
        unsigned int number = 0;
        result = database.hgetUint32(key, field, &number);
        *value = {number, std::to_string(number)};
    } else {
        result = database.hget(key, field, &value->text);
        value->json = value->text;
    }
    return result;
}

} // namespace Kelvra::SCADA::Tool
