#include "answer/json.h"
#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/losses.h"
#include "commands/operation.h"
#include "device/InstalledFiles.h"
#include "device/Storages.h"
#include "device/paths.h"
#include "install/generations.h"
#include "install/remove_definition.h"
#include "text/filled.h"
#include "text/library_texts.h"
#include "text/text.h"

#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

struct RemoveArguments {
    std::vector<std::string> names;
    bool all = false;
    bool yes = false;
    bool ifUnused = false;
};

/// The definitions that were removed, and those that were not.
class Removal {
public:
    void removed(const std::string& name, bool uncovers) {
        allMissing = false;
        Json::Value& item = members["removed"].append(Json::objectValue);
        item["name"] = name;
        item["uncovers"] = orNull(uncovers ? wordOf(STORAGE_DEFAULT) : "");
        lines += "removed " + printable(name) + (uncovers ? "; the default definition is in force again" : "") + "\n";
    }
    void failed(const std::string& name, const std::string& error, bool exists) {
        allMissing = allMissing && !exists;
        Json::Value& item = members["failed"].append(Json::objectValue);
        item["name"] = name;
        item["error"] = error;
        lines += "not removed " + printable(name) + ": " + printable(error) + "\n";
    }
    void lost(const std::vector<Loss>& losses) {
        members["losses"] = toJson(losses);
        lines += toText(losses);
    }
    ExitCode answerWith(const SignalGuard& guard, const Answer& answer) {
        tellSignal(guard, answer, &members);
        if (members["failed"].empty())
            return answer.done(members, lines);
        return answer.failed(allMissing ? ExitCode::NOT_FOUND : ExitCode::FAILED,
                             filled("%s not removed", {counted(members["failed"].size(), "definition")}), members,
                             lines);
    }
    /// Answers that nothing has been changed after all, or that the extent of the changes is not known.
    static ExitCode answerFailure(const std::string& error, const Answer& answer) {
        return failedOperation(error, Removal().members, "", answer);
    }
    bool hasRemoved() const { return !members["removed"].empty(); }

    Removal() {
        members["removed"] = Json::arrayValue;
        members["failed"] = Json::arrayValue;
    }

private:
    Json::Value members{Json::objectValue};
    std::string lines;
    bool allMissing = true;
};

bool isConfirmed(std::size_t definitions) {
    std::cerr << printable(filled("Remove %s and everything else in [%s]? [y/N] ",
                                  {counted(definitions, "custom definition"), Env::inst().conf().getDfnCustomDir()}))
              << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

// Whether the custom storage has an entry that can be removed by this name.
bool isThere(const Storages& before, const std::string& name) {
    const DefinitionDirectory& custom = before.of(STORAGE_CUSTOM);
    return custom.lists(name) || hasSpecialFile(custom.path(), name);
}

void removeNames(const std::set<std::string>& names, const Storages& before, Removal* removal,
                 std::vector<HistoryChange>* changes) {
    for (const std::string& name : names) {
        const bool exists = isThere(before, name);
        const HistoryChange change{"removed", name, contentHash(installedFiles(name))};
        std::string error = filled(LibraryText::DEFINITION_NOT_FOUND, {name});
        if (exists && removeDefinition(name, &error)) {
            removal->removed(name, before.isHiding(name));
            changes->push_back(change);
        } else {
            removal->failed(name, error, exists);
        }
    }
}

// Notes the definitions that are gone when an empty storage replaces the present one.
void noteAll(const Storages& before, Removal* removal, std::vector<HistoryChange>* changes) {
    const DefinitionDirectory& custom = before.of(STORAGE_CUSTOM);
    for (const std::string& name : custom.names()) {
        changes->push_back({"removed", name, contentHash(installedFiles(custom.path(), name))});
        removal->removed(name, before.isHiding(name));
    }
}

// Returns the exit code of the command if it must not go on.
std::optional<ExitCode> refuse(const RemoveArguments& asked, const Answer& answer) {
    if (asked.all == !asked.names.empty())
        return answer.badUsage(filled("remove needs either names or --all"));
    if (asked.yes && !asked.all)
        return answer.badUsage(filled("--yes belongs to --all"));
    if (const std::optional<ExitCode> unsafe = refuseUnsafe(answer))
        return unsafe;
    if (!asked.all || asked.yes)
        return std::nullopt;
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0)
        return answer.badUsage(filled("remove --all asks on a terminal; elsewhere it needs --yes"));
    if (!isConfirmed(Storages().of(STORAGE_CUSTOM).names().size()))
        return answer.failed(ExitCode::REFUSED, filled("nothing has been removed"));
    return std::nullopt;
}

ExitCode removeFrom(const Storages& before, const RemoveArguments& asked, const std::vector<Loss>& losses,
                    SignalGuard& guard, const Answer& answer) {
    Removal removal;
    std::vector<HistoryChange> changes;
    std::string note;
    try {
        NextGeneration next(asked.all ? NextGeneration::Start::EMPTY : NextGeneration::Start::COPY);
        if (asked.all)
            noteAll(before, &removal, &changes);
        else
            removeNames({asked.names.begin(), asked.names.end()}, before, &removal, &changes);
        if (!asked.all && !removal.hasRemoved())
            return removal.answerWith(guard, answer);
        note = next.putInPlace(historyEntryOf("remove", changes), [&guard] { guard.begin(); });
    } catch (const std::exception& e) {
        return Removal::answerFailure(e.what(), answer);
    }
    if (!note.empty())
        answer.note(note);
    removal.lost(losses);
    return removal.answerWith(guard, answer);
}

bool changesNothing(const Storages& before, const RemoveArguments& asked) {
    if (asked.all)
        return isEmpty(GenerationPaths::ofDevice());
    return std::none_of(asked.names.begin(), asked.names.end(),
                        [&before](const std::string& name) { return isThere(before, name); });
}

std::vector<Loss> lossesOf(const RemoveArguments& asked, Device& device) {
    const std::set<std::string> all = device.storages().of(STORAGE_CUSTOM).names();
    const std::set<std::string> names(asked.names.begin(), asked.names.end());
    return lossesOfRemoval(asked.all ? all : names, device);
}

// A removal that changes nothing makes no generation: otherwise the generation for a rollback would be lost.
ExitCode answerUnchanged(const Storages& before, const RemoveArguments& asked, const SignalGuard& guard,
                         const Answer& answer) {
    Removal removal;
    std::vector<HistoryChange> none;
    removeNames({asked.names.begin(), asked.names.end()}, before, &removal, &none);
    return removal.answerWith(guard, answer);
}

ExitCode removeLocked(const RemoveArguments& asked, SignalGuard& guard, const Answer& answer) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    if (settle(paths) == Leftovers::INTERRUPTED)
        return answerInterrupted(answer);
    const Storages before;
    if (changesNothing(before, asked))
        return answerUnchanged(before, asked, guard, answer);
    Device device;
    if (!asked.ifUnused && !device.list().isUsable() && std::filesystem::exists(device.list().file()))
        answer.note(filled("the managed-sensors list cannot be used, so no sensors are shown: scada-sensors check"));
    const std::vector<Loss> losses = lossesOf(asked, device);
    if (const std::string refusal = asked.ifUnused ? refusalFor(losses, device.list()) : ""; !refusal.empty())
        return refuseLosses(losses, refusal, answer);
    const bool copies = !asked.all || !whyNotExchangeable(paths.custom).empty();
    if (const std::optional<ExitCode> refused = copies ? refuseUncopiable({paths.custom}, answer) : std::nullopt)
        return *refused;
    return removeFrom(before, asked, losses, guard, answer);
}

ExitCode remove(const RemoveArguments& asked, SignalGuard& guard, const Answer& answer) {
    if (isAbsent(GenerationPaths::ofDevice()))
        return answerUnchanged(Storages(), asked, guard, answer);
    return withLock(answer, [&] { return removeLocked(asked, guard, answer); });
}

} // namespace

Run declareRemove(CLI::App& app) {
    const auto arguments = std::make_shared<RemoveArguments>();
    app.add_option("NAME", arguments->names, "Custom definitions, as in lora/maker/model");
    app.add_flag("--all", arguments->all, "Empty the custom storage");
    declareIfUnused(app, &arguments->ifUnused);
    app.add_flag("--yes", arguments->yes, "Do not ask before --all");
    return [arguments](const Answer& answer) {
        return runAsOwner(answer, [&] {
            // This process asks the question: it is the one that Ctrl-C ends.
            if (const std::optional<ExitCode> refused = refuse(*arguments, answer))
                return *refused;
            return runApart(answer, [&](SignalGuard& guard) { return remove(*arguments, guard, answer); });
        });
    };
}

} // namespace Kelvra::SCADA::Tool
