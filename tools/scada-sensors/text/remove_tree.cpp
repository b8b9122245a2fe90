#include "text/remove_tree.h"

#include "text/Descriptor.h"
#include "text/directory_entries.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

bool isDirectory(int parent, const std::string& name) {
    struct stat status {};
    return fstatat(parent, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

Descriptor openDirectory(int parent, const std::string& name) {
    return Descriptor{openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

int removeEntry(int parent, const std::string& name);

int removeEntriesOf(const Descriptor& directory) {
    int error = 0;
    try {
        for (const DirectoryEntry& entry : entriesOf(directory.number(), SIZE_MAX)) {
            const int failed = removeEntry(directory.number(), entry.name);
            error = error == 0 ? failed : error;
        }
    } catch (const std::system_error& e) {
        return e.code().value();
    }
    return error;
}

// Goes step by step from directory to directory, so that nobody can put a link in the way. A copy may contain
// directories without permission to read or write. A file may have other names, so its mode must not change.
int removeEntry(int parent, const std::string& name) {
    if (unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT)
        return 0;
    const int error = errno;
    if (!isDirectory(parent, name))
        return error;
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0)
        return 0;
    Descriptor directory = openDirectory(parent, name);
    const bool isClosed = !directory.isOpen() || faccessat(directory.number(), ".", W_OK | X_OK, AT_EACCESS) != 0;
    if (isClosed && fchmodat(parent, name.c_str(), S_IRWXU, 0) == 0)
        directory = openDirectory(parent, name);
    if (!directory.isOpen())
        return errno;
    const int failed = removeEntriesOf(directory);
    if (failed != 0)
        return failed;
    return unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

} // namespace

int removeTree(const std::string& path) {
    return removeEntry(AT_FDCWD, path);
}

} // namespace Kelvra::SCADA::Tool
