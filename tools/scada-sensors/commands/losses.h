#pragma once

#include "answer/Answer.h"
#include "device/Device.h"
#include "install/Preflight.h"

#include <CLI/CLI.hpp>
#include <json/value.h>

#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What the managed sensors of one definition lose when it is removed or replaced.
struct Loss {
    std::string definition;
    std::vector<std::string> sensors;    ///< their keys
    std::vector<std::string> properties; ///< empty when they lose the definition
};

/// Returns what sensors lose when custom definitions are removed: their definition, or what the default one of the same
/// name does not have.
std::vector<Loss> lossesOfRemoval(const std::set<std::string>& names, Device& device);

/// Returns what sensors lose when definitions of a source take the place of others.
std::vector<Loss> lossesOfInstallation(const std::vector<PlannedDefinition>& definitions, const ManagedList& list);

void declareIfUnused(CLI::App& app, bool* ifUnused);

/// Returns why `--if-unused` refuses an operation, or nothing.
std::string refusalFor(const std::vector<Loss>& losses, const ManagedList& list);

/// The answer of an operation that is refused so.
ExitCode refuseLosses(const std::vector<Loss>& losses, const std::string& refusal, const Answer& answer);

/// Returns a line for each sensor and what it loses.
std::string toText(const std::vector<Loss>& losses);
Json::Value toJson(const std::vector<Loss>& losses);

} // namespace Kelvra::SCADA::Tool
