#pragma once

#include "database/Inquiry.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the server's setting of notifications; nothing if the server does not tell it.
std::optional<std::string> notificationSetting(const Inquiry& server);

/// Whether a server with this setting announces the changes of a sensor's key.
bool announcesChanges(const std::string& setting);

/// The command that turns the notifications on, as subscribers do.
std::string turningOnNotifications();

} // namespace Kelvra::SCADA::Tool
