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

/// The type bits that a set of FsNode::Mode bits accepts.
mode_t acceptedTypes(unsigned int kinds);

/// Returns whether a listing of `directory` shows the entry `name`, given that the directory has such an entry: it is
/// neither "." nor "..", matches the fnmatch `pattern`, and has no type bit outside `types`, links not followed.
bool isEntryAccepted(const std::string& directory, const char* name, const std::string& pattern, mode_t types);

/// Returns whether `directory` can be read and has an entry of exactly the name `name`, given that this name reaches
/// one. Reads its names only where another name may reach an entry too, as one in other letter cases does on FAT.
/// NOFOLLOW: a symbolic link to a directory is none.
enum class Links { FOLLOW, NOFOLLOW };
bool hasEntryNamed(const std::string& directory, const std::string& name, Links links);

} // namespace Kelvra::SCADA
