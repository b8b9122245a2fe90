#pragma once

#include "codec/DecodedUplink.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Whether two values are the same; numbers may differ by a billionth.
bool isSameValue(const Json::Value& one, const Json::Value& other);

/// Returns how a decoded uplink differs from what an example expects, one text for each difference. What JSON has no
/// value for counts as any value: it is a fault of its own. Data that are not expected are not compared.
std::vector<std::string> differences(const DecodedUplink& expected, const DecodedUplink& found);

} // namespace Kelvra::SCADA::Tool
