#pragma once

#include "Fault.h"
#include "ManagedList.h"
#include "Storages.h"

#include <json/value.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an installation would do with one definition of its source.
struct PlannedDefinition {
    std::string name;
    std::string effect; ///< "new", "replaces", "hides" or "identical"; what it would be without the refusals
    bool hides = false; ///< whether there is a default definition of this name
    Faults refusals;
    Faults notes;
    std::vector<std::string> sensors;    ///< the keys of the managed sensors that use it
    std::vector<Json::Value> properties; ///< {property, change, from, to} of those that hosts may miss
};

/// Plans the installation of one definition and changes nothing.
PlannedDefinition planDefinition(const std::string& srcDir, const std::string& name, bool allowOverwrite,
                                 const Storages& storages, const ManagedList& list);

Json::Value toJson(const PlannedDefinition& planned);

/// Returns the definition's line with what belongs to it indented below.
std::string toText(const PlannedDefinition& planned);

} // namespace Kelvra::SCADA::Tool
