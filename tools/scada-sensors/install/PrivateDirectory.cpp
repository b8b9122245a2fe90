#include "install/PrivateDirectory.h"

#include "text/filled.h"
#include "text/remove_tree.h"
#include "text/text.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* SUFFIX = "XXXXXX";
constexpr std::size_t SUFFIX_LENGTH = 6;

Descriptor openedDirectory(const std::string& path) {
    return Descriptor{open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
}

bool isLocked(const Descriptor& directory) {
    return flock(directory.number(), LOCK_EX | LOCK_NB) == 0;
}

// Checks owner and mode too, because other files may have such a name.
bool isPrivate(const Descriptor& directory) {
    struct stat status {};
    return directory.isOpen() && fstat(directory.number(), &status) == 0 && status.st_uid == geteuid() &&
           (status.st_mode & ACCESSPERMS) == S_IRWXU;
}

bool hasPath(const Descriptor& directory, const std::string& path) {
    struct stat own {};
    struct stat atPath {};
    return fstat(directory.number(), &own) == 0 && lstat(path.c_str(), &atPath) == 0 && own.st_ino == atPath.st_ino &&
           own.st_dev == atPath.st_dev;
}

std::vector<std::string> candidatesIn(const std::string& parent, const std::string& prefix) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator at(parent, error); !error && at != fs::directory_iterator(); at.increment(error)) {
        const std::string name = at->path().filename().string();
        if (startsWith(name, prefix) && name.size() == prefix.size() + SUFFIX_LENGTH)
            found.push_back(at->path().string());
    }
    return found;
}

} // namespace

PrivateDirectory::PrivateDirectory(const std::string& parent, const std::string& prefix) {
    removeLeftovers(parent, prefix);
    constexpr int ATTEMPTS = 100;
    for (int left = ATTEMPTS; !make(parent + "/" + prefix + SUFFIX); --left) {
        if (left == 0)
            throw std::runtime_error(filled("cannot make a directory in [%s]: %s", {parent, reasonOf(errno)}));
    }
}

// Returns false if another process has taken the directory for a leftover.
bool PrivateDirectory::make(const std::string& pattern) {
    dir = pattern;
    if (mkdtemp(dir.data()) == nullptr)
        throw std::runtime_error(
            filled("cannot make a directory in [%s]: %s", {fs::path(pattern).parent_path().string(), reasonOf(errno)}));
    held = openedDirectory(dir);
    return held.isOpen() && isLocked(held) && hasPath(held, dir);
}

PrivateDirectory::~PrivateDirectory() {
    removeTree(dir);
}

void removeLeftovers(const std::string& parent, const std::string& prefix) {
    for (const std::string& candidate : candidatesIn(parent, prefix)) {
        const Descriptor left = openedDirectory(candidate);
        // The directory is locked while it is removed, so that a process that has just made it notices.
        if (isPrivate(left) && isLocked(left))
            removeTree(candidate);
    }
}

std::vector<std::string> leftoversIn(const std::string& parent, const std::string& prefix) {
    std::vector<std::string> left;
    for (const std::string& candidate : candidatesIn(parent, prefix)) {
        const Descriptor directory = openedDirectory(candidate);
        if (isPrivate(directory) && isLocked(directory))
            left.push_back(candidate);
    }
    return left;
}

} // namespace Kelvra::SCADA::Tool
