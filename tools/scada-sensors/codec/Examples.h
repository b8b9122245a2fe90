#pragma once

#include "codec/CallResult.h"
#include "codec/DecodedUplink.h"

#include <json/value.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What the examples of a definition are called in its file.
constexpr const char* EXAMPLES_SECTION = "examples";

/// One uplink and what the decoder must make of it.
struct Example {
    Json::ArrayIndex index = 0;
    std::string description; ///< "example 1" and so on where there is none
    UplinkCall input;
    bool throws = false;  ///< whether an exception is expected in place of the output
    DecodedUplink output; ///< what is expected; without data they are not compared
};

/// Something wrong with an example. `path` leads to the member of the document, as in {"examples", "0", "input"}.
struct ExampleFault {
    std::vector<std::string> path;
    std::string text;
};

/// The examples of a definition; those with a fault are left out.
struct Examples {
    std::vector<Example> sound;
    std::vector<ExampleFault> faults;
};

Examples readExamples(const Json::Value& definition);

} // namespace Kelvra::SCADA::Tool
