#include "check/Finding.h"

#include <algorithm>

namespace Kelvra::SCADA::Tool {

std::size_t errorCount(const Findings& findings) {
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.rule->severity == Severity::ERROR;
    }));
}

std::size_t faultCount(const Findings& findings) {
    return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.rule->severity != Severity::NOTE;
    }));
}

void append(const Findings& more, Findings* findings) {
    findings->insert(findings->end(), more.begin(), more.end());
}

} // namespace Kelvra::SCADA::Tool
