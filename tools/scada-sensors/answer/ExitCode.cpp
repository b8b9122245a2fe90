#include "answer/ExitCode.h"

namespace Kelvra::SCADA::Tool {

const std::vector<ExitCodeRow>& exitCodes() {
    static const std::vector<ExitCodeRow> rows = {
        {ExitCode::DONE, "done", "Done"},
        {ExitCode::FAILED, "failed", "The operation failed, or a check found faults"},
        {ExitCode::BAD_USAGE, "usage", "Bad usage"},
        {ExitCode::NO_DATABASE, "no-database", "No database"},
        {ExitCode::NOT_FOUND, "not-found", "The sensor, definition, field or generation does not exist"},
        {ExitCode::REFUSED, "refused", "Refused, and nothing has been changed"},
        {ExitCode::BUSY, "busy", "Another operation on the custom storage is running"},
        {ExitCode::INTERRUPTED, "interrupted", "Interrupted by a signal, and nothing has been changed"},
    };
    return rows;
}

const char* wordOf(ExitCode code) {
    return exitCodes().at(static_cast<std::size_t>(code)).word;
}

} // namespace Kelvra::SCADA::Tool
