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

/// The type of key that a command needs.
constexpr const char* HASH_TYPE = "hash";
constexpr const char* LIST_TYPE = "list";
constexpr const char* ANY_TYPE = "";

/// Says why the server refused to write to a key, because the library does not tell. If the reason is not found, the
/// text has none.
std::string failureOfWriting(const std::string& key, const std::string& type, const TimeLimit& limit);

} // namespace Kelvra::SCADA::Tool
