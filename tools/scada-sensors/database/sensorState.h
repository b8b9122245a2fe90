#pragma once

#include "database/Inquiry.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What the database has of a sensor.
struct SensorState {
    enum class Kind {
        HASH,    ///< `fields` are its values
        MISSING, ///< there is no such key
        OTHER,   ///< the key is no hash
    };

    Kind kind = Kind::MISSING;
    std::map<std::string, std::string> fields;
    std::optional<std::int64_t> millisecondsLeft; ///< until the key expires; nothing for one that does not
};

/// Reads the keys of sensors into `*states`, in their order, many at once. Returns what is wrong with the server, or
/// nothing.
ServerFault readSensors(const Inquiry& server, const std::vector<std::string>& keys, std::vector<SensorState>* states);

/// Returns how long ago the key was written, from the configured expiry, which each write sets anew; nothing for a key
/// without an expiry, or with a longer one.
std::optional<std::int64_t> secondsSinceWrite(const SensorState& state);

} // namespace Kelvra::SCADA::Tool
