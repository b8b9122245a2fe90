#pragma once

#include "check/Finding.h"
#include "codec/DecodedUplink.h"
#include "codec/value_rules.h"
#include "device/DefinitionDirectory.h"

#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The result of one uplink, for an answer.
struct DecodedAnswer {
    bool isDecoded = true; ///< false if the decoder returned nothing; the only finding says why
    std::vector<NamedValue> values;
    std::vector<std::string> warnings;
    std::vector<std::string> errors; ///< those of the decoder
    Findings findings;               ///< faults of the decoder, and values that do not fit the definition

    bool isFailed() const { return !isDecoded || !errors.empty() || errorCount(findings) != 0; }
    /// Returns the reason of a failure, in one line.
    std::string error() const;
};

/// Returns the members of an answer: values with their units, warnings, errors, findings.
Json::Value toJson(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns a line for each value with its unit and the property's name, then the messages and findings.
std::string toText(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns the values in one line, and messages and findings in lines below.
std::string toLine(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns the fields of the sensor's hash: the values that JSON has and that fit the definition.
std::vector<std::pair<std::string, std::string>> storedFields(const DecodedAnswer& decoded,
                                                              const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
