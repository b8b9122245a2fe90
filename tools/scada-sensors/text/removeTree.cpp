#include "text/removeTree.h"

#include "text/Descriptor.h"
#include "text/DirectoryEntries.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

// Step by step from directory to directory, so that nobody can put a link in the way. A copy may have directories that
// may not be read or written.
void removeEntry(int parent, const std::string& name) {
    if (unlinkat(parent, name.c_str(), 0) == 0 || errno == ENOENT)
        return;
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) == 0)
        return;
    Descriptor directory{openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!directory.isOpen() || faccessat(directory.number(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
        fchmodat(parent, name.c_str(), S_IRWXU, 0);
        directory = Descriptor{openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    }
    if (!directory.isOpen())
        return;
    for (const DirectoryEntry& entry : entriesOf(directory.number(), SIZE_MAX))
        removeEntry(directory.number(), entry.name);
    unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

} // namespace

void removeTree(const std::string& path) {
    removeEntry(AT_FDCWD, path);
}

} // namespace Kelvra::SCADA::Tool
