#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Kelvra::SCADA::Test {

/// Returns what the library of options says of a value out of range; the words depend on its version.
inline std::string notInRange(unsigned int least, unsigned int most, std::string value) {
    return CLI::Range(least, most)(value);
}

} // namespace Kelvra::SCADA::Test
