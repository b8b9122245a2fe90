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

/// Returns the server's error if it refuses writes as a whole: it is a read-only replica, its memory is full, or it
/// cannot save. Nothing is written to find that out.
std::string refusalOfWrites(const Inquiry& server);

} // namespace Kelvra::SCADA::Tool
