#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an operation did with one definition.
struct HistoryChange {
    std::string change; ///< "installed", "removed" or "restored"
    std::string name;
    std::string
        content; ///< the hash of the document and the decoder: as they are since, or were when they were removed
    std::string hides{}; ///< the same of the default definition that an installed one hid; empty where there was none
};

/// One operation on the custom storage.
struct HistoryEntry {
    std::uint64_t number = 0; ///< counted from 1
    std::string time;         ///< in UTC, as in 2030-01-31T12:00:00Z
    std::string user;         ///< who logged in, or else who started the tool
    std::string operation;    ///< the command
    std::vector<HistoryChange> changes;
};

/// Returns as much of the hash as tells contents apart by eye.
std::string shortContent(const HistoryChange& change);

Json::Value toJson(const HistoryEntry& entry);
/// Returns the entry as it is in the file of the history: JSON, one line.
std::string historyLine(const HistoryEntry& entry);
HistoryEntry historyEntryFrom(const Json::Value& members);

/// Returns the entry of an operation that ends now. Its number comes with appending.
HistoryEntry historyEntryOf(const std::string& operation, const std::vector<HistoryChange>& changes);

/// Returns the operations that the file of the history holds, the oldest first. Lines that cannot be read are left out;
/// without a file there are none.
std::vector<HistoryEntry> readHistory(const std::string& file);

/// Returns the text of a history with one more entry, which gets the number behind the last one. The oldest entries go
/// when there are too many or they take too much room. An entry that is the last one already is not added again.
std::string historyWith(std::vector<HistoryEntry> entries, HistoryEntry entry);

} // namespace Kelvra::SCADA::Tool
