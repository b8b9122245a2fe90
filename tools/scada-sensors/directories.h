#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns why the staging and the custom directory must not be worked on, naming the option and the path, or nothing.
/// The library empties both through a shell and asks no question. `source` is an installation's source, or null.
std::string unsafeDirectories(const std::string* source);

/// Returns the canonical path; what does not exist yet is taken as written. A path that cannot be resolved, which
/// unsafeDirectories() finds out, is returned as it is.
std::string canonicalPath(const std::string& path);

/// Returns the path itself, or the nearest one above it that exists.
std::string nearestExisting(const std::string& path);

/// Whether a file may be written, or a directory be given entries.
bool isWritable(const std::string& path);

/// Whether a file may be read.
bool isReadable(const std::string& path);

} // namespace Kelvra::SCADA::Tool
