#include "answer/printable.h"
#include "check/definition_difference.h"
#include "check/definition_rules.h"
#include "check/stale_overrides.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/difference_text.h"
#include "commands/effect_text.h"
#include "commands/finding_text.h"
#include "commands/limits.h"
#include "commands/notes.h"
#include "device/Device.h"
#include "device/image.h"
#include "device/owner_of_storage.h"
#include "install/Preflight.h"
#include "text/filled.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

// After so many bytes, differences are only named: a hostile source could make the tool run out of memory. For programs
// the values count, too, which take more memory than their text.
constexpr std::size_t MOST_TEXT = 1024UL * 1024UL;
constexpr std::size_t TEXT_OF_A_VALUE = 32;

std::size_t valuesIn(const Json::Value& value) {
    std::size_t count = 1;
    for (const Json::Value& part : value)
        count += valuesIn(part);
    return count;
}

/// The differences between one definition and the one that it replaces or hides, in words and for programs.
struct Compared {
    bool differs = false;
    std::string words; ///< empty if they do not differ
    Json::Value item{Json::objectValue};
};

/// Compares definitions with those that they hide or replace, one after the other.
class Comparisons {
public:
    Comparisons(bool codec, bool json) : isJson(json), effects(codec, json) {}

    void add(const Definition& from, const Definition& to, const SourceCopy* source) {
        Compared compared;
        compared.item["from"] = from.file;
        compared.item["to"] = source == nullptr ? to.file : source->pathInSource(to.file);
        compared.item["shown"] = shown <= MOST_TEXT;
        if (from.verdict.valid && to.verdict.valid)
            compare(from, to, source, &compared);
        else
            tellUnreadable(from.verdict.valid ? to : from, &compared);
        shown += compared.words.size() + (isJson ? TEXT_OF_A_VALUE * valuesIn(compared.item) : 0);
        byName.emplace(to.name, std::move(compared));
    }

    /// Adds the differences between a hidden default definition and the former one.
    void addFormer(const Definition& former, const Definition& hidden) {
        Compared& compared = byName.at(hidden.name);
        Json::Value& item = compared.item["hidden_before"];
        item["file"] = former.file;
        item["shown"] = shown <= MOST_TEXT;
        const std::size_t length = compared.words.size();
        compared.words += "    " + filled("the default definition has changed since this one was installed:") + "\n";
        if (!former.verdict.valid || !hidden.verdict.valid)
            compared.words += "        " +
                              printable(filled("they cannot be compared: %s",
                                               {(former.verdict.valid ? hidden : former).verdict.state})) +
                              "\n";
        else if (shown > MOST_TEXT)
            compared.words += "        " + filled("they differ; the answer is too long to show more") + "\n";
        else
            compareFormer(differenceBetween(former, hidden), &compared.words, &item);
        shown += compared.words.size() - length + (isJson ? TEXT_OF_A_VALUE * valuesIn(item) : 0);
    }

    const Compared* find(const std::string& name) const {
        const auto found = byName.find(name);
        return found == byName.end() ? nullptr : &found->second;
    }

private:
    void compare(const Definition& from, const Definition& to, const SourceCopy* source, Compared* compared) {
        DefinitionDifference difference = differenceBetween(from, to);
        if (source != nullptr && difference.decoder)
            difference.decoder->to = source->pathInSource(difference.decoder->to);
        compared->differs = !difference.isNone();
        if (compared->differs && shown > MOST_TEXT) {
            compared->words = "    " + filled("they differ; the answer is too long to show more") + "\n";
            return;
        }
        effects.add(from, to);
        compared->words = toText(difference) + effects.textOf(to.name);
        if (!isJson)
            return;
        addDifference(difference, &compared->item);
        if (const Json::Value values = effects.jsonOf(to.name); !values.isNull())
            compared->item["values"] = values;
    }

    void compareFormer(const DefinitionDifference& difference, std::string* words, Json::Value* item) const {
        std::istringstream lines(toText(difference));
        for (std::string line; std::getline(lines, line);)
            *words += "    " + line + "\n";
        if (isJson)
            addDifference(difference, item);
    }

    static void tellUnreadable(const Definition& definition, Compared* compared) {
        compared->differs = true;
        compared->words = "    " + incomparableText(definition) + "\n";
        compared->item["failure"] = definition.verdict.state;
    }

    bool isJson;
    ShownEffects effects;
    std::map<std::string, Compared> byName;
    std::size_t shown = 0;
};

/// The answer, definition by definition.
class Report {
public:
    void add(const std::string& name, const std::string& effect, const std::string& words, const Compared* compared) {
        Json::Value item = compared == nullptr ? Json::Value(Json::objectValue) : compared->item;
        item["name"] = name;
        item["effect"] = effect;
        // A definition without a counterpart differs, unless it is the same byte for byte.
        const bool differs = compared == nullptr ? effect != wordOf(Effect::UNCHANGED) : compared->differs;
        item["differs"] = differs;
        differing += differs ? 1U : 0U;
        result["definitions"].append(item);
        text += printable(name) + ": " + (differs ? words : "no differences") + "\n";
        text += compared == nullptr ? "" : compared->words;
    }

    // Only the check reports findings that are not errors.
    ExitCode end(Findings findings, const Answer& answer) {
        const std::string summary =
            filled("differences in %s of %s",
                   {std::to_string(differing), counted(result["definitions"].size(), "definition")});
        findings.erase(std::remove_if(findings.begin(), findings.end(),
                                      [](const Finding& one) { return one.rule->severity != Severity::ERROR; }),
                       findings.end());
        text += summary + "\n";
        if (!findings.empty())
            return failedFor(findings, ExitCode::FAILED, answer, result, text);
        if (differing == 0)
            return answer.done(result, text);
        return answer.failedAsTold(ExitCode::FAILED, summary, result, text);
    }

private:
    Json::Value result = [] {
        Json::Value members(Json::objectValue);
        members["definitions"] = Json::arrayValue;
        return members;
    }();
    std::string text;
    std::size_t differing = 0;
};

ExitCode diffHidden(Storages& storages, const std::set<std::string>& names, bool codec, const Answer& answer) {
    Report report;
    Findings findings;
    Comparisons comparisons(codec, answer.isJson());
    for (const std::string& name : names) {
        const Definition hidden = storages.of(STORAGE_DEFAULT).load(name);
        const Definition hiding = storages.of(STORAGE_CUSTOM).load(name);
        comparisons.add(hidden, hiding, nullptr);
        if (defaultSince(storages, name) == DefaultSince::CHANGED)
            comparisons.addFormer(readDefinition(storages.formerDefault(name), name), hidden);
        report.add(name, wordOf(Effect::HIDES), wordsFor(Effect::HIDES), comparisons.find(name));
        for (const Definition* definition : {&hidden, &hiding}) {
            if (!definition->verdict.valid)
                append(checkDefinition(*definition), &findings);
        }
    }
    return report.end(findings, answer);
}

ExitCode diffAll(Storages& storages, bool codec, const Answer& answer) {
    noteUnreadableStorages(storages, answer);
    std::set<std::string> names;
    for (const std::string& name : storages.of(STORAGE_CUSTOM).names()) {
        if (storages.isHiding(name))
            names.insert(name);
    }
    return diffHidden(storages, names, codec, answer);
}

ExitCode diffNamed(Storages& storages, const std::string& name, bool codec, const Answer& answer) {
    if (!storages.isHiding(name))
        return answerUnusableName(
            filled("only the %s storage has the definition [%s]", {wordOf(storages.decidingFor(name)), name}), answer);
    return diffHidden(storages, {name}, codec, answer);
}

ExitCode diffSource(const InstallRequest& request, const Answer& answer) {
    const ReadAccess access;
    Device device;
    Comparisons comparisons(request.codec, answer.isJson());
    const Preflight preflight = examine(
        request, device, [&comparisons](const Definition& present, const Definition& wanted, const SourceCopy& source) {
            comparisons.add(present, wanted, &source);
        });
    Report report;
    for (const PlannedDefinition& planned : preflight.definitions) {
        const std::string words = wordsFor(planned.effect);
        const Compared* compared = comparisons.find(planned.name);
        report.add(planned.name, wordOf(planned.effect),
                   planned.refused && compared == nullptr ? "refused (" + words + ")" : words, compared);
    }
    return report.end(preflight.findings, answer);
}

ExitCode diff(const InstallRequest& request, const std::vector<CLI::Option*>& limits, const Answer& answer) {
    Device device;
    const bool named = request.source.empty() || device.storages().lists(request.source);
    for (const CLI::Option* limit : limits) {
        if (named && limit->count() != 0)
            return answer.badUsage(filled("%s needs SRC", {limit->get_name()}));
    }
    if (request.source.empty())
        return diffAll(device.storages(), request.codec, answer);
    if (named)
        return diffNamed(device.storages(), request.source, request.codec, answer);
    if (isImage())
        return answerNoDefinition(request.source, answer);
    if (!isArchive(request.source) && access(request.source.c_str(), F_OK) != 0)
        return answerUnusableName(filled("there is neither a definition nor a source [%s]", {request.source}), answer);
    return runApart(answer, [&](SignalGuard& /*guard*/) { return diffSource(request, answer); });
}

} // namespace

Run declareDiff(CLI::App& app) {
    const auto request = std::make_shared<InstallRequest>();
    request->allowOverwrite = true;
    app.add_option("NAME", request->source,
                   "Definition, as in lora/maker/model, or an installation source, as for install; without it all "
                   "custom definitions that hide others");
    declareNoCodec(app, &request->codec);
    const std::vector<CLI::Option*> limits = declareLimits(app, &request->limits);
    return [request, limits](const Answer& answer) { return diff(*request, limits, answer); };
}

} // namespace Kelvra::SCADA::Tool
