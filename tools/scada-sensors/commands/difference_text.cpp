#include "commands/difference_text.h"

#include "answer/json.h"
#include "answer/printable.h"
#include "text/filled.h"

#include <scada/DefinitionsStorage.h>

#include <cstddef>
#include <sstream>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* INDENTATION = "    ";
constexpr const char* NO_FILE = "/dev/null";

const char* changeWord(MemberChange::Kind kind) {
    if (kind == MemberChange::Kind::ADDED)
        return "added";
    return kind == MemberChange::Kind::REMOVED ? "removed" : "changed";
}

bool isOfProperty(const MemberChange& change) {
    return change.path.size() > 1 && change.path[0] == DefinitionsStorage::JSON_PROPERTIES_SECTION;
}

std::string joined(const std::vector<std::string>& path, std::size_t first) {
    std::string text;
    for (std::size_t at = first; at < path.size(); ++at)
        text += (at == first ? "" : ".") + path[at];
    return printable(text);
}

std::string fromTo(const MemberChange& change) {
    return "from " + shortJson(change.from) + " to " + shortJson(change.to);
}

// Describes the change of a property or a member of the document as a whole.
std::string whole(const std::string& what, const MemberChange& change) {
    if (change.kind == MemberChange::Kind::CHANGED)
        return what + " changes " + fromTo(change);
    return change.kind == MemberChange::Kind::ADDED ? what + " is new: " + shortJson(change.to)
                                                    : what + " disappears: " + shortJson(change.from);
}

std::string toText(const MemberChange& change) {
    if (!isOfProperty(change))
        return whole("member [" + joined(change.path, 0) + "]", change);
    const std::string property = "property [" + printable(change.path[1]) + "]";
    if (change.path.size() == 2)
        return whole(property, change);
    const std::string member = joined(change.path, 2);
    if (change.kind == MemberChange::Kind::CHANGED)
        return property + " changes its " + member + " " + fromTo(change);
    return change.kind == MemberChange::Kind::ADDED ? property + " gets " + member + ": " + shortJson(change.to)
                                                    : property + " loses " + member + ": " + shortJson(change.from);
}

std::string indented(const std::string& text) {
    constexpr const char* TAB = "    ";
    std::istringstream lines(text);
    std::string shown;
    for (std::string line; std::getline(lines, line);) {
        std::string untabbed;
        for (const char c : line)
            c == '\t' ? untabbed += TAB : untabbed += c;
        shown += INDENTATION + printable(untabbed) + "\n";
    }
    return shown;
}

std::string toText(const DecoderDifference& decoder) {
    const std::string& from = decoder.from.empty() ? NO_FILE : decoder.from;
    const std::string& to = decoder.to.empty() ? NO_FILE : decoder.to;
    if (!decoder.failure.empty())
        return indented(filled("the decoders [%s] and [%s] cannot be compared: %s", {from, to, decoder.failure}));
    if (decoder.hunks.empty())
        return indented(filled("the decoders [%s] and [%s] differ and are too long to be shown: %s and %s bytes",
                               {from, to, std::to_string(decoder.fromSize), std::to_string(decoder.toSize)}));
    return indented("--- " + from) + indented("+++ " + to) + indented(decoder.hunks);
}

Json::Value toJson(const MemberChange& change) {
    Json::Value item(Json::objectValue);
    item["change"] = changeWord(change.kind);
    item["path"] = toArray(change.path);
    if (isOfProperty(change))
        item["property"] = change.path[1];
    if (change.kind != MemberChange::Kind::ADDED)
        item["from"] = change.from;
    if (change.kind != MemberChange::Kind::REMOVED)
        item["to"] = change.to;
    return item;
}

Json::Value toJson(const DecoderDifference& decoder) {
    Json::Value item(Json::objectValue);
    item["from"] = orNull(decoder.from);
    item["to"] = orNull(decoder.to);
    item["failure"] = orNull(decoder.failure);
    item["diff"] = orNull(decoder.hunks);
    return item;
}

} // namespace

std::string toText(const DefinitionDifference& difference) {
    std::string text;
    for (const MemberChange& change : difference.members)
        text += INDENTATION + toText(change) + "\n";
    if (difference.decoder)
        text += toText(*difference.decoder);
    return text;
}

std::string incomparableText(const Definition& broken) {
    return printable(filled("they cannot be compared: %s", {broken.verdict.state}));
}

void addDifference(const DefinitionDifference& difference, Json::Value* item) {
    (*item)["changes"] = Json::arrayValue;
    for (const MemberChange& change : difference.members)
        (*item)["changes"].append(toJson(change));
    (*item)["decoder"] = difference.decoder ? toJson(*difference.decoder) : Json::Value();
}

} // namespace Kelvra::SCADA::Tool
