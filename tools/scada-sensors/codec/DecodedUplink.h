#pragma once

#include "codec/CallResult.h"

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The path of a value has at most so many bytes. A name that counts for each element of a long list would take more
/// memory than the result by a factor of its length.
constexpr std::size_t LONGEST_PATH = 255;

/// Returns what is wrong with the paths of some data, as the object of a sentence, or nothing: one is too long, there
/// are too many, or two values have the same one.
std::string pathFault(const Json::Value& data);

/// What a decoder made of an uplink, in one form for all entry points.
struct DecodedUplink {
    bool hasData = false;
    Json::Value data;
    std::vector<SpecialValue> special; ///< in the data, with paths within it
    std::vector<std::string> warnings;
    std::vector<std::string> errors;
    std::string fault; ///< why the result is not one, if so
};

/// Reads the result of a call. REQUIRES: it is a value.
DecodedUplink readResult(const std::string& entryPoint, const CallResult& result);

/// Reads "errors" or "warnings": a list, or one text in place of a list of one.
std::vector<std::string> readMessages(const Json::Value& messages);

/// One value of the data. A property that is declared by the path of a list or an object is one value as a whole.
struct NamedValue {
    std::string path; ///< as in "a.b" or "a.0"
    Json::Value value;
    std::string special; ///< what it is when JSON has no such value; empty otherwise
};

/// Returns the values of a decoded uplink by their paths, in the order of the names.
std::vector<NamedValue> namedValues(const DecodedUplink& uplink, const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
