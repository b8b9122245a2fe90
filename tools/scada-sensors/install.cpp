#include "Command.h"
#include "OperationLock.h"
#include "Outcome.h"
#include "Output.h"
#include "Plan.h"
#include "Progress.h"
#include "directories.h"
#include "freeSpace.h"
#include "inspect.h"
#include "obstacles.h"
#include "text.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>

#include <CLI/CLI.hpp>

#include <map>
#include <memory>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* NOTHING = "nothing to install";

struct Arguments {
    std::string srcDir;
    bool allowOverwrite = false;
    bool dryRun = false;
};

std::set<std::string> namesOf(const std::string& srcDir) {
    std::set<std::string> names;
    // Without a directory the root directory would be listed.
    if (!srcDir.empty())
        DefinitionsStorage{srcDir}.findNames(&names);
    return names;
}

// What concerns the source or the device as a whole, as lines and as members of the result.
std::string addFaults(const Faults& faults, const char* member, const std::string& prefix, Json::Value* result) {
    std::string text;
    for (const Fault& fault : faults)
        text += prefix + toText(fault) + "\n";
    (*result)[member] = toJson(faults);
    return text;
}

std::string summaryOf(const std::map<std::string, std::size_t>& counts, std::size_t total) {
    std::string text = counted(total, "definition");
    const char* separator = ": ";
    for (const auto& [state, count] : counts) {
        text += separator + std::to_string(count) + " " + state;
        separator = ", ";
    }
    return text;
}

// What keeps the source as a whole from being installed.
Faults refusalsOfSource(const std::string& srcDir, const std::set<std::string>& names) {
    Faults refusals = inspectSourceDirectory(srcDir);
    const std::string shortage = missingSpace(srcDir, names);
    if (!shortage.empty())
        refusals.push_back({srcDir, shortage});
    const std::string staging = Env::inst().conf().getDfnStagingDir();
    const std::string standing = nearestExisting(staging);
    if ((FsNode(standing).getMode() & FsNode::MODE_DIR) == 0 || !isWritable(standing))
        refusals.push_back({staging, "The staging directory cannot be made or written."});
    const Faults staged = names.empty() ? Faults() : stagedObstacles();
    refusals.insert(refusals.end(), staged.begin(), staged.end());
    return refusals;
}

// An import that met one would leave a part of the source installed, install more than the source, or wait for ever.
ExitCode refuseObstacles(const Faults& found, Output& output) {
    Json::Value result(Json::objectValue);
    const std::string text = addFaults(found, "refusals", "", &result);
    return output.failed(found.front().text, result, text + "nothing has been changed\n");
}

ExitCode dryRun(const Arguments& asked, Output& output) {
    Json::Value result(Json::objectValue);
    const std::set<std::string> names = namesOf(asked.srcDir);
    const Faults refusals = refusalsOfSource(asked.srcDir, names);
    std::string text = addFaults(refusals, "refusals", "", &result);
    const Storages storages;
    const ManagedList list;
    std::map<std::string, std::size_t> counts;
    result["definitions"] = Json::arrayValue;
    for (const std::string& name : names) {
        const PlannedDefinition planned = planDefinition(asked.srcDir, name, asked.allowOverwrite, storages, list);
        const Json::Value& item = result["definitions"].append(toJson(planned));
        ++counts[item["state"].asString()];
        text += toText(planned);
    }
    Faults notes;
    if ((FsNode(asked.srcDir).getMode() & FsNode::MODE_DIR) != 0)
        notes = inspectTree(asked.srcDir, names, decodersOf(asked.srcDir, names));
    notes.insert(notes.end(), list.faults().begin(), list.faults().end());
    text += addFaults(notes, "notes", "note: ", &result);
    const std::string summary = summaryOf(counts, names.size());
    text += summary + "\nNothing has been changed.\n";
    if (refusals.empty() && counts.count("refused") == 0)
        return output.done(result, text);
    return output.failed("the installation would be refused; " + summary, result, text);
}

bool deploySource(const Arguments& asked, const std::set<std::string>& names, std::string* error) {
    try {
        const Progress progress(names);
        return DefinitionsDeployment().deploy(asked.srcDir, asked.allowOverwrite, error);
    } catch (const std::exception& e) {
        *error = e.what();
        return false;
    }
}

ExitCode installLocked(const Arguments& asked, const std::set<std::string>& names, Output& output) {
    Outcome outcome(asked.srcDir, names);
    std::string error;
    const bool deployed = deploySource(asked, names, &error);
    outcome.look();
    Json::Value result = outcome.result();
    if (deployed && names.empty()) {
        result["note"] = NOTHING;
        return output.done(result, std::string(NOTHING) + "\n");
    }
    if (deployed && outcome.isComplete())
        return output.done(result, outcome.text());
    // A staged copy that does not read back is passed over without a failure.
    if (deployed)
        error = "some definitions have not been installed" + (error.empty() ? "" : ": " + error);
    result["advice"] = outcome.advice();
    return output.failed(error, result, outcome.text() + outcome.advice() + "\n");
}

ExitCode deploy(const Arguments& asked, Output& output) {
    const OperationLock lock;
    if (!lock.failure().empty())
        return output.failed(lock.failure());
    const std::set<std::string> names = namesOf(asked.srcDir);
    const std::string shortage = missingSpace(asked.srcDir, names);
    if (!shortage.empty())
        return output.failed(shortage);
    Faults found = names.empty() ? Faults() : stagedObstacles();
    for (const std::string& name : names) {
        const Faults ofName = obstacles(name);
        found.insert(found.end(), ofName.begin(), ofName.end());
    }
    return found.empty() ? installLocked(asked, names, output) : refuseObstacles(found, output);
}

ExitCode install(const Arguments& asked, Output& output) {
    const std::string unsafe = unsafeDirectories(&asked.srcDir);
    if (!unsafe.empty())
        return output.failed(unsafe);
    return asked.dryRun ? dryRun(asked, output) : deploy(asked, output);
}

} // namespace

Run declareInstall(CLI::App& app) {
    const auto arguments = std::make_shared<Arguments>();
    app.add_option("SRC_DIR", arguments->srcDir, "Directory with the definitions to install")->required();
    app.add_flag("--allow-overwrite", arguments->allowOverwrite, "Replace installed definitions of the same names");
    app.add_flag("--dry-run", arguments->dryRun, "Show what would happen, and change nothing");
    return [arguments](Output& output) { return install(*arguments, output); };
}

} // namespace Kelvra::SCADA::Tool
