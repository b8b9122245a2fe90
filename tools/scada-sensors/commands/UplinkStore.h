#pragma once

#include "database/LimitedDatabase.h"

#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

using HashFields = std::vector<std::pair<std::string, std::string>>;

/// Writes the values of uplinks into the hash of a sensor. Each operation throws NoDatabase.
class UplinkStore {
public:
    UplinkStore(std::string sensorKey, unsigned int waitSeconds);

    /// Writes the fields at once, then lets the hash expire as configured. Returns what went wrong, or nothing.
    std::string write(const HashFields& fields);

private:
    std::string key;
    LimitedDatabase database;
};

} // namespace Kelvra::SCADA::Tool
