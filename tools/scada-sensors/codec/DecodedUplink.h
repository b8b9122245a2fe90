#pragma once

#include "codec/CallResult.h"

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The path of a value has at most so many bytes. Otherwise a long name, repeated for each element of a long list,
/// would multiply the memory of the result by its length.
constexpr std::size_t LONGEST_PATH = 255;

/// Returns the fault of the paths of some data, as the object of a sentence, or nothing: one is too long, there are too
/// many, or two values have the same one.
std::string pathFault(const Json::Value& data);

/// The result of a decoder for an uplink, in one form for all entry points.
struct DecodedUplink {
    bool hasData = false;
    Json::Value data;
    std::vector<SpecialValue> special; ///< in the data, with paths relative to it
    std::vector<std::string> warnings;
    std::vector<std::string> errors;
    std::string fault; ///< why the result is not valid, if so
};

/// Reads the result of a call. REQUIRES: it is a value.
DecodedUplink readResult(const std::string& entryPoint, const CallResult& result);

/// Reads "errors" or "warnings": a list, or one text instead of a list of one.
std::vector<std::string> readMessages(const Json::Value& messages);

/// One value of the data. If a property is declared by the path of a list or an object, that is one value as a whole.
struct NamedValue {
    std::string path; ///< as in "a.b" or "a.0"
    Json::Value value;
    std::string special; ///< its kind if JSON has no such value; empty otherwise
};

/// Returns the values of a decoded uplink by their paths, ordered by name.
std::vector<NamedValue> namedValues(const DecodedUplink& uplink, const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
