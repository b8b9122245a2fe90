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

/// The losses of the managed sensors of one definition when it is removed or replaced.
struct Loss {
    std::string definition;
    std::vector<std::string> sensors;    ///< their keys
    std::vector<std::string> properties; ///< empty if they lose the definition
};

/// Returns the losses of sensors when custom definitions are removed: the definition, or the properties that the
/// default one of the same name lacks.
std::vector<Loss> lossesOfRemoval(const std::set<std::string>& names, Device& device);

/// Returns the losses of sensors when definitions of a source replace others.
std::vector<Loss> lossesOfInstallation(const std::vector<PlannedDefinition>& definitions, const ManagedList& list);

void declareIfUnused(CLI::App& app, bool* ifUnused);

/// Returns why `--if-unused` refuses an operation, or nothing.
std::string refusalFor(const std::vector<Loss>& losses, const ManagedList& list);

/// Answers an operation that is refused for this reason.
ExitCode refuseLosses(const std::vector<Loss>& losses, const std::string& refusal, const Answer& answer);

/// Returns a line for each sensor and its losses.
std::string toText(const std::vector<Loss>& losses);
Json::Value toJson(const std::vector<Loss>& losses);

} // namespace Kelvra::SCADA::Tool
