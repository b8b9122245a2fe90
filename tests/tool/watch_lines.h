#pragma once

namespace Kelvra::SCADA::Test {

// Lines on stderr of a run that watches the database. "$S" stands for the server's socket.

constexpr const char* LOST = "scada-sensors: the database at [$S] is lost; waiting for it\n";
constexpr const char* BACK = "scada-sensors: the database at [$S] is back\n";
constexpr const char* NO_CHANGES = "scada-sensors: 0 changes\n";
constexpr const char* NOT_THERE = "scada-sensors: The database at [$S] announced no changes at the end.\n";

} // namespace Kelvra::SCADA::Test
