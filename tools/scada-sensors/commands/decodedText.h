#pragma once

#include "check/Finding.h"
#include "codec/DecodedUplink.h"
#include "codec/valueRules.h"
#include "device/DefinitionDirectory.h"

#include <json/value.h>

#include <string>
#include <utility>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What came of one uplink, for an answer.
struct DecodedAnswer {
    bool isDecoded = true; ///< false when the decoder returned nothing; the one finding tells why
    std::vector<NamedValue> values;
    std::vector<std::string> warnings;
    std::vector<std::string> errors; ///< the decoder's
    Findings findings;               ///< what the decoder did wrong, and what does not fit the definition

    bool isFailed() const { return !isDecoded || !errors.empty() || errorCount(findings) != 0; }
    /// Returns why it failed, in one line.
    std::string error() const;
};

/// Returns the members of an answer: values with their units, warnings, errors, findings.
Json::Value toJson(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns a line for each value with its unit and the property's name, then the messages and findings.
std::string toText(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns the values in one line, and messages and findings in lines below.
std::string toLine(const DecodedAnswer& decoded, const Json::Value& properties);

/// Returns the fields of the sensor's hash: what fits the definition and is a value.
std::vector<std::pair<std::string, std::string>> storedFields(const DecodedAnswer& decoded,
                                                              const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
