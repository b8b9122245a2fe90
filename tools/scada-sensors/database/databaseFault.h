#pragma once

#include "database/TimeLimit.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Asks the configured server, over a connection of its own, whether it serves the configured database. Returns what is
/// wrong with the remedy, or an empty text, within the limit in any case. The library has one code for all of it.
std::string databaseFault(const TimeLimit& limit);

} // namespace Kelvra::SCADA::Tool
