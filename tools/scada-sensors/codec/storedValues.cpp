#include "codec/storedValues.h"

#include "codec/valueRules.h"
#include "text/filled.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

namespace Kelvra::SCADA::Tool {

namespace {

template <typename Number> std::optional<Number> numberFrom(const std::string& text) {
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? std::optional<Number>(number) : std::nullopt;
}

// Hosts read numbers as C does, which takes "21.5 or so" for a number too. Here the whole text has to be one.
std::optional<Json::Value> valueFrom(const std::string& text, const std::string& type) {
    if (type == "float") {
        const std::optional<double> number = numberFrom<double>(text);
        return number && std::isfinite(*number) ? std::optional<Json::Value>(*number) : std::nullopt;
    }
    const std::optional<std::int64_t> number = numberFrom<std::int64_t>(text);
    if (type == "bool")
        return number ? std::optional<Json::Value>(*number != 0) : std::nullopt;
    if (type == "int32" || type == "uint32")
        return number ? std::optional<Json::Value>(static_cast<Json::Int64>(*number)) : std::nullopt;
    return Json::Value(text);
}

void judge(const Json::Value& properties, StoredValue* stored) {
    const Json::Value& type = properties[stored->property]["type"];
    const std::optional<Json::Value> value = valueFrom(stored->text, type.isString() ? type.asString() : "");
    stored->value = value.value_or(Json::Value(stored->text));
    for (const Misfit& misfit : misfits({{stored->property, stored->value, ""}}, properties)) {
        stored->state = StoredValue::State::BAD;
        stored->fault = misfit.text;
    }
}

} // namespace

const char* wordOf(StoredValue::State state) {
    switch (state) {
    case StoredValue::State::GOOD:
        return "ok";
    case StoredValue::State::BAD:
        return "bad";
    case StoredValue::State::MISSING:
        return "missing";
    case StoredValue::State::UNDECLARED:
        break;
    }
    return "undeclared";
}

std::vector<StoredValue> storedValues(const std::map<std::string, std::string>& fields, const Json::Value& properties) {
    std::map<std::string, StoredValue> byName;
    for (const auto& [field, text] : fields) {
        StoredValue& stored = byName[field];
        stored = {field, StoredValue::State::UNDECLARED, text, text, ""};
        if (properties[field].isObject()) {
            stored.state = StoredValue::State::GOOD;
            judge(properties, &stored);
        }
    }
    for (const std::string& property : properties.getMemberNames()) {
        if (properties[property].isObject() && fields.count(property) == 0)
            byName[property] = {property, StoredValue::State::MISSING, "", Json::Value(), ""};
    }
    std::vector<StoredValue> values;
    values.reserve(byName.size());
    for (auto& [name, stored] : byName)
        values.push_back(std::move(stored));
    return values;
}

} // namespace Kelvra::SCADA::Tool
