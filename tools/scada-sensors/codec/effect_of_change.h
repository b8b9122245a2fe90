#pragma once

#include "codec/DecodedUplink.h"
#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A value with the unit that its definition gives it.
struct MeasuredValue {
    NamedValue value;
    std::string unit;
};

/// A change of the result of one uplink by another decoder: a value, a message, or the whole result.
struct ResultChange {
    enum class Kind {
        VALUE,   ///< `from` and `to`
        WARNING, ///< `fromText` and `toText`; the same for the following ones
        ERROR,
        RESULT, ///< one of them returned none, as with an exception
    };

    Kind kind = Kind::VALUE;
    std::string example;               ///< the description of the example that has the uplink
    std::optional<MeasuredValue> from; ///< nothing if there was none
    std::optional<MeasuredValue> to;   ///< nothing if there is none any more
    std::string fromText;
    std::string toText;
};

/// The effect on the values when one definition replaces another.
struct EffectOfChange {
    std::vector<ResultChange> changes;
    std::string reason;  ///< why the effect is not known, or not for all examples, if so
    bool isTold = false; ///< whether there was anything to run, and a runner
};

/// Runs both decoders on the examples of both definitions. Reports nothing without a runner, if one of the definitions
/// is not sound or has no decoder, or if neither the decoder nor a property differs.
EffectOfChange effectOfChange(const Definition& present, const Definition& wanted);

} // namespace Kelvra::SCADA::Tool
