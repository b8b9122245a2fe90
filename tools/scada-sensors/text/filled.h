#pragma once

#include <initializer_list>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns `format` with each "%s" replaced by the next of `values`. This function makes every message of the tool, so
/// that a search for the message finds the code, and docs/errors.md can be compared with the sources.
std::string filled(const char* format, std::initializer_list<std::string> values = {});

} // namespace Kelvra::SCADA::Tool
