#include "codec/differences.h"

#include "answer/json.h"
#include "codec/value_text.h"
#include "text/filled.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

namespace Kelvra::SCADA::Tool {

namespace {

// An empty list or object is a value, so that it does not get lost.
void addLeaves(const std::string& path, const Json::Value& value, std::map<std::string, const Json::Value*>* leaves) {
    if (value.empty() || !(value.isObject() || value.isArray())) {
        (*leaves)[path] = &value;
        return;
    }
    const std::string prefix = path.empty() ? "" : path + ".";
    for (auto one = value.begin(); one != value.end(); ++one)
        addLeaves(prefix + one.key().asString(), *one, leaves);
}

std::map<std::string, const Json::Value*> leavesOf(const Json::Value& data) {
    std::map<std::string, const Json::Value*> leaves;
    if (!data.empty())
        addLeaves("", data, &leaves);
    return leaves;
}

void compareData(const DecodedUplink& expected, const DecodedUplink& found, std::vector<std::string>* texts) {
    std::map<std::string, const Json::Value*> others = leavesOf(found.data);
    std::set<std::string> specials;
    for (const SpecialValue& special : found.special) {
        others.erase(special.path);
        specials.insert(special.path);
    }
    for (const auto& [path, value] : leavesOf(expected.data)) {
        if (specials.count(path) != 0)
            continue;
        const std::string wanted = shownValue(*value);
        const auto other = others.find(path);
        if (other == others.end())
            texts->push_back(filled("\"%s\" is missing and should be %s", {path, wanted}));
        else if (!isSameValue(*value, *other->second))
            texts->push_back(filled("\"%s\" is %s and should be %s", {path, shownValue(*other->second), wanted}));
        if (other != others.end())
            others.erase(other);
    }
    for (const auto& [path, value] : others)
        texts->push_back(filled("\"%s\" is %s and should not be there", {path, shownValue(*value)}));
}

void compareMessages(const char* what, const std::vector<std::string>& expected, const std::vector<std::string>& found,
                     std::vector<std::string>* texts) {
    if (expected != found)
        texts->push_back(filled("the %s are %s and should be %s",
                                {what, readableJson(toArray(found), ""), readableJson(toArray(expected), "")}));
}

} // namespace

bool isSameValue(const Json::Value& one, const Json::Value& other) {
    constexpr double BILLIONTH = 1e-9;
    if (!one.isNumeric() || !other.isNumeric())
        return one == other;
    const double first = one.asDouble();
    const double second = other.asDouble();
    return first == second || std::fabs(first - second) <= BILLIONTH * std::max(std::fabs(first), std::fabs(second));
}

std::vector<std::string> differences(const DecodedUplink& expected, const DecodedUplink& found) {
    std::vector<std::string> texts;
    if (expected.hasData)
        compareData(expected, found, &texts);
    compareMessages("errors", expected.errors, found.errors, &texts);
    compareMessages("warnings", expected.warnings, found.warnings, &texts);
    return texts;
}

} // namespace Kelvra::SCADA::Tool
