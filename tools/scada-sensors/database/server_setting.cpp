#include "database/server_setting.h"

#include "text/filled.h"
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

namespace {

std::string reasonOfRefusal(const std::string& key, const std::string& type, const TimeLimit& limit) {
    const Inquiry server(limit);
    ReplyPtr reply;
    if (!server.open().empty())
        return "";
    if (!server.ask({"TYPE", key}, &reply).empty())
        return "";
    // Without the right to ask, the type is not known.
    const bool isKnown = reply->type == REDIS_REPLY_STATUS;
    const std::string found = isKnown ? std::string(reply->str, static_cast<std::size_t>(reply->len)) : type;
    if (!type.empty() && found != "none" && found != type)
        return filled("its type is %s, not %s", {found, type});
    return refusalOfWrites(server);
}

} // namespace

std::string failureOfWriting(const std::string& key, const std::string& type, const TimeLimit& limit) {
    std::string reason = reasonOfRefusal(key, type, limit);
    if (reason.empty())
        return filled("The server refused the command for key [%s].", {key});
    // The server ends some of its errors with a full stop.
    while (endsWith(reason, "."))
        reason.pop_back();
    return filled("The server refused the command for key [%s]: %s.", {key, reason});
}

} // namespace Kelvra::SCADA::Tool
