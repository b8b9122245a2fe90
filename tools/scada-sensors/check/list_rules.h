#pragma once

#include "check/Finding.h"
#include "device/ManagedList.h"
#include "device/Storages.h"

#include <cstddef>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the faults that make the whole list useless, or nothing.
Findings checkListFile(const ManagedList& list);

/// Returns all faults of one element, except those of the definition that it names.
Findings checkElement(const ManagedList& list, const ListElement& element);

/// Returns the fault of an element whose definition no storage lists.
Finding missingDefinition(const ManagedList& list, const ListElement& element);

/// Returns all faults of the list, of its elements and of the definitions that they name.
Findings checkList(const ManagedList& list, Storages& storages);

/// The same for a list that comes with definitions, which are judged separately. Ends after `most` findings.
Findings checkListWith(const std::set<std::string>& definitions, const ManagedList& list, Storages& storages,
                       std::size_t most);

/// Returns how many elements the library skips.
std::size_t faultyElements(const ManagedList& list);

} // namespace Kelvra::SCADA::Tool
