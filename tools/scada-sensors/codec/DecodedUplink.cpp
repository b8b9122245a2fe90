#include "codec/DecodedUplink.h"

#include "answer/json.h"
#include "text/filled.h"
#include "text/text.h"

#include <map>
#include <unordered_set>

namespace Kelvra::SCADA::Tool {

namespace {

using Specials = std::map<std::string, std::string>;

// Returns the kind of the value at a path if JSON has no such value; empty for an ordinary value.
std::string kindAt(const CallResult& result, const std::string& path) {
    for (const SpecialValue& special : result.special) {
        if (special.path == path)
            return special.kind;
    }
    return "";
}

std::string wordFor(const CallResult& result, const std::string& path, const Json::Value& value) {
    const std::string kind = kindAt(result, path);
    return kind.empty() ? readableJson(value, "") : kind;
}

/// Examines every path of some data.
class PathCheck {
public:
    explicit PathCheck(const Json::Value& data) { checkBelow("", data); }

    const std::string& fault() const { return found; }

private:
    void checkBelow(const std::string& prefix, const Json::Value& value) {
        for (auto one = value.begin(); found.empty() && one != value.end(); ++one)
            check(prefix + (value.isArray() ? std::to_string(one.index()) : one.name()), *one);
    }

    void check(const std::string& path, const Json::Value& value) {
        constexpr std::size_t MOST_VALUES = 10000;
        if (path.size() > LONGEST_PATH)
            found = filled("a value with a path of more than %s bytes", {std::to_string(LONGEST_PATH)});
        else if (known.size() >= MOST_VALUES)
            found = filled("more than %s values", {std::to_string(MOST_VALUES)});
        else if (!known.insert(path).second)
            found = filled("two values with the path [%s]", {path});
        else
            checkBelow(path + ".", value);
    }

    std::unordered_set<std::string> known;
    std::string found;
};

void takeData(const CallResult& result, const std::string& path, const Json::Value& data, DecodedUplink* uplink) {
    if (!data.isObject()) {
        uplink->fault = filled("It returned %s in place of an object with the values.", {wordFor(result, path, data)});
        return;
    }
    if (const std::string fault = pathFault(data); !fault.empty()) {
        uplink->fault = filled("It returned %s.", {fault});
        return;
    }
    uplink->hasData = true;
    uplink->data = data;
    const std::string prefix = path.empty() ? "" : path + ".";
    for (const SpecialValue& special : result.special) {
        if (startsWith(special.path, prefix))
            uplink->special.push_back({special.path.substr(prefix.size()), special.kind});
    }
}

DecodedUplink readStandard(const CallResult& result) {
    DecodedUplink uplink;
    if (!result.value.isObject()) {
        uplink.fault =
            filled("It returned %s in place of an object with data or errors.", {wordFor(result, "", result.value)});
        return uplink;
    }
    uplink.warnings = readMessages(result.value["warnings"]);
    uplink.errors = readMessages(result.value["errors"]);
    if (!result.value["data"].isNull())
        takeData(result, "data", result.value["data"], &uplink);
    else if (uplink.errors.empty())
        uplink.fault = filled("It returned an object without data and without errors.");
    return uplink;
}

struct Walk {
    const Json::Value& properties;
    Specials specials;
    std::vector<NamedValue> values;
};

bool isDeclared(const Json::Value& properties, const std::string& path) {
    return properties.isObject() && properties.isMember(path) && properties[path].isObject();
}

void walkBelow(const std::string& path, const Json::Value& value, Walk* walk);

// If JSON lacks a value for a part of a list or an object that is declared as a whole, it lacks one for the whole, too.
std::string specialAt(const Specials& specials, const std::string& path) {
    const auto own = specials.find(path);
    if (own != specials.end())
        return own->second;
    const std::string prefix = path + ".";
    const auto below = specials.lower_bound(prefix);
    return below != specials.end() && startsWith(below->first, prefix) ? below->second : "";
}

void walkTo(const std::string& path, const Json::Value& value, Walk* walk) {
    const bool parts = value.isObject() || value.isArray();
    if (parts && !isDeclared(walk->properties, path)) {
        walkBelow(path + ".", value, walk);
        return;
    }
    walk->values.push_back({path, value, specialAt(walk->specials, path)});
}

void walkBelow(const std::string& path, const Json::Value& value, Walk* walk) {
    if (value.isArray()) {
        for (Json::ArrayIndex index = 0; index < value.size(); ++index)
            walkTo(path + std::to_string(index), value[index], walk);
        return;
    }
    for (const std::string& name : value.getMemberNames())
        walkTo(path + name, value[name], walk);
}

} // namespace

std::string pathFault(const Json::Value& data) {
    return PathCheck(data).fault();
}

std::vector<std::string> readMessages(const Json::Value& messages) {
    std::vector<std::string> texts;
    if (messages.isString() && messages.asString().empty())
        return texts;
    if (messages.isString())
        return {messages.asString()};
    if (!messages.isArray())
        return messages.isNull() ? texts : std::vector<std::string>{readableJson(messages, "")};
    for (const Json::Value& one : messages)
        texts.push_back(one.isString() ? one.asString() : readableJson(one, ""));
    return texts;
}

DecodedUplink readResult(const std::string& entryPoint, const CallResult& result) {
    DecodedUplink uplink;
    if (!result.twice.empty()) {
        uplink.fault = filled("It returned %s.", {filled("two values with the name [%s]", {result.twice})});
        return uplink;
    }
    if (entryPoint == STANDARD_ENTRY_POINT)
        return readStandard(result);
    takeData(result, "", result.value, &uplink);
    return uplink;
}

std::vector<NamedValue> namedValues(const DecodedUplink& uplink, const Json::Value& properties) {
    Walk walk = {properties, {}, {}};
    for (const SpecialValue& special : uplink.special)
        walk.specials.emplace(special.path, special.kind);
    if (uplink.hasData)
        walkBelow("", uplink.data, &walk);
    return walk.values;
}

} // namespace Kelvra::SCADA::Tool
