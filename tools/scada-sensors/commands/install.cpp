#include "answer/json.h"
#include "answer/printable.h"
#include "check/stale_overrides.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/effect_text.h"
#include "commands/finding_text.h"
#include "commands/limits.h"
#include "commands/losses.h"
#include "commands/operation.h"
#include "device/Device.h"
#include "device/owner_of_storage.h"
#include "install/InstallJudge.h"
#include "install/InstalledModes.h"
#include "install/ListReplacement.h"
#include "install/Preflight.h"
#include "install/PrivateStaging.h"
#include "install/Progress.h"
#include "install/generations.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/DefinitionsDeployment.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

std::string refusalText(const Findings& findings) {
    return filled("the installation is refused: %s; nothing has been changed",
                  {counted(errorCount(findings), "error")});
}

ExitCode refuse(const Findings& findings, const Answer& answer) {
    Json::Value result(Json::objectValue);
    result["findings"] = toJson(findings);
    return answer.failed(ExitCode::REFUSED, refusalText(findings), result, toText(findings, standardOutput()));
}

// --- the dry run

std::string toText(const PropertyChange& change) {
    const std::string property = "    property [" + printable(change.property) + "] ";
    if (change.member.empty())
        return property + "disappears\n";
    return property + "changes its " + change.member + " from " + readableJson(change.from, "") + " to " +
           readableJson(change.to, "") + "\n";
}

std::string toText(const PlannedDefinition& planned, const std::vector<std::string>& sensors,
                   const ShownEffects& effects) {
    const std::string effect = wordsFor(planned.effect);
    std::string text = printable(planned.name) + ": " + (planned.refused ? "refused (" + effect + ")" : effect) + "\n";
    for (const std::string& sensor : sensors)
        text += "    used by sensor " + printable(sensor) + "\n";
    for (const PropertyChange& change : planned.changes)
        text += toText(change);
    return text + effects.textOf(planned.name);
}

Json::Value toJson(const PlannedDefinition& planned, const Json::Value& sensors, const ShownEffects& effects) {
    Json::Value item(Json::objectValue);
    item["name"] = planned.name;
    item["state"] = planned.refused ? "refused" : wordOf(planned.effect);
    item["effect"] = wordOf(planned.effect);
    item["hides"] = orNull(planned.hidesDefault ? wordOf(STORAGE_DEFAULT) : "");
    item["sensors"] = sensors;
    if (const Json::Value values = effects.jsonOf(planned.name); !values.isNull())
        item["values"] = values;
    item["properties"] = Json::arrayValue;
    for (const PropertyChange& change : planned.changes) {
        Json::Value& property = item["properties"].append(Json::objectValue);
        property["property"] = change.property;
        property["change"] = change.member.empty() ? "disappears" : change.member;
        if (change.member.empty())
            continue;
        property["from"] = change.from;
        property["to"] = change.to;
    }
    return item;
}

std::string summaryOf(const std::vector<PlannedDefinition>& definitions) {
    std::map<std::string, std::size_t> counts;
    for (const PlannedDefinition& planned : definitions)
        ++counts[planned.refused ? "refused" : wordOf(planned.effect)];
    std::string text = counted(definitions.size(), "definition");
    const char* separator = ": ";
    for (const auto& [state, count] : counts) {
        text += separator + std::to_string(count) + " " + state;
        separator = ", ";
    }
    return text + "\n";
}

// Adds the effect on each definition.
void addDefinitions(const Preflight& preflight, const ManagedList& list, const ShownEffects& effects, bool json,
                    Json::Value* result, std::string* text) {
    const auto sensors = list.sensorsByDefinition();
    (*result)["definitions"] = Json::arrayValue;
    for (const PlannedDefinition& planned : preflight.definitions) {
        const auto users = sensors.find(planned.name);
        const std::vector<std::string> keys = users == sensors.end() ? std::vector<std::string>() : users->second;
        if (json)
            (*result)["definitions"].append(toJson(planned, list.isUsable() ? toArray(keys) : Json::Value(), effects));
        else
            *text += toText(planned, keys, effects);
    }
    *text += summaryOf(preflight.definitions);
}

Json::Value toJson(const PlannedList& list, const std::string& state) {
    Json::Value item(Json::objectValue);
    item["file"] = list.file;
    item["state"] = state;
    return item;
}

// Adds the effect on the list, if the user asked for it.
void addList(const Preflight& preflight, Json::Value* result, std::string* text) {
    if (!preflight.list)
        return;
    const PlannedList& list = *preflight.list;
    (*result)["list"] = toJson(list, preflight.isRefused() ? "refused" : wordOf(list.effect));
    if (preflight.isRefused())
        return;
    const std::string file = printable(list.file);
    if (list.effect == PlannedList::Effect::UNCHANGED)
        *text += filled("managed-sensors list [%s]: unchanged", {file}) + "\n";
    else if (list.effect == PlannedList::Effect::REPLACES)
        *text += filled("managed-sensors list [%s]: replaced by that of the source", {file}) + "\n";
    else
        *text += filled("managed-sensors list [%s]: new", {file}) + "\n";
}

ExitCode dryRun(const InstallRequest& request, const Answer& answer) {
    const ReadAccess access;
    Device device;
    ShownEffects effects(request.codec, answer.isJson());
    const Preflight preflight = examine(request, device,
                                        [&effects](const Definition& present, const Definition& wanted,
                                                   const SourceCopy& /*source*/) { effects.add(present, wanted); });
    if (!device.list().isUsable())
        answer.note(filled("the managed-sensors list cannot be used, so no sensors are shown: scada-sensors check"));
    Json::Value result(Json::objectValue);
    result["findings"] = toJson(preflight.findings);
    std::string text = toText(preflight.findings, standardOutput());
    addDefinitions(preflight, device.list(), effects, answer.isJson(), &result, &text);
    addList(preflight, &result, &text);
    if (preflight.isRefused())
        return answer.failed(ExitCode::REFUSED, refusalText(preflight.findings), result, text);
    const std::vector<Loss> losses = lossesOfInstallation(preflight.definitions, device.list());
    if (const std::string refusal = request.ifUnused ? refusalFor(losses, device.list()) : ""; !refusal.empty())
        return answer.failed(ExitCode::REFUSED, refusal, result, text);
    if (preflight.definitions.empty() && !preflight.writesList())
        text += filled("nothing to install") + "\n";
    return answer.done(result, text + filled("nothing has been changed") + "\n");
}

// --- the installation

constexpr const char* CLEAR_LINE = "\r\x1b[K";

void showProgress(const ProgressCounts& counts) {
    (void)std::fprintf(stderr, "%s%zu of %zu checked, %zu installed", CLEAR_LINE, counts.staged, counts.total,
                       counts.installed);
    (void)std::fflush(stderr);
}

// The library also rejects identical definitions. The preflight has refused every definition that differs, so
// overwriting is safe.
bool overwrites(const InstallRequest& request, const Preflight& preflight) {
    return request.allowOverwrite ||
           std::any_of(preflight.definitions.begin(), preflight.definitions.end(),
                       [](const PlannedDefinition& planned) { return planned.effect == Effect::UNCHANGED; });
}

bool deploySource(const InstallRequest& request, const Preflight& preflight, bool progress, std::string* error) {
    std::set<std::string> names;
    for (const PlannedDefinition& planned : preflight.definitions)
        names.insert(planned.name);
    const PrivateStaging staging;
    std::optional<Progress> shown;
    if (progress)
        shown.emplace(names, showProgress);
    bool deployed = false;
    try {
        deployed = DefinitionsDeployment().deploy(preflight.intake->copy().dir, overwrites(request, preflight), error);
    } catch (const std::exception& e) {
        *error = e.what();
    }
    shown.reset();
    if (progress)
        (void)std::fputs(CLEAR_LINE, stderr);
    return deployed;
}

std::string linesOf(const std::string& word, const std::vector<std::string>& names) {
    std::string lines;
    for (const std::string& name : names)
        lines += word + " " + printable(name) + "\n";
    return lines;
}

std::string toText(const InstallResult& result) {
    return linesOf("installed", result.installed) + linesOf("unchanged", result.unchanged) +
           linesOf("not installed", result.notInstalled);
}

Json::Value toJson(const Findings& findings, const InstallResult& result) {
    Json::Value members(Json::objectValue);
    members["findings"] = toJson(findings);
    members["installed"] = toArray(result.installed);
    members["unchanged"] = toArray(result.unchanged);
    members["not_installed"] = toArray(result.notInstalled);
    return members;
}

/// The definitions that an installation has put in place, and the list.
struct Installed {
    const Preflight& preflight;
    InstallResult definitions;
    std::string note; ///< the reason why the history is not complete, or nothing
};

// Adds the result for the list, if the user asked for it.
void addListDone(const Preflight& preflight, bool written, Json::Value* result, std::string* text) {
    if (!preflight.list)
        return;
    const bool unchanged = !preflight.writesList();
    const std::string word = unchanged ? "unchanged" : written ? "installed" : "not installed";
    (*result)["list"] = toJson(*preflight.list, word);
    *text += word + " " + filled("managed-sensors list [%s]", {printable(preflight.list->file)}) + "\n";
}

// Ends an installation whose definitions are in place, and puts the list in place if there is one.
ExitCode finish(const Installed& made, ListReplacement* list, const std::vector<Loss>& losses, const SignalGuard& guard,
                const Answer& answer) {
    const Preflight& preflight = made.preflight;
    if (!made.note.empty())
        answer.note(made.note);
    const std::string failure = list == nullptr ? "" : list->putInPlace();
    Json::Value result = toJson(preflight.findings, made.definitions);
    if (!made.definitions.installed.empty())
        result["losses"] = toJson(losses);
    std::string text = toText(preflight.findings, standardOutput()) + toText(made.definitions);
    addListDone(preflight, failure.empty(), &result, &text);
    text += toText(losses);
    tellSignal(guard, answer, &result);
    if (failure.empty())
        return answer.done(result, text);
    return answer.failed(ExitCode::FAILED,
                         filled("the definitions are in place, but not the managed-sensors list: %s", {failure}),
                         result, text);
}

// Whoever installs a definition again has accepted the default one of now. Returns a note if that cannot be remembered.
std::string rememberDefaults(const Preflight& preflight, const std::vector<std::string>& unchanged,
                             const Storages& storages) {
    const std::set<std::string> wanted(unchanged.begin(), unchanged.end());
    std::map<std::string, InstalledFiles> stale;
    for (const PlannedDefinition& planned : preflight.definitions) {
        if (wanted.count(planned.name) != 0 && planned.former &&
            isRememberedOtherwise(storages, planned.name, *planned.former))
            stale.emplace(planned.name, *planned.former);
    }
    try {
        return renewDefaults(stale);
    } catch (const std::exception& e) {
        return filled("the default definitions below unchanged ones could not be noted: %s", {e.what()});
    }
}

// Writes no definition, not even the same bytes again.
ExitCode installUnchanged(const Preflight& preflight, const Storages& storages, SignalGuard& guard,
                          const Answer& answer) {
    Installed made{preflight, {}, ""};
    for (const PlannedDefinition& planned : preflight.definitions)
        made.definitions.unchanged.push_back(planned.name);
    std::optional<ListReplacement> list;
    if (preflight.writesList()) {
        list.emplace(*preflight.list);
        guard.begin();
    }
    made.note = rememberDefaults(preflight, made.definitions.unchanged, storages);
    return finish(made, list ? &*list : nullptr, {}, guard, answer);
}

// Installs in the next generation, and notes the result in `*made`. Returns why the generation must not be put in
// place.
std::string deployInto(const NextGeneration& next, const InstallRequest& request, const Preflight& preflight,
                       bool progress, InstallResult* made) {
    const InstallJudge judge(preflight.definitions);
    const InstalledModes modes(preflight.definitions);
    for (const PlannedDefinition& planned : preflight.definitions)
        next.makeRoomFor(planned.name);
    std::string error;
    const bool deployed = deploySource(request, preflight, progress, &error);
    *made = judge.compare();
    if (!deployed)
        return error;
    // The library skips a staged copy that does not read back, without a failure.
    if (!made->notInstalled.empty())
        return error.empty() ? filled("some definitions could not be installed")
                             : filled("some definitions could not be installed: %s", {error});
    return modes.apply();
}

// Keeps the default definitions that the new ones hide.
std::vector<HistoryChange> changesOf(const InstallResult& made, const Preflight& preflight,
                                     const NextGeneration& next) {
    std::set<std::string> hiding;
    for (const PlannedDefinition& planned : preflight.definitions) {
        if (planned.hidesDefault)
            hiding.insert(planned.name);
    }
    std::vector<HistoryChange> changes;
    for (const std::string& name : made.installed) {
        const InstalledFiles files = installedFiles(name);
        const bool hides = hiding.count(name) != 0;
        changes.push_back({"installed", name, contentHash(files), hides ? next.keepDefault(name, files) : ""});
    }
    return changes;
}

ExitCode answerFailure(const Preflight& preflight, InstallResult made, const std::string& error, const Answer& answer) {
    if (!isUnfinished(GenerationPaths::ofDevice())) {
        made.notInstalled.insert(made.notInstalled.end(), made.installed.begin(), made.installed.end());
        std::sort(made.notInstalled.begin(), made.notInstalled.end());
        made.installed.clear();
    }
    return failedOperation(error, toJson(preflight.findings, made),
                           toText(preflight.findings, standardOutput()) + toText(made), answer);
}

ExitCode deploy(const InstallRequest& request, const Preflight& preflight, const Storages& storages,
                const std::vector<Loss>& losses, SignalGuard& guard, const Answer& answer) {
    InstallResult made;
    for (const PlannedDefinition& planned : preflight.definitions)
        made.notInstalled.push_back(planned.name);
    std::optional<ListReplacement> list;
    std::string note;
    try {
        // Written before anything is changed: afterwards only the change of its name can fail.
        if (preflight.writesList())
            list.emplace(*preflight.list);
        NextGeneration next;
        const bool progress = !answer.isQuiet() && isatty(STDERR_FILENO) != 0;
        const std::string error = deployInto(next, request, preflight, progress, &made);
        if (!error.empty())
            return answerFailure(preflight, made, error, answer);
        const HistoryEntry entry = historyEntryOf("install", changesOf(made, preflight, next));
        note = next.putInPlace(entry, [&guard] { guard.begin(); });
    } catch (const std::exception& e) {
        return answerFailure(preflight, made, e.what(), answer);
    }
    const std::string unnoted = rememberDefaults(preflight, made.unchanged, storages);
    return finish({preflight, made, note.empty() ? unnoted : note}, list ? &*list : nullptr, losses, guard, answer);
}

ExitCode answerNothing(const Preflight& preflight, const Answer& answer) {
    Json::Value result = toJson(preflight.findings, InstallResult());
    result["note"] = filled("nothing to install");
    return answer.done(result, toText(preflight.findings, standardOutput()) + filled("nothing to install") + "\n");
}

ExitCode installTaken(const InstallRequest& request, std::unique_ptr<Intake> intake, SignalGuard& guard,
                      const Answer& answer) {
    if (const std::optional<ExitCode> unsafe = refuseUnsafe(answer))
        return *unsafe;
    std::optional<ReadAccess> access(std::in_place);
    Device device;
    const Preflight preflight = examine(request, std::move(intake), device);
    access.reset();
    if (preflight.isRefused())
        return refuse(preflight.findings, answer);
    if (preflight.definitions.empty() && !preflight.list)
        return answerNothing(preflight, answer);
    if (preflight.definitions.empty() || preflight.isUnchanged())
        return installUnchanged(preflight, device.storages(), guard, answer);
    const std::vector<Loss> losses = lossesOfInstallation(preflight.definitions, device.list());
    if (const std::string refusal = request.ifUnused ? refusalFor(losses, device.list()) : ""; !refusal.empty())
        return refuseLosses(losses, refusal, answer);
    return deploy(request, preflight, device.storages(), losses, guard, answer);
}

// The source is read before the lock is taken: an archive on standard input may take long to arrive.
ExitCode install(const InstallRequest& request, SignalGuard& guard, const Answer& answer) {
    std::optional<ReadAccess> access(std::in_place);
    const Findings directories = checkDirectories(request.source);
    if (!directories.empty())
        return refuse(directories, answer);
    auto intake = std::make_unique<Intake>(request.source, request.limits);
    access.reset();
    return withLock(answer, [&] { return installTaken(request, std::move(intake), guard, answer); });
}

} // namespace

Run declareInstall(CLI::App& app) {
    const auto request = std::make_shared<InstallRequest>();
    app.add_option("SRC", request->source,
                   "Directory or archive with the definitions to install; - reads an archive from standard input")
        ->required();
    app.add_flag("--allow-overwrite", request->allowOverwrite, "Replace installed definitions of the same names");
    declareWithList(app, "Put the managed-sensors list of the source in place, too", &request->withList);
    const CLI::Option* dry = app.add_flag("--dry-run", "Show what would happen, and change nothing");
    declareIfUnused(app, &request->ifUnused);
    declareNoCodec(app, &request->codec);
    declareLimits(app, &request->limits);
    return [request, dry](const Answer& answer) {
        if (dry->count() != 0)
            return runApart(answer, [&](SignalGuard& /*guard*/) { return dryRun(*request, answer); });
        return runApart(answer, [&](SignalGuard& guard) { return install(*request, guard, answer); });
    };
}

} // namespace Kelvra::SCADA::Tool
