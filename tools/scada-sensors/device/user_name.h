#pragma once

#include <sys/types.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the name of a user, or the number if the system knows no name.
std::string userName(uid_t user);

} // namespace Kelvra::SCADA::Tool
