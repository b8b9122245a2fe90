#include "codec/value_rules.h"

#include "check/rules.h"
#include "codec/value_text.h"
#include "text/filled.h"

#include <cmath>
#include <limits>
#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

template <typename Number> bool isWhole(const Json::Value& value) {
    if (!value.isNumeric())
        return false;
    const double number = value.asDouble();
    return number == std::trunc(number) && number >= std::numeric_limits<Number>::min() &&
           number <= std::numeric_limits<Number>::max();
}

// An unknown type says nothing about a value.
bool fits(const Json::Value& value, const std::string& type) {
    if (type == "float")
        return value.isNumeric() && std::isfinite(value.asDouble());
    if (type == "int32")
        return isWhole<std::int32_t>(value);
    if (type == "uint32")
        return isWhole<std::uint32_t>(value);
    if (type == "bool")
        return value.isBool();
    return type != "string" || value.isString();
}

} // namespace

std::optional<Misfit> misfitOf(const std::string& path, const Json::Value& value, const Json::Value& property) {
    if (value.isNull())
        return std::nullopt;
    const Json::Value& type = property["type"];
    if (type.isString() && !fits(value, type.asString()))
        return Misfit{&Rules::CODEC_VALUE_TYPE, path,
                      filled("\"%s\" is %s, which is not of the type %s.", {path, shownValue(value), type.asString()})};
    if (!value.isNumeric())
        return std::nullopt;
    const double number = value.asDouble();
    const Json::Value& min = property["min"];
    if (min.isNumeric() && number < min.asDouble())
        return Misfit{&Rules::CODEC_OUT_OF_RANGE, path,
                      filled("\"%s\" is %s, below its minimum %s.", {path, shownValue(value), shownValue(min)})};
    const Json::Value& max = property["max"];
    if (max.isNumeric() && number > max.asDouble())
        return Misfit{&Rules::CODEC_OUT_OF_RANGE, path,
                      filled("\"%s\" is %s, above its maximum %s.", {path, shownValue(value), shownValue(max)})};
    return std::nullopt;
}

std::vector<Misfit> misfits(const std::vector<NamedValue>& values, const Json::Value& properties) {
    std::vector<Misfit> found;
    for (const NamedValue& value : values) {
        const bool declared = properties.isObject() && properties[value.path].isObject();
        if (!value.special.empty())
            found.push_back({&Rules::CODEC_VALUE_SPECIAL, value.path,
                             filled("\"%s\" is %s, which is not a value.", {value.path, value.special})});
        else if (!declared)
            found.push_back(
                {&Rules::CODEC_UNDECLARED, value.path, filled("The definition has no property \"%s\".", {value.path})});
        else if (const std::optional<Misfit> misfit = misfitOf(value.path, value.value, properties[value.path]))
            found.push_back(*misfit);
    }
    return found;
}

} // namespace Kelvra::SCADA::Tool
