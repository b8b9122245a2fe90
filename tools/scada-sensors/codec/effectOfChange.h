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

/// What another decoder changes in the result of one uplink: a value, a message, or the whole result.
struct ResultChange {
    enum class Kind {
        VALUE,   ///< `from` and `to`
        WARNING, ///< `fromText` and `toText`, and so for the others
        ERROR,
        RESULT, ///< one of them gave none, as with an exception
    };

    Kind kind = Kind::VALUE;
    std::string example;               ///< the description of the example with the uplink
    std::optional<MeasuredValue> from; ///< nothing where there was none
    std::optional<MeasuredValue> to;   ///< nothing where there is none any more
    std::string fromText;
    std::string toText;
};

/// What becomes of the values when one definition takes the place of another.
struct EffectOfChange {
    std::vector<ResultChange> changes;
    std::string reason;  ///< why it is not known, or not known for all examples, if so
    bool isTold = false; ///< whether there was anything to run, and a runner
};

/// Runs both decoders on the examples of both definitions. Tells nothing without a runner, where one of the definitions
/// is not sound or has no decoder, and where neither the decoder nor a property differs.
EffectOfChange effectOfChange(const Definition& present, const Definition& wanted);

} // namespace Kelvra::SCADA::Tool
