#pragma once

#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns why the definitions of a source do not fit into the staging and the custom directory, or nothing.
std::string missingSpace(const std::string& srcDir, const std::set<std::string>& names);

} // namespace Kelvra::SCADA::Tool
