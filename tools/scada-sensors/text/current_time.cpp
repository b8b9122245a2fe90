#include "text/current_time.h"

#include <array>
#include <ctime>

namespace Kelvra::SCADA::Tool {

std::string currentTime() {
    const std::time_t now = std::time(nullptr);
    struct tm utc {};
    gmtime_r(&now, &utc);
    std::array<char, sizeof "2030-01-31T12:00:00Z"> text{};
    (void)std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text.data();
}

} // namespace Kelvra::SCADA::Tool
