#pragma once

#include <unistd.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Makes the directory and mounts a tmpfs there that this process alone sees, and that goes with it at the latest.
/// Returns whether it is there. Takes root.
bool mountPrivately(const std::string& place, const std::string& options);

/// Returns the rows for root and none for others: cases that others cannot run do not exist for them, rather than pass.
template <typename Row> std::vector<Row> forRoot(const std::vector<Row>& rows) {
    return geteuid() == 0 ? rows : std::vector<Row>();
}

} // namespace Kelvra::SCADA::Test
