#include "answer/json.h"
#include "answer/printable.h"
#include "commands/Command.h"
#include "commands/apart.h"
#include "commands/findingText.h"
#include "device/Storages.h"
#include "install/OperationLock.h"
#include "install/safeDirectories.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

struct Arguments {
    std::vector<std::string> names;
    bool all = false;
    bool yes = false;
};

/// What was removed and what was not.
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
    /// An entry that is not a definition. A definition that could not be removed explains it already.
    void leftBehind(const std::string& entry) {
        if (!members["failed"].empty())
            return;
        failed(entry, filled("It is still there."), true);
        definitionFailed = false;
    }
    ExitCode answerWith(const SignalGuard& guard, const Answer& answer) {
        tellSignal(guard, answer, &members);
        if (members["failed"].empty())
            return answer.done(members, lines);
        return answer.failed(allMissing ? ExitCode::NOT_FOUND : ExitCode::FAILED,
                             definitionFailed
                                 ? filled("%s not removed", {counted(members["failed"].size(), "definition")})
                                 : filled("the custom storage is not empty"),
                             members, lines);
    }

    Removal() {
        members["removed"] = Json::arrayValue;
        members["failed"] = Json::arrayValue;
    }

private:
    Json::Value members{Json::objectValue};
    std::string lines;
    bool allMissing = true;
    bool definitionFailed = true;
};

bool isConfirmed(std::size_t definitions) {
    std::cerr << printable(filled("Remove %s and everything else in [%s]? [y/N] ",
                                  {counted(definitions, "custom definition"), Env::inst().conf().getDfnCustomDir()}))
              << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

// An exception about one definition must not lose the report on the others.
bool removeOne(const std::string& name, std::string* error) {
    try {
        return DefinitionsDeployment().deleteOne(name, error);
    } catch (const std::exception& e) {
        *error = e.what();
        return false;
    }
}

ExitCode removeNames(const std::vector<std::string>& names, SignalGuard& guard, const Answer& answer) {
    const Storages before;
    guard.begin();
    Removal removal;
    for (const std::string& name : std::set<std::string>(names.begin(), names.end())) {
        std::string error;
        if (removeOne(name, &error))
            removal.removed(name, before.of(STORAGE_DEFAULT).lists(name));
        else
            removal.failed(name, error, before.of(STORAGE_CUSTOM).lists(name));
    }
    return removal.answerWith(guard, answer);
}

// Hidden entries are not a part of what an emptying reaches.
std::string visibleEntry() {
    std::error_code error;
    for (std::filesystem::directory_iterator at(Env::inst().conf().getDfnCustomDir(), error);
         !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        std::string entry = at->path().filename().string();
        if (entry.front() != '.')
            return entry;
    }
    return "";
}

ExitCode removeAll(SignalGuard& guard, const Answer& answer) {
    const Storages before;
    guard.begin();
    DefinitionsDeployment().deleteAll(nullptr);
    const Storages after;
    Removal removal;
    for (const std::string& name : before.of(STORAGE_CUSTOM).names()) {
        if (after.of(STORAGE_CUSTOM).lists(name))
            removal.failed(name, filled("It is still there."), true);
        else
            removal.removed(name, before.isHiding(name));
    }
    const std::string entry = visibleEntry();
    if (!entry.empty())
        removal.leftBehind(entry);
    return removal.answerWith(guard, answer);
}

// Returns how the command ends when it must not go on.
std::optional<ExitCode> refuse(const Arguments& asked, const Answer& answer) {
    if (asked.all == !asked.names.empty())
        return answer.badUsage(filled("remove needs either names or --all"));
    if (asked.yes && !asked.all)
        return answer.badUsage(filled("--yes belongs to --all"));
    const Findings unsafe = unsafeDirectories(nullptr);
    if (!unsafe.empty())
        return failedFor(unsafe, ExitCode::REFUSED, answer, Json::Value(), "");
    if (!asked.all || asked.yes)
        return std::nullopt;
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0)
        return answer.badUsage(filled("remove --all asks on a terminal; elsewhere it needs --yes"));
    if (!isConfirmed(Storages().of(STORAGE_CUSTOM).names().size()))
        return answer.failed(ExitCode::REFUSED, filled("nothing has been removed"));
    return std::nullopt;
}

ExitCode remove(const Arguments& asked, SignalGuard& guard, const Answer& answer) {
    const OperationLock lock;
    if (!lock.failure().empty())
        return answer.failed(lock.isBusy() ? ExitCode::BUSY : ExitCode::FAILED, lock.failure());
    return asked.all ? removeAll(guard, answer) : removeNames(asked.names, guard, answer);
}

} // namespace

Run declareRemove(CLI::App& app) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option("NAME", arguments->names, "Custom definitions, as in lora/maker/model");
    app.add_flag("--all", arguments->all, "Empty the custom storage");
    app.add_flag("--yes", arguments->yes, "Do not ask before --all");
    return [arguments](const Answer& answer) {
        // The question is asked in this process: it is the one that Ctrl-C ends.
        if (const std::optional<ExitCode> refused = refuse(*arguments, answer))
            return *refused;
        return runApart(answer, [&](SignalGuard& guard) { return remove(*arguments, guard, answer); });
    };
}

} // namespace Kelvra::SCADA::Tool
