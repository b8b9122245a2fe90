#include "commands/effect_text.h"

#include "answer/json.h"
#include "answer/printable.h"
#include "codec/value_text.h"
#include "text/filled.h"

#include <optional>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

// After so many bytes, no more decoders are run: a hostile source could make the tool run out of memory.
constexpr std::size_t MOST_EFFECT_TEXT = 1024UL * 1024UL;

std::string wordsFor(const MeasuredValue& measured) {
    const std::string& special = measured.value.special;
    const std::string words = special.empty() ? shownValue(measured.value.value) : special;
    return measured.unit.empty() ? words : words + " " + measured.unit;
}

std::string fromTo(const std::string& what, const std::string& from, const std::string& to) {
    if (from.empty())
        return what + to + " appears";
    return what + from + (to.empty() ? " disappears" : " becomes " + to);
}

std::string quoted(const std::string& text) {
    return text.empty() ? "" : "\"" + text + "\"";
}

std::string wordsFor(const ResultChange& change) {
    if (change.kind == ResultChange::Kind::RESULT)
        return change.toText + " in place of " + change.fromText;
    if (change.kind != ResultChange::Kind::VALUE)
        return fromTo(change.kind == ResultChange::Kind::ERROR ? "the error " : "the warning ", quoted(change.fromText),
                      quoted(change.toText));
    const std::string& path = (change.from ? change.from : change.to)->value.path;
    return fromTo(path + " ", change.from ? wordsFor(*change.from) : "", change.to ? wordsFor(*change.to) : "");
}

const char* changeWord(ResultChange::Kind kind) {
    if (kind == ResultChange::Kind::VALUE)
        return "value";
    if (kind == ResultChange::Kind::RESULT)
        return "result";
    return kind == ResultChange::Kind::ERROR ? "error" : "warning";
}

Json::Value toJson(const std::optional<MeasuredValue>& measured) {
    if (!measured)
        return {};
    Json::Value item(Json::objectValue);
    item["value"] = measured->value.value;
    if (!measured->value.special.empty())
        item["special"] = measured->value.special;
    item["unit"] = orNull(measured->unit);
    return item;
}

Json::Value toJson(const ResultChange& change) {
    Json::Value item(Json::objectValue);
    item["example"] = change.example;
    item["change"] = changeWord(change.kind);
    const bool isValue = change.kind == ResultChange::Kind::VALUE;
    if (isValue)
        item["path"] = (change.from ? change.from : change.to)->value.path;
    item["from"] = isValue ? toJson(change.from) : orNull(change.fromText);
    item["to"] = isValue ? toJson(change.to) : orNull(change.toText);
    return item;
}

std::string toText(const EffectOfChange& effect) {
    std::string text;
    for (const ResultChange& change : effect.changes)
        text += "    " + printable(wordsFor(change) + " in \"" + change.example + "\"") + "\n";
    if (!effect.reason.empty())
        text += "    " + printable(filled("the effect on the values is not known: %s", {effect.reason})) + "\n";
    return text;
}

Json::Value toJson(const EffectOfChange& effect) {
    Json::Value item(Json::objectValue);
    item["reason"] = orNull(effect.reason);
    item["changes"] = Json::arrayValue;
    for (const ResultChange& change : effect.changes)
        item["changes"].append(toJson(change));
    return item;
}

} // namespace

void ShownEffects::add(const Definition& present, const Definition& wanted) {
    if (!isWanted)
        return;
    const EffectOfChange effect = shown > MOST_EFFECT_TEXT
                                      ? EffectOfChange{{}, filled("the answer is too long to show more"), true}
                                      : effectOfChange(present, wanted);
    if (!effect.isTold)
        return;
    std::string text = toText(effect);
    shown += text.size();
    if (isJson)
        values.emplace(wanted.name, toJson(effect));
    else
        texts.emplace(wanted.name, std::move(text));
}

std::string ShownEffects::textOf(const std::string& definition) const {
    const auto found = texts.find(definition);
    return found == texts.end() ? "" : found->second;
}

Json::Value ShownEffects::jsonOf(const std::string& definition) const {
    const auto found = values.find(definition);
    return found == values.end() ? Json::Value() : found->second;
}

} // namespace Kelvra::SCADA::Tool
