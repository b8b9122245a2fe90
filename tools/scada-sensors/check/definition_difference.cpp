#include "check/definition_difference.h"

#include "text/Descriptor.h"
#include "text/unified_diff.h"

#include <scada/DefinitionsStorage.h>

#include <algorithm>
#include <set>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

// Of both decoders together, in bytes. Decoders in the field have less than a tenth of it.
constexpr std::size_t LONGEST_TEXTS = 1024UL * 1024UL;

using Kind = MemberChange::Kind;

/// Compares two values and notes their differences.
class Comparison {
public:
    /// Returns the differences between the documents, those of the properties first.
    std::vector<MemberChange> run(const Json::Value& from, const Json::Value& to) {
        compare(from, to);
        std::stable_partition(changes.begin(), changes.end(), [](const MemberChange& change) {
            return !change.path.empty() && change.path[0] == DefinitionsStorage::JSON_PROPERTIES_SECTION;
        });
        return std::move(changes);
    }

private:
    // Most parts are equal, and to see that takes much less time than to go through their names.
    void compare(const Json::Value& from, const Json::Value& to) {
        if (from == to)
            return;
        if (from.isObject() && to.isObject())
            compareObjects(from, to);
        else if (isListOfObjects(from) && isListOfObjects(to))
            compareLists(from, to);
        else
            changes.push_back({Kind::CHANGED, path, from, to});
    }

    void compareObjects(const Json::Value& from, const Json::Value& to) {
        const std::vector<std::string> former = from.getMemberNames();
        const std::vector<std::string> latter = to.getMemberNames();
        std::set<std::string> names(former.begin(), former.end());
        names.insert(latter.begin(), latter.end());
        for (const std::string& name : names)
            compareParts(name, from.isMember(name) ? &from[name] : nullptr, to.isMember(name) ? &to[name] : nullptr);
    }

    // The common beginning and end are skipped, so that one additional element is one change.
    void compareLists(const Json::Value& from, const Json::Value& to) {
        const Json::ArrayIndex shorter = std::min(from.size(), to.size());
        Json::ArrayIndex begin = 0;
        while (begin < shorter && from[begin] == to[begin])
            ++begin;
        Json::ArrayIndex same = 0;
        while (same < shorter - begin && from[from.size() - same - 1] == to[to.size() - same - 1])
            ++same;
        for (Json::ArrayIndex at = begin; at < std::max(from.size(), to.size()) - same; ++at)
            compareParts(std::to_string(at), at < from.size() - same ? &from[at] : nullptr,
                         at < to.size() - same ? &to[at] : nullptr);
    }

    // One of them may be missing.
    void compareParts(const std::string& name, const Json::Value* from, const Json::Value* to) {
        path.push_back(name);
        if (from != nullptr && to != nullptr)
            compare(*from, *to);
        else if (to != nullptr)
            changes.push_back({Kind::ADDED, path, Json::Value(), *to});
        else if (from != nullptr)
            changes.push_back({Kind::REMOVED, path, *from, Json::Value()});
        path.pop_back();
    }

    // Other lists, for example of bytes or words, are compared as a whole.
    static bool isListOfObjects(const Json::Value& value) {
        return value.isArray() &&
               std::all_of(value.begin(), value.end(), [](const Json::Value& one) { return one.isObject(); });
    }

    std::vector<std::string> path;
    std::vector<MemberChange> changes;
};

std::optional<DecoderDifference> compareDecoders(const std::string& from, const std::string& to) {
    DecoderDifference difference{from, to, 0, 0, "", ""};
    std::string former;
    std::string latter;
    if (!from.empty())
        difference.failure = readRegularFile(from, &former);
    if (!to.empty() && difference.failure.empty())
        difference.failure = readRegularFile(to, &latter);
    if (difference.failure.empty() && former == latter)
        return std::nullopt;
    difference.fromSize = former.size();
    difference.toSize = latter.size();
    if (difference.failure.empty() && former.size() + latter.size() <= LONGEST_TEXTS)
        difference.hunks = unifiedDiff(former, latter);
    return difference;
}

} // namespace

DefinitionDifference differenceBetween(const Definition& from, const Definition& to) {
    const std::string& former = from.verdict.decoderPath;
    const std::string& latter = to.verdict.decoderPath;
    const std::string& member = DefinitionsStorage::JSON_DECODER_SECTION;
    if (former.empty() || latter.empty() || from.document[member] == to.document[member])
        return {Comparison().run(from.document, to.document), compareDecoders(former, latter)};
    Json::Value document = to.document;
    document[member] = from.document[member];
    return {Comparison().run(from.document, document), compareDecoders(former, latter)};
}

} // namespace Kelvra::SCADA::Tool
