#include "database/server_setting.h"

#include "text/text.h"

#include <cstddef>

namespace Kelvra::SCADA::Tool {

std::optional<std::string> notificationSetting(const Inquiry& server) {
    ReplyPtr reply;
    if (!server.ask({"CONFIG", "GET", "notify-keyspace-events"}, &reply).empty() || reply->type != REDIS_REPLY_ARRAY ||
        reply->elements != 2 || reply->element[1]->str == nullptr)
        return std::nullopt;
    return std::string(reply->element[1]->str, static_cast<std::size_t>(reply->element[1]->len));
}

bool announcesChanges(const std::string& setting) {
    return setting.find('K') != std::string::npos &&
           (setting.find('A') != std::string::npos || setting.find('h') != std::string::npos);
}

std::string turningOnNotifications() {
    return serverCommand("config set notify-keyspace-events KA");
}

std::string refusalOfWrites(const Inquiry& server) {
    // It replaces no byte of a text, and makes no key. For the server it is a write that needs memory.
    ReplyPtr reply;
    if (!server.ask({"SETRANGE", "scada-sensors", "0", ""}, &reply).empty())
        return "";
    std::string error = errorOf(reply);
    for (const char* code : {"OOM ", "READONLY ", "MISCONF ", "NOREPLICAS "}) {
        if (startsWith(error, code))
            return error;
    }
    return "";
}

} // namespace Kelvra::SCADA::Tool
