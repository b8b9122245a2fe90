#pragma once

#include "database/Inquiry.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The content of the database for a sensor.
struct SensorState {
    enum class Kind {
        HASH,    ///< `fields` are its values
        MISSING, ///< the key does not exist
        OTHER,   ///< the key is not a hash
    };

    Kind kind = Kind::MISSING;
    std::size_t fieldCount = 0;
    std::map<std::string, std::string> fields;    ///< empty if only their number is wanted
    std::optional<std::int64_t> millisecondsLeft; ///< until the key expires; nothing if it does not
};

/// Whether to read the values of a key, or only the number of its fields.
enum class Fields { VALUES, NUMBER };

/// Reads the keys of many sensors at once into `*states`, in their order. Returns the fault of the server, or nothing.
ServerFault readSensors(const Inquiry& server, const std::vector<std::string>& keys, std::vector<SensorState>* states);

/// The same, with each state handed over while the server works on the next ones. After a fault, the remaining ones are
/// missing.
using TakeState = std::function<void(SensorState&& state)>;
ServerFault readSensors(const Inquiry& server, const std::vector<std::string>& keys, Fields wanted,
                        const TakeState& take);

/// Returns how long ago the key was written, computed from the configured expiry, which each write sets anew; nothing
/// for a key without an expiry, or with a longer one.
std::optional<std::int64_t> secondsSinceWrite(const SensorState& state);

} // namespace Kelvra::SCADA::Tool
