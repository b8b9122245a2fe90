#include "device/history.h"
#include "answer/printable.h"
#include "commands/Command.h"
#include "device/GenerationPaths.h"
#include "text/filled.h"
#include "text/text.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

std::string toText(const HistoryEntry& entry) {
    std::string text = std::to_string(entry.number) + "  " + printable(entry.time) + "  " + printable(entry.user) +
                       "  " + printable(entry.operation) + "  " + counted(entry.changes.size(), "definition") + "\n";
    for (const HistoryChange& change : entry.changes)
        text += "    " + printable(change.change) + " " + printable(change.name) + " " +
                printable(shortContent(change)) + "\n";
    return text;
}

ExitCode history(const Answer& answer) {
    const std::vector<HistoryEntry> entries = readHistory(GenerationPaths::ofDevice().history);
    Json::Value result(Json::objectValue);
    result["operations"] = Json::arrayValue;
    std::string text;
    for (const HistoryEntry& entry : entries) {
        if (answer.isJson())
            result["operations"].append(toJson(entry));
        else
            text += toText(entry);
    }
    return answer.done(result, entries.empty() ? filled("no operations") + "\n" : text);
}

} // namespace

Run declareHistory(CLI::App& /*app*/) {
    return history;
}

} // namespace Kelvra::SCADA::Tool
