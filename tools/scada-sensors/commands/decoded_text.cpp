#include "commands/decoded_text.h"

#include "answer/Table.h"
#include "answer/json.h"
#include "answer/printable.h"
#include "codec/value_text.h"
#include "commands/definition_fields.h"
#include "commands/finding_text.h"
#include "text/filled.h"

namespace Kelvra::SCADA::Tool {

namespace {

std::string shown(const NamedValue& value) {
    if (!value.special.empty())
        return value.special;
    return value.value.isString() ? value.value.asString() : shownValue(value.value);
}

std::string messagesOf(const DecodedAnswer& decoded) {
    std::string text;
    for (const std::string& warning : decoded.warnings)
        text += printable(filled("warning of the decoder: %s", {warning})) + "\n";
    for (const std::string& error : decoded.errors)
        text += printable(filled("error of the decoder: %s", {error})) + "\n";
    return text + toText(decoded.findings);
}

} // namespace

std::string DecodedAnswer::error() const {
    if (!errors.empty())
        return filled("the decoder refused the uplink: %s", {errors.front()});
    for (const Finding& finding : findings) {
        if (!isDecoded || finding.rule->severity == Severity::ERROR)
            return finding.text;
    }
    return "";
}

Json::Value toJson(const DecodedAnswer& decoded, const Json::Value& properties) {
    Json::Value result(Json::objectValue);
    result["values"] = Json::arrayValue;
    for (const NamedValue& value : decoded.values) {
        Json::Value& item = result["values"].append(Json::objectValue);
        item["property"] = value.path;
        item["value"] = value.value;
        item["unit"] = orNull(memberOf(properties, value.path, "unit"));
        if (!value.special.empty())
            item["special"] = value.special;
    }
    result["warnings"] = toArray(decoded.warnings);
    result["errors"] = toArray(decoded.errors);
    result["findings"] = toJson(decoded.findings);
    return result;
}

std::string toText(const DecodedAnswer& decoded, const Json::Value& properties) {
    AlignedColumns rows;
    for (const NamedValue& value : decoded.values)
        rows.add({value.path, shown(value), orDash(memberOf(properties, value.path, "unit")),
                  orDash(memberOf(properties, value.path, "name"))});
    return rows.text(standardOutput()) + messagesOf(decoded);
}

std::string toLine(const DecodedAnswer& decoded, const Json::Value& properties) {
    std::string line;
    for (const NamedValue& value : decoded.values) {
        const std::string unit = memberOf(properties, value.path, "unit");
        line += (line.empty() ? "" : ", ") + value.path + " " + shown(value) + (unit.empty() ? "" : " " + unit);
    }
    return (line.empty() ? "" : printable(line) + "\n") + messagesOf(decoded);
}

std::vector<std::pair<std::string, std::string>> storedFields(const DecodedAnswer& decoded,
                                                              const Json::Value& properties) {
    std::vector<std::pair<std::string, std::string>> fields;
    for (const NamedValue& value : decoded.values) {
        bool fits = value.special.empty() && !value.value.isNull();
        for (const Misfit& misfit : misfits({value}, properties))
            fits = fits && misfit.rule->severity != Severity::ERROR;
        if (fits)
            fields.emplace_back(value.path, storedValue(value.value));
    }
    return fields;
}

} // namespace Kelvra::SCADA::Tool
