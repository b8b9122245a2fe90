#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/operation.h"
#include "device/DefinitionDirectory.h"
#include "device/InstalledFiles.h"
#include "install/generations.h"
#include "text/filled.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

// Returns the changes by a return to the previous generation, ordered by name.
std::vector<HistoryChange> changesBy(const GenerationPaths& paths) {
    const DefinitionDirectory present(paths.custom);
    const DefinitionDirectory previous(paths.previous);
    std::set<std::string> names = present.names();
    names.insert(previous.names().begin(), previous.names().end());
    std::vector<HistoryChange> changes;
    for (const std::string& name : names) {
        const InstalledFiles now = installedFiles(paths.custom, name);
        const InstalledFiles then = installedFiles(paths.previous, name);
        if (!previous.lists(name))
            changes.push_back({"removed", name, contentHash(now)});
        else if (!present.lists(name) || !(now == then))
            changes.push_back({"restored", name, contentHash(then)});
    }
    return changes;
}

ExitCode answerWith(const std::vector<HistoryChange>& changes, const SignalGuard& guard, const Answer& answer) {
    Json::Value result(Json::objectValue);
    result["restored"] = Json::arrayValue;
    result["removed"] = Json::arrayValue;
    std::string text;
    for (const HistoryChange& change : changes) {
        result[change.change].append(change.name);
        text += change.change + " " + printable(change.name) + "\n";
    }
    if (changes.empty())
        text = filled("the previous generation has the same definitions") + "\n";
    tellSignal(guard, answer, &result);
    return answer.done(result, text);
}

ExitCode answerNone(const Answer& answer) {
    return answer.failed(ExitCode::NOT_FOUND, filled("there is no previous generation"));
}

ExitCode rollBackLocked(SignalGuard& guard, const Answer& answer) {
    const GenerationPaths paths = GenerationPaths::ofDevice();
    if (settle(paths) == Leftovers::INTERRUPTED)
        return answerInterrupted(answer);
    std::error_code error;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(paths.previous, error)))
        return answerNone(answer);
    std::vector<std::string> copied = {paths.previous};
    if (!whyNotExchangeable(paths.custom).empty())
        copied.push_back(paths.custom);
    if (const std::optional<ExitCode> refused = refuseUncopiable(copied, answer))
        return *refused;
    const std::vector<HistoryChange> changes = changesBy(paths);
    NextGeneration next(paths.previous);
    const std::string note = next.putInPlace(historyEntryOf("rollback", changes), [&guard] { guard.begin(); });
    if (!note.empty())
        answer.note(note);
    return answerWith(changes, guard, answer);
}

ExitCode rollBack(SignalGuard& guard, const Answer& answer) {
    if (const std::optional<ExitCode> refused = refuseUnsafe(answer))
        return *refused;
    if (isAbsent(GenerationPaths::ofDevice()))
        return answerNone(answer);
    return withLock(answer, [&] { return rollBackLocked(guard, answer); });
}

} // namespace

Run declareRollback(CLI::App& /*app*/) {
    return [](const Answer& answer) {
        return runApart(answer, [&answer](SignalGuard& guard) { return rollBack(guard, answer); });
    };
}

} // namespace Kelvra::SCADA::Tool
