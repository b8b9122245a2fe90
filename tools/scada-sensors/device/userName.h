#pragma once

#include <sys/types.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the name of a user, or its number where the system knows no name.
std::string userName(uid_t user);

} // namespace Kelvra::SCADA::Tool
