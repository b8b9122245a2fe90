#pragma once

#include <vector>

namespace Kelvra::SCADA::Tool {

/// How a command ends. The numbers are an interface: scripts rely on them.
enum class ExitCode {
    DONE = 0,
    FAILED = 1,
    BAD_USAGE = 2,
    NO_DATABASE = 3,
    NOT_FOUND = 4,
    REFUSED = 5,
    BUSY = 6,
    INTERRUPTED = 7,
};

struct ExitCodeRow {
    ExitCode code;
    const char* word; ///< the word in JSON answers
    const char* meaning;
};

/// The table of exit codes in the order of their numbers.
const std::vector<ExitCodeRow>& exitCodes();

const char* wordOf(ExitCode code);

} // namespace Kelvra::SCADA::Tool
