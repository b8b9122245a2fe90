#pragma once

#include "text/JsonFile.h"

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// One uplink as a decoder gets it.
struct UplinkCall {
    unsigned int fPort = 0;
    std::vector<std::uint8_t> bytes;
    std::optional<std::int64_t> recvTime; ///< milliseconds since 1970; the clock of the decoder stands there
};

/// What an engine says of an exception.
struct DecoderException {
    std::string text;
    Position position;   ///< in the decoder's file; line 0 or column 0 where the engine does not know
    std::string newer;   ///< the piece of newer syntax that the engine does not know
    std::string missing; ///< the name outside the language that the decoder asked for
};

/// A value that JSON does not have; it is null in the result.
struct SpecialValue {
    std::string path; ///< as in "data.a.0"; empty for the result itself
    std::string kind; ///< "NaN", "undefined" and so on
};

/// What came of one call of an entry point.
struct CallResult {
    enum class Kind {
        VALUE,     ///< `value` and `special` have what was returned
        EXCEPTION, ///< `exception` was thrown
        LIMIT,     ///< it went over a limit, which `text` describes
        FAULT,     ///< the runner failed, as `text` tells
    };

    Kind kind = Kind::FAULT;
    Json::Value value;
    std::vector<SpecialValue> special;
    std::string twice; ///< a name that two members of one object have: `value` has one of them only
    DecoderException exception;
    std::string text;
};

/// What came of loading a decoder.
struct LoadResult {
    enum class Kind {
        LOADED,     ///< `entryPoint` is its entry point, empty when there is none
        NOT_LOADED, ///< the script threw `exception`, or could not be compiled
        LIMIT,      ///< it went over a limit, which `text` describes
        FAULT,      ///< the runner failed, as `text` tells
        NO_RUNNER,  ///< there is no such program
    };

    Kind kind = Kind::FAULT;
    std::string engine;
    std::string entryPoint;
    DecoderException exception;
    std::string text;
};

/// The entry point that takes and returns one object; the others are older and return the values alone.
constexpr const char* STANDARD_ENTRY_POINT = "decodeUplink";

} // namespace Kelvra::SCADA::Tool
