#include "device/history.h"

#include "device/owner_of_storage.h"
#include "device/user_name.h"
#include "text/Descriptor.h"
#include "text/current_time.h"

#include <json/reader.h>
#include <json/writer.h>

#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::size_t MOST_ENTRIES = 100;
// In bytes, without the newest entry.
constexpr std::size_t MOST_ROOM = std::size_t{1024} * 1024;

// The system knows who logged in even under sudo.
std::string currentUser() {
    constexpr auto NOBODY_LOGGED_IN = static_cast<uid_t>(-1);
    std::string text;
    if (!readRegularFile("/proc/self/loginuid", &text).empty() || text.empty())
        return userName(callingUser());
    const auto login = static_cast<uid_t>(std::strtoul(text.c_str(), nullptr, 10)); // NOLINT(*-magic-numbers)
    return userName(login == NOBODY_LOGGED_IN ? callingUser() : login);
}

std::string textOf(const Json::Value& members, const char* name) {
    const Json::Value& value = members[name];
    return value.isString() ? value.asString() : "";
}

bool isSameOperation(const HistoryEntry& one, HistoryEntry other) {
    other.number = one.number;
    return historyLine(one) == historyLine(other);
}

} // namespace

std::string shortContent(const HistoryChange& change) {
    constexpr std::size_t SHOWN_DIGITS = 12;
    return change.content.substr(0, SHOWN_DIGITS);
}

Json::Value toJson(const HistoryEntry& entry) {
    Json::Value members(Json::objectValue);
    members["number"] = static_cast<Json::UInt64>(entry.number);
    members["time"] = entry.time;
    members["user"] = entry.user;
    members["operation"] = entry.operation;
    members["definitions"] = Json::arrayValue;
    for (const HistoryChange& change : entry.changes) {
        Json::Value& item = members["definitions"].append(Json::objectValue);
        item["change"] = change.change;
        item["name"] = change.name;
        item["content"] = change.content;
        if (!change.hides.empty())
            item["hides"] = change.hides;
    }
    return members;
}

std::string historyLine(const HistoryEntry& entry) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, toJson(entry)) + "\n";
}

HistoryEntry historyEntryFrom(const Json::Value& members) {
    HistoryEntry entry;
    entry.number = members["number"].isUInt64() ? members["number"].asUInt64() : 0;
    entry.time = textOf(members, "time");
    entry.user = textOf(members, "user");
    entry.operation = textOf(members, "operation");
    for (const Json::Value& item : members["definitions"]) {
        if (item.isObject())
            entry.changes.push_back(
                {textOf(item, "change"), textOf(item, "name"), textOf(item, "content"), textOf(item, "hides")});
    }
    return entry;
}

HistoryEntry historyEntryOf(const std::string& operation, const std::vector<HistoryChange>& changes) {
    return {0, currentTime(), currentUser(), operation, changes};
}

std::vector<HistoryEntry> readHistory(const std::string& file) {
    std::vector<HistoryEntry> entries;
    std::string text;
    if (!readRegularFile(file, &text).empty())
        return entries;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        Json::Value members;
        try {
            if (reader->parse(line.data(), line.data() + line.size(), &members, nullptr) && members.isObject())
                entries.push_back(historyEntryFrom(members));
        } catch (const Json::Exception&) { // NOLINT(bugprone-empty-catch): a line that cannot be read
        }
    }
    return entries;
}

std::string historyWith(std::vector<HistoryEntry> entries, HistoryEntry entry) {
    if (entries.empty() || !isSameOperation(entries.back(), entry)) {
        entry.number = entries.empty() ? 1 : entries.back().number + 1;
        entries.push_back(std::move(entry));
    }
    std::string text = historyLine(entries.back());
    const std::size_t newest = text.size();
    for (std::size_t left = entries.size() - 1; left > 0 && entries.size() - left < MOST_ENTRIES; --left) {
        const std::string line = historyLine(entries[left - 1]);
        if (text.size() + line.size() > newest + MOST_ROOM)
            break;
        text.insert(0, line);
    }
    return text;
}

} // namespace Kelvra::SCADA::Tool
