#pragma once

#include <string>

namespace Kelvra::SCADA::Test {

/// Returns the names of tests whose rows have a member `name`: letters, digits and underscores.
constexpr auto rowName = [](const auto& info) { return std::string(info.param.name); };

} // namespace Kelvra::SCADA::Test
