#include "fs/Directory.h"

#include <scada/FsNode.h>

#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

#include <cstring>

namespace Kelvra::SCADA {

static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8,
              "smaller ones make lstat() fail on large files and inode numbers");

mode_t acceptedTypes(unsigned int kinds) {
    static_assert(FsNode::MODE_DIR << 14U == S_IFDIR && FsNode::MODE_FILE << 14U == S_IFREG,
                  "the kinds are the type bits shifted");
    const mode_t types = (kinds << 14U) & 0xFFFFU;
    return (kinds & FsNode::MODE_OTHER) != 0 ? types | S_IFIFO | S_IFCHR : types;
}

bool isEntryAccepted(const std::string& directory, const char* name, const std::string& pattern, mode_t types) {
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
        return false;
    if (fnmatch(pattern.c_str(), name, 0) != 0)
        return false;
    struct stat status {};
    if (lstat((directory + "/" + name).c_str(), &status) != 0)
        return false;
    return (status.st_mode & S_IFMT & ~types) == 0;
}

bool isDirectoryReadable(const std::string& directory, Links links) {
    const int noFollow = links == Links::NOFOLLOW ? O_NOFOLLOW : 0;
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | noFollow);
    if (descriptor < 0)
        return false;
    close(descriptor);
    return true;
}

} // namespace Kelvra::SCADA
