#include "check/Finding.h"

#include "text/filled.h"

#include <algorithm>
#include <numeric>

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

Finding tooManyFindings(const std::string& source) {
    return {Rules::SOURCE_TOO_MANY_FINDINGS,
            {source},
            filled("The examination ended early: there are too many findings. The first ones are listed.")};
}

bool areTooMany(const Findings& findings) {
    constexpr std::size_t MOST_BYTES = std::size_t{4} * 1024 * 1024;
    const auto addBytes = [](std::size_t sum, const Finding& one) {
        return sum + one.text.size() + one.place.file.size() + one.definition.size();
    };
    return findings.size() > MOST_FINDINGS ||
           std::accumulate(findings.begin(), findings.end(), std::size_t{0}, addBytes) > MOST_BYTES;
}

void append(const Findings& more, Findings* findings) {
    findings->insert(findings->end(), more.begin(), more.end());
}

} // namespace Kelvra::SCADA::Tool
