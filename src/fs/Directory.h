#pragma once

#include <sys/stat.h>

#include <string>

namespace Kelvra::SCADA {

/// The type bits that a set of FsNode::Mode bits accepts.
mode_t acceptedTypes(unsigned int kinds);

/// Returns whether a listing of `directory` shows the entry `name`, given that the directory has such an entry: it is
/// neither "." nor "..", matches the fnmatch `pattern`, and has no type bit outside `types`, links not followed.
bool isEntryAccepted(const std::string& directory, const char* name, const std::string& pattern, mode_t types);

/// Returns whether the entries of `directory` can be read.
bool isDirectoryReadable(const std::string& directory);

} // namespace Kelvra::SCADA
