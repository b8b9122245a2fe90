#pragma once

#include <string>

namespace Kelvra::SCADA::Test {

/// Returns `text` with the remedy of its rule below each line that ends in the name of a rule, as the tool prints it,
/// so that an expected text says each remedy once for all tests.
std::string withRemedies(const std::string& text);

/// Returns the remedy of a rule, or nothing for a rule that the tool does not have.
std::string remedyOf(const std::string& rule);

} // namespace Kelvra::SCADA::Test
