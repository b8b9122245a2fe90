#pragma once

#include "codec/CallResult.h"
#include "codec/DecodedUplink.h"

#include <json/value.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The name of the examples in a definition's file.
constexpr const char* EXAMPLES_SECTION = "examples";

/// One uplink and the result that the decoder must return.
struct Example {
    Json::ArrayIndex index = 0;
    std::string description; ///< "example 1" and so on if there is none
    UplinkCall input;
    bool throws = false;  ///< whether an exception is expected instead of the output
    DecodedUplink output; ///< the expected output; if it has no data, the data is not compared
};

/// A fault of an example. `path` leads to the member of the document, as in {"examples", "0", "input"}.
struct ExampleFault {
    std::vector<std::string> path;
    std::string text;
};

/// The examples of a definition, without those that have a fault.
struct Examples {
    std::vector<Example> sound;
    std::vector<ExampleFault> faults;
};

Examples readExamples(const Json::Value& definition);

} // namespace Kelvra::SCADA::Tool
