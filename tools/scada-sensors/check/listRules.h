#pragma once

#include "check/Finding.h"
#include "device/ManagedList.h"
#include "device/Storages.h"

#include <cstddef>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns what makes the list useless as a whole, or nothing.
Findings checkListFile(const ManagedList& list);

/// Returns every fault of one element, not counting the definition that it names.
Findings checkElement(const ManagedList& list, const ListElement& element);

/// Returns the fault of an element that names a definition which no storage lists.
Finding missingDefinition(const ManagedList& list, const ListElement& element);

/// Returns every fault of the list, of its elements and of the definitions that they name.
Findings checkList(const ManagedList& list, Storages& storages);

/// The same for a list that comes with definitions, which are judged by themselves. Ends after `most` findings.
Findings checkListWith(const std::set<std::string>& definitions, const ManagedList& list, Storages& storages,
                       std::size_t most);

/// Returns how many elements the library passes over.
std::size_t faultyElements(const ManagedList& list);

} // namespace Kelvra::SCADA::Tool
