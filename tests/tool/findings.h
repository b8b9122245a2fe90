#pragma once

#include <string>

namespace Kelvra::SCADA::Test {

/// Returns `text` with the remedy of its rule below each line that ends in the name of a rule, as the tool prints it,
/// so that all tests share one text of each remedy.
std::string withRemedies(const std::string& text);

/// Returns the remedy of a rule, or nothing if the tool does not have the rule.
std::string remedyOf(const std::string& rule);

} // namespace Kelvra::SCADA::Test
