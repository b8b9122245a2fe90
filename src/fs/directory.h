#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <memory>
#include <string>

namespace Kelvra::SCADA {

struct CloseDirectory {
    void operator()(DIR* stream) const { closedir(stream); }
};

/// Owns the stream of a directory that is being read.
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

/// Returns the type bits that a set of FsNode::Mode bits accepts.
mode_t acceptedTypes(unsigned int kinds);

/// Returns whether a listing of `directory` shows its entry `name`: the name is neither "." nor "..", it matches the
/// fnmatch `pattern`, and the entry's type has no bit outside `types` (links not followed).
/// REQUIRES: the directory has such an entry.
bool isEntryAccepted(const std::string& directory, const char* name, const std::string& pattern, mode_t types);

/// Returns whether `directory` can be read and has an entry of exactly the name `name`. Reads the directory only on
/// file systems where another name may reach the same entry, for example in other letter case on FAT. NOFOLLOW: a
/// symbolic link does not count as a directory. REQUIRES: the name reaches an entry.
enum class Links { FOLLOW, NOFOLLOW };
bool hasEntryNamed(const std::string& directory, const std::string& name, Links links);

} // namespace Kelvra::SCADA
