#pragma once

#include "text/json_file.h"

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
    std::optional<std::int64_t> recvTime; ///< milliseconds since 1970; the decoder's clock is set to this time
};

/// An exception as the engine describes it.
struct DecoderException {
    std::string text;
    Position position;   ///< in the decoder's file; line 0 or column 0 where the engine does not know
    std::string newer;   ///< the piece of newer syntax that the engine does not know
    std::string missing; ///< the name outside the language that the decoder used
};

/// A value that JSON does not have; it is null in the result.
struct SpecialValue {
    std::string path; ///< as in "data.a.0"; empty for the result itself
    std::string kind; ///< "NaN", "undefined" and so on
};

/// The result of one call of an entry point.
struct CallResult {
    enum class Kind {
        VALUE,     ///< `value` and `special` have the returned value
        EXCEPTION, ///< `exception` was thrown
        LIMIT,     ///< it exceeded a limit, which `text` describes
        FAULT,     ///< the runner failed, as `text` says
    };

    Kind kind = Kind::FAULT;
    Json::Value value;
    std::vector<SpecialValue> special;
    std::string twice; ///< a name that two members of one object have: `value` has only one of them
    DecoderException exception;
    std::string text;
};

/// The result of loading a decoder.
struct LoadResult {
    enum class Kind {
        LOADED,     ///< `entryPoint` is its entry point, empty if it has none
        NOT_LOADED, ///< the script threw `exception`, or could not be compiled
        LIMIT,      ///< it exceeded a limit, which `text` describes
        FAULT,      ///< the runner failed, as `text` says
        NO_RUNNER,  ///< the program does not exist
    };

    Kind kind = Kind::FAULT;
    std::string engine;
    std::string entryPoint;
    DecoderException exception;
    std::string text;
};

/// The entry point that takes and returns one object. The others are older and return only the values.
constexpr const char* STANDARD_ENTRY_POINT = "decodeUplink";

} // namespace Kelvra::SCADA::Tool
