#pragma once

#include "install/planned_list.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// A new managed-sensors list beside that of the device. Unless it is put in place, it is removed at the end of this
/// object's life. The next one removes the file that a killed process has left.
class ListReplacement {
public:
    /// Writes the list to the disk, with the owner, mode and attributes of the present list. Throws std::runtime_error
    /// if that fails.
    explicit ListReplacement(const PlannedList& planned);
    ~ListReplacement();
    ListReplacement(const ListReplacement&) = delete;
    ListReplacement& operator=(const ListReplacement&) = delete;

    /// Gives it the name of the list in one step. Returns why that failed, or nothing.
    std::string putInPlace();

private:
    std::string list;
    std::string temporary; ///< empty when it is in place
};

} // namespace Kelvra::SCADA::Tool
