#include "TempDir.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Kelvra::SCADA::Test {

namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

std::vector<std::string> entriesOf(DIR* directory) {
    std::vector<std::string> names;
    while (const dirent* entry = readdir(directory)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

// Goes from directory to directory, because a test may have made paths longer than a system call accepts.
void removeEntry(int parent, const std::string& name) {
    if (unlinkat(parent, name.c_str(), 0) == 0)
        return;
    if (fchmodat(parent, name.c_str(), S_IRWXU, 0) != 0)
        return;
    const int descriptor = openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return;
    const std::unique_ptr<DIR, CloseDirectory> directory(fdopendir(descriptor));
    for (const std::string& entry : entriesOf(directory.get()))
        removeEntry(descriptor, entry);
    unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

std::string temporaryRoot() {
    const char* set = std::getenv("TMPDIR");
    return set != nullptr && *set != '\0' ? set : "/tmp";
}

} // namespace

TempDir::TempDir() : TempDir(temporaryRoot()) {}

TempDir::TempDir(const std::string& parent) {
    std::string pattern = parent + "/scada-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("cannot make " + pattern);
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(pattern.c_str(), nullptr), &std::free);
    root = resolved ? resolved.get() : pattern;
}

TempDir::~TempDir() {
    removeTree(root);
}

void removeTree(const std::string& path) {
    removeEntry(AT_FDCWD, path);
}

} // namespace Kelvra::SCADA::Test
