#include "text/directory_entries.h"

#include "text/Descriptor.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory opened(int descriptor) {
    // A separate descriptor: it has its own position, and the stream may close it.
    const int own = openat(descriptor, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int used = own >= 0 ? own : fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    DIR* directory = used >= 0 ? fdopendir(used) : nullptr;
    if (directory == nullptr) {
        const int error = errno;
        const Descriptor closing{used};
        throw std::system_error(error, std::generic_category());
    }
    return Directory(directory);
}

} // namespace

std::vector<DirectoryEntry> entriesOf(int descriptor, std::size_t most) {
    const Directory directory = opened(descriptor);
    std::vector<DirectoryEntry> entries;
    errno = 0;
    while (entries.size() < most) {
        const dirent* entry = readdir(directory.get()); // NOLINT(concurrency-mt-unsafe)
        if (entry == nullptr && errno != 0)
            throw std::system_error(errno, std::generic_category());
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            entries.push_back({name, entry->d_type});
    }
    std::sort(entries.begin(), entries.end(), [](const auto& one, const auto& other) { return one.name < other.name; });
    return entries;
}

} // namespace Kelvra::SCADA::Tool
