#include "codec/stored_values.h"

#include "codec/value_rules.h"
#include "text/filled.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

template <typename Number> std::optional<Number> numberFrom(const std::string& text) {
    Number number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped == end ? std::optional<Number>(number) : std::nullopt;
}

// Hosts read numbers as C does, which also accepts "21.5 or so". Here the whole text must be a number.
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

StoredValue judged(const std::string& field, const std::string& text, const Json::Value& property) {
    const Json::Value& type = property["type"];
    std::optional<Json::Value> value = valueFrom(text, type.isString() ? type.asString() : "");
    StoredValue stored{field,    StoredValue::State::GOOD, text, value ? std::move(*value) : Json::Value(text), "",
                       &property};
    if (const std::optional<Misfit> misfit = misfitOf(field, stored.value, property)) {
        stored.state = StoredValue::State::BAD;
        stored.fault = misfit->text;
    }
    return stored;
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

// Fields and properties have the same order, by their bytes.
std::vector<StoredValue> storedValues(const std::map<std::string, std::string>& fields, const Json::Value& properties) {
    std::vector<StoredValue> values;
    values.reserve(fields.size() + properties.size());
    auto field = fields.begin();
    const auto addUndeclared = [&values](const auto& one) {
        values.push_back({one.first, StoredValue::State::UNDECLARED, one.second, one.second, "", nullptr});
    };
    for (auto property = properties.begin(); property != properties.end(); ++property) {
        const std::string name = property.name();
        for (; field != fields.end() && field->first < name; ++field)
            addUndeclared(*field);
        const bool isStored = field != fields.end() && field->first == name;
        if (property->isObject())
            values.push_back(isStored ? judged(name, field->second, *property)
                                      : StoredValue{name, StoredValue::State::MISSING, "", {}, "", &*property});
        else if (isStored)
            addUndeclared(*field);
        if (isStored)
            ++field;
    }
    for (; field != fields.end(); ++field)
        addUndeclared(*field);
    return values;
}

} // namespace Kelvra::SCADA::Tool
