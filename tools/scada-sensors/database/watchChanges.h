#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// A change of a key as the server announces it.
struct KeyChange {
    std::chrono::system_clock::time_point time;
    std::string key;
    std::string event;
};

/// Calls `receive` for each change of a key in the configured database until that returns false, until `seconds` have
/// passed (0: no limit) or until SIGINT or SIGTERM comes. A second signal does what it does without a watch. Waits for
/// a server for as long as it takes, also for one that goes and comes back.
void watchChanges(unsigned int seconds, const std::function<bool(const KeyChange&)>& receive);

} // namespace Kelvra::SCADA::Tool
