#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A place in a text, counted from 1 in lines and bytes; line 0 is no place.
struct Position {
    unsigned int line = 0;
    unsigned int column = 0;
};

/// Something wrong, or worth knowing, at one place.
struct Fault {
    std::string file;
    std::string text;
    Position position = {};
    std::optional<Json::ArrayIndex> element = std::nullopt; ///< of the managed-sensors list
    bool refuses = true;                                    ///< whether it keeps a definition from being installed
};

using Faults = std::vector<Fault>;

/// Returns "FILE[ELEMENT]:LINE:COLUMN: TEXT" without the parts that the fault lacks, made printable.
std::string toText(const Fault& fault);

Json::Value toJson(const Faults& faults);

} // namespace Kelvra::SCADA::Tool
