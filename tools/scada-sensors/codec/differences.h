#pragma once

#include "codec/DecodedUplink.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Whether two values are equal; numbers may differ by a billionth.
bool isSameValue(const Json::Value& one, const Json::Value& other);

/// Returns the differences between a decoded uplink and the output that an example expects, one text each. A value that
/// JSON does not have is equal to any value, because it is a separate fault. If no data is expected, the data is not
/// compared.
std::vector<std::string> differences(const DecodedUplink& expected, const DecodedUplink& found);

} // namespace Kelvra::SCADA::Tool
