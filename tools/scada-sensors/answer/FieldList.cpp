#include "answer/FieldList.h"

#include "answer/json.h"
#include "answer/printable.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::size_t LABEL_WIDTH = 12;

std::string wordsFor(const Json::Value& value) {
    if (value.isNull())
        return "-";
    return value.isString() ? value.asString() : readableJson(value, "");
}

} // namespace

void FieldList::add(const std::string& name, const Json::Value& value) {
    add(name, value, wordsFor(value));
}

void FieldList::add(const std::string& name, const Json::Value& value, const std::string& words) {
    members[name] = value;
    const std::string label = name + ":";
    lines += label + std::string(std::max(label.size() + 1, LABEL_WIDTH) - label.size(), ' ') + printable(words) + "\n";
}

void FieldList::addDocument(const std::string& name, const Json::Value& value) {
    members[name] = value;
    lines += name + ":\n" + readableJson(value, "  ") + "\n";
}

} // namespace Kelvra::SCADA::Tool
