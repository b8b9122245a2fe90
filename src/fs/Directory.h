#pragma once

#include <sys/stat.h>

#include <string>

namespace Kelvra::SCADA {

/// The type bits that a set of FsNode::Mode bits accepts.
mode_t acceptedTypes(unsigned int kinds);

/// Returns whether a listing of `directory` shows the entry `name`, given that the directory has such an entry: it is
/// neither "." nor "..", matches the fnmatch `pattern`, and has no type bit outside `types`, links not followed.
bool isEntryAccepted(const std::string& directory, const char* name, const std::string& pattern, mode_t types);

/// Returns whether `directory` is a directory whose entries can be read; NOFOLLOW: and no symbolic link to one.
enum class Links { FOLLOW, NOFOLLOW };
bool isDirectoryReadable(const std::string& directory, Links links);

} // namespace Kelvra::SCADA
