#pragma once

#include "check/Finding.h"
#include "codec/DecodedUplink.h"

#include <json/value.h>

#include <optional>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A value that does not fit its property, or that has no property.
struct Misfit {
    const Rule* rule;
    std::string path; ///< of the value
    std::string text;
};

/// Judges a value by its property. `path` is its path among the values.
std::optional<Misfit> misfitOf(const std::string& path, const Json::Value& value, const Json::Value& property);

/// Judges the values of an uplink by the properties of its definition.
std::vector<Misfit> misfits(const std::vector<NamedValue>& values, const Json::Value& properties);

} // namespace Kelvra::SCADA::Tool
