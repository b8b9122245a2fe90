#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The change that an operation made to one definition.
struct HistoryChange {
    std::string change; ///< "installed", "removed" or "restored"
    std::string name;
    std::string
        content; ///< the hash of the document and the decoder: after the operation, or before it if it removed them
    std::string hides{}; ///< the same for the default definition that an installed one hid; empty if it hid none,
                         ///< and "unknown" if that definition could not be read
};

/// One operation on the custom storage.
struct HistoryEntry {
    std::uint64_t number = 0; ///< counted from 1
    std::string time;         ///< in UTC, as in 2030-01-31T12:00:00Z
    std::string user;         ///< the user who logged in, or otherwise the one who started the tool
    std::string operation;    ///< the command
    std::vector<HistoryChange> changes;
};

/// Returns as much of the hash as people need to tell contents apart.
std::string shortContent(const HistoryChange& change);

Json::Value toJson(const HistoryEntry& entry);
/// Returns the entry as one line of JSON, as it is in the history file.
std::string historyLine(const HistoryEntry& entry);
HistoryEntry historyEntryFrom(const Json::Value& members);

/// Returns an entry for an operation that ends now. It gets its number when it is appended.
HistoryEntry historyEntryOf(const std::string& operation, const std::vector<HistoryChange>& changes);

/// Returns the operations in the history file, the oldest first. Lines that cannot be read are left out; without a file
/// the result is empty.
std::vector<HistoryEntry> readHistory(const std::string& file);

/// Returns the text of a history with one more entry, which gets the number after the last one. The oldest entries are
/// dropped if there are too many or they take too much space. If the last entry is the same already, nothing is added.
std::string historyWith(std::vector<HistoryEntry> entries, HistoryEntry entry);

} // namespace Kelvra::SCADA::Tool
