#include "codec/valueRules.h"

#include "check/rules.h"
#include "codec/valueText.h"
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

// Types that are not known say nothing about a value.
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

std::optional<Misfit> misfitOf(const NamedValue& value, const Json::Value& property) {
    if (value.value.isNull())
        return std::nullopt;
    const std::string shown = shownValue(value.value);
    const Json::Value& type = property["type"];
    if (type.isString() && !fits(value.value, type.asString()))
        return Misfit{&Rules::CODEC_VALUE_TYPE, value.path,
                      filled("\"%s\" is %s, which is no %s.", {value.path, shown, type.asString()})};
    if (!value.value.isNumeric())
        return std::nullopt;
    const double number = value.value.asDouble();
    if (property["min"].isNumeric() && number < property["min"].asDouble())
        return Misfit{&Rules::CODEC_OUT_OF_RANGE, value.path,
                      filled("\"%s\" is %s, below its minimum %s.", {value.path, shown, shownValue(property["min"])})};
    if (property["max"].isNumeric() && number > property["max"].asDouble())
        return Misfit{&Rules::CODEC_OUT_OF_RANGE, value.path,
                      filled("\"%s\" is %s, above its maximum %s.", {value.path, shown, shownValue(property["max"])})};
    return std::nullopt;
}

} // namespace

std::vector<Misfit> misfits(const std::vector<NamedValue>& values, const Json::Value& properties) {
    std::vector<Misfit> found;
    for (const NamedValue& value : values) {
        const bool declared = properties.isObject() && properties[value.path].isObject();
        if (!value.special.empty())
            found.push_back({&Rules::CODEC_VALUE_SPECIAL, value.path,
                             filled("\"%s\" is %s, which is no value.", {value.path, value.special})});
        else if (!declared)
            found.push_back(
                {&Rules::CODEC_UNDECLARED, value.path, filled("The definition has no property \"%s\".", {value.path})});
        else if (const std::optional<Misfit> misfit = misfitOf(value, properties[value.path]))
            found.push_back(*misfit);
    }
    return found;
}

} // namespace Kelvra::SCADA::Tool
