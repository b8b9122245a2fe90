#include "fs/directory.h"

#include <scada/FsNode.h>

#include <fcntl.h>
#include <fnmatch.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace Kelvra::SCADA {

static_assert(sizeof(off_t) == 8 && sizeof(ino_t) == 8,
              "smaller ones make lstat() fail on large files and inode numbers");

namespace {

constexpr std::uint32_t UBIFS_MAGIC = 0x24051905; // not defined by the system headers

// On these file systems an entry has one name only, except in a directory that is marked to fold letter case. XFS is
// left out because a whole file system may fold; network file systems and FUSE, because their other side decides.
constexpr std::array<std::uint32_t, 10> EXACT_FILE_SYSTEMS = {
    EXT4_SUPER_MAGIC, TMPFS_MAGIC,       RAMFS_MAGIC,      OVERLAYFS_SUPER_MAGIC, SQUASHFS_MAGIC,
    UBIFS_MAGIC,      JFFS2_SUPER_MAGIC, F2FS_SUPER_MAGIC, BTRFS_SUPER_MAGIC,     EROFS_SUPER_MAGIC_V1};

bool mayHaveOtherNames(int directory) {
    struct statfs status {};
    if (fstatfs(directory, &status) != 0)
        return true;
    // 32 bits on every machine, but signed on some.
    const auto type = static_cast<std::uint32_t>(status.f_type);
    if (std::find(EXACT_FILE_SYSTEMS.begin(), EXACT_FILE_SYSTEMS.end(), type) == EXACT_FILE_SYSTEMS.end())
        return true;
    int flags = 0;
    return ioctl(directory, FS_IOC_GETFLAGS, &flags) == 0 && (flags & FS_CASEFOLD_FL) != 0;
}

// Takes ownership of the descriptor.
bool readsName(int directory, const std::string& name) {
    const DirectoryStream stream(fdopendir(directory));
    if (!stream) {
        close(directory);
        return false;
    }
    // The stream belongs to this call, so no other thread reads it.
    while (const dirent* entry = readdir(stream.get())) { // NOLINT(concurrency-mt-unsafe)
        if (name == entry->d_name)
            return true;
    }
    return false;
}

} // namespace

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

bool hasEntryNamed(const std::string& directory, const std::string& name, Links links) {
    const int noFollow = links == Links::NOFOLLOW ? O_NOFOLLOW : 0;
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC | noFollow);
    if (descriptor < 0)
        return false;
    if (mayHaveOtherNames(descriptor))
        return readsName(descriptor, name);
    close(descriptor);
    return true;
}

} // namespace Kelvra::SCADA
