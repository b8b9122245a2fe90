#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "device/Storages.h"

#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The managed-sensors list of a source that will replace the device's.
struct PlannedList {
    enum class Effect { NEW, REPLACES, UNCHANGED };

    std::string copy; ///< the file in the copy of the source
    std::string file; ///< the list of the device
    Effect effect = Effect::NEW;
};

const char* wordOf(PlannedList::Effect effect);

/// Whether a source has a list at the place where an export puts it.
bool hasList(const SourceCopy& source);

/// Judges the list of a source, which comes with definitions of these names, and whether it can replace the device's.
/// Fills `*planned`; if there are no errors, the list can be put in place.
Findings examineList(const SourceCopy& source, const std::set<std::string>& definitions, Storages& storages,
                     PlannedList* planned);

} // namespace Kelvra::SCADA::Tool
