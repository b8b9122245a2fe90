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

    /// Writes the fields in one step, then sets the configured expiry of the hash. Returns the failure, or nothing.
    std::string write(const HashFields& fields);

private:
    std::string key;
    unsigned int wait; ///< seconds
    LimitedDatabase database;
};

} // namespace Kelvra::SCADA::Tool
