#pragma once

#include "install/plannedList.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// A new managed-sensors list beside the one of the device. Unless it is put in place, it is removed at the end of this
/// object's life; what a killed process has left is removed by the next one.
class ListReplacement {
public:
    /// Writes it to the disk, with the owner, mode and attributes of the present list. Throws std::runtime_error when
    /// that cannot be done.
    explicit ListReplacement(const PlannedList& planned);
    ~ListReplacement();
    ListReplacement(const ListReplacement&) = delete;
    ListReplacement& operator=(const ListReplacement&) = delete;

    /// Gives it the name of the list in one step. Returns why that could not be done, or nothing.
    std::string putInPlace();

private:
    std::string list;
    std::string temporary; ///< empty when it is in place
};

} // namespace Kelvra::SCADA::Tool
