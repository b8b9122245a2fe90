#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Makes the directory and mounts a tmpfs there that this process alone sees, and that goes with it at the latest.
/// Returns whether it is there, which takes root and a system that lets root mount.
bool mountPrivately(const std::string& place, const std::string& options);

/// Returns whether mountPrivately works here.
bool canMount();

/// Returns the rows where something can be mounted, else none: cases that cannot run do not exist, rather than pass.
template <typename Row> std::vector<Row> whereMountable(const std::vector<Row>& rows) {
    return canMount() ? rows : std::vector<Row>();
}

} // namespace Kelvra::SCADA::Test
