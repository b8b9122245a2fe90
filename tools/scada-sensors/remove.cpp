#include "Command.h"
#include "OperationLock.h"
#include "Output.h"
#include "Storages.h"
#include "directories.h"
#include "text.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <system_error>

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
        Json::Value& item = members["removed"].append(Json::objectValue);
        item["name"] = name;
        item["uncovers"] = orNull(uncovers ? wordOf(STORAGE_DEFAULT) : "");
        lines += "removed " + printable(name) + (uncovers ? "; the default definition is in force again" : "") + "\n";
    }
    void failed(const std::string& name, const std::string& error) {
        Json::Value& item = members["failed"].append(Json::objectValue);
        item["name"] = name;
        item["error"] = error;
        lines += "not removed " + printable(name) + ": " + printable(error) + "\n";
    }
    ExitCode answer(Output& output) const {
        if (members["failed"].empty())
            return output.done(members, lines);
        return output.failed(counted(members["failed"].size(), "definition") + " not removed", members, lines);
    }

    Removal() {
        members["removed"] = Json::arrayValue;
        members["failed"] = Json::arrayValue;
    }

private:
    Json::Value members{Json::objectValue};
    std::string lines;
};

bool isConfirmed(std::size_t definitions) {
    std::cerr << "Remove " << counted(definitions, "custom definition") << " and everything else in ["
              << printable(Env::inst().conf().getDfnCustomDir()) << "]? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

// What is thrown about one definition must not take the report on the others along.
bool removeOne(const std::string& name, std::string* error) {
    try {
        return DefinitionsDeployment().deleteOne(name, error);
    } catch (const std::exception& e) {
        *error = e.what();
        return false;
    }
}

ExitCode removeNames(const std::vector<std::string>& names, Output& output) {
    const std::set<std::string> defaults = Storages().of(STORAGE_DEFAULT).names;
    Removal removal;
    for (const std::string& name : std::set<std::string>(names.begin(), names.end())) {
        std::string error;
        if (removeOne(name, &error))
            removal.removed(name, defaults.count(name) != 0);
        else
            removal.failed(name, error);
    }
    return removal.answer(output);
}

// Hidden entries are no part of what an emptying reaches.
std::string leftBehind() {
    std::error_code error;
    for (std::filesystem::directory_iterator at(Env::inst().conf().getDfnCustomDir(), error);
         !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
        std::string entry = at->path().filename().string();
        if (entry.front() != '.')
            return entry;
    }
    return "";
}

ExitCode removeAll(Output& output) {
    const Storages before;
    DefinitionsDeployment().deleteAll(nullptr);
    const Storages after;
    Removal removal;
    for (const std::string& name : before.of(STORAGE_CUSTOM).names) {
        if (after.of(STORAGE_CUSTOM).names.count(name) == 0)
            removal.removed(name, before.isHiding(name));
        else
            removal.failed(name, "It is still there.");
    }
    const std::string entry = leftBehind();
    if (!entry.empty())
        removal.failed(entry, "It is still there.");
    return removal.answer(output);
}

ExitCode remove(const Arguments& asked, Output& output) {
    if (asked.all == !asked.names.empty())
        return output.badUsage("remove needs either names or --all");
    if (asked.yes && !asked.all)
        return output.badUsage("--yes belongs to --all");
    const std::string unsafe = unsafeDirectories(nullptr);
    if (!unsafe.empty())
        return output.failed(unsafe);
    if (asked.all && !asked.yes) {
        if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0)
            return output.badUsage("remove --all asks on a terminal; elsewhere it needs --yes");
        if (!isConfirmed(Storages().of(STORAGE_CUSTOM).names.size()))
            return output.failed("nothing has been removed");
    }
    const OperationLock lock;
    if (!lock.failure().empty())
        return output.failed(lock.failure());
    return asked.all ? removeAll(output) : removeNames(asked.names, output);
}

} // namespace

Run declareRemove(CLI::App& app) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option("NAME", arguments->names, "Custom definitions, as in lora/maker/model");
    app.add_flag("--all", arguments->all, "Empty the custom storage");
    app.add_flag("--yes", arguments->yes, "Ask no question before --all");
    return [arguments](Output& output) { return remove(*arguments, output); };
}

} // namespace Kelvra::SCADA::Tool
