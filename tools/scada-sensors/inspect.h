#pragma once

#include "Fault.h"
#include "ManagedList.h"
#include "Storages.h"

#include <cstddef>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// What an inspection found: all of it, no fault hidden behind another.
struct Inspection {
    Faults faults;
    Faults notes; ///< worth knowing and not wrong
    std::size_t definitions = 0;
};

/// Returns every fault of one definition.
Faults inspectDefinition(const std::string& dir, const std::string& name);

/// Returns every fault that keeps one definition of an installation source from being installed, and those that
/// inspectDefinition finds.
Faults inspectSourceDefinition(const std::string& srcDir, const std::string& name);

/// Returns what looks like a definition in a storage directory and is not listed, and what could not be looked at.
/// `names` is what the directory lists; `decoders` are the resolved paths of its decoders.
Faults inspectTree(const std::string& dir, const std::set<std::string>& names, const std::set<std::string>& decoders);

/// Returns the resolved paths of the decoders of the definitions in a directory.
std::set<std::string> decodersOf(const std::string& dir, const std::set<std::string>& names);

/// Inspects one storage directory.
Inspection inspectStorage(const Storage& storage);

/// Returns what keeps a source as a whole from being installed.
Faults inspectSourceDirectory(const std::string& srcDir);

/// Inspects the source directory of an installation.
Inspection inspectSource(const std::string& srcDir);

/// Returns every fault of the managed-sensors list and of the definitions that its elements name.
Faults inspectList(const ManagedList& list, const Storages& storages);

} // namespace Kelvra::SCADA::Tool
