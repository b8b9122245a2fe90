#pragma once

#include "answer/Answer.h"
#include "answer/Screen.h"
#include "check/Finding.h"

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns "FILE:LINE:COLUMN" without the parts that the place lacks.
std::string placeText(const Place& place);

/// Returns "FILE:LINE:COLUMN: SEVERITY: [element N: ]TEXT [RULE]" without the parts that the finding lacks, and the
/// remedy indented below, made printable. Compilers write places in this form, so editors and CI systems can jump to
/// them.
std::string toText(const Finding& finding, const Screen& screen = Screen());
std::string toText(const Findings& findings, const Screen& screen = Screen());

Json::Value toJson(const Findings& findings);

/// Ends a command with a failure that the findings explain: they go to stderr for people, and below `result` for
/// programs. REQUIRES: there is at least one finding.
ExitCode failedFor(const Findings& findings, ExitCode code, const Answer& answer, Json::Value result,
                   const std::string& text);

} // namespace Kelvra::SCADA::Tool
