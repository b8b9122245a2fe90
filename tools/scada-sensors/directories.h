#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns why the staging and the custom directory must not be worked on, naming the option and the path, or nothing.
/// The library empties both through a shell and asks no question. `source` is an installation's source, or null.
std::string unsafeDirectories(const std::string* source);

/// Returns the canonical path; what does not exist yet is taken as written.
std::string canonicalPath(const std::string& path);

} // namespace Kelvra::SCADA::Tool
