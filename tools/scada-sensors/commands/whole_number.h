#pragma once

#include <CLI/CLI.hpp>

namespace Kelvra::SCADA::Tool {

/// For Option::transform(): a whole number in this range. Leading zeros do not make it octal, as they would in C.
CLI::Validator wholeNumber(unsigned int least, unsigned int most);

} // namespace Kelvra::SCADA::Tool
