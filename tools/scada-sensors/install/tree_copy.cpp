#include "install/tree_copy.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "text/Descriptor.h"
#include "text/digest.h"
#include "text/filled.h"
#include "text/remove_tree.h"
#include "text/text.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr mode_t MODE_BITS = 07777;

[[noreturn]] void failToCopy(const std::string& path, int error) {
    throw std::runtime_error(filled("cannot copy [%s]: %s", {path, reasonOf(error)}));
}

[[noreturn]] void failToWrite(const std::string& path, int error) {
    throw std::runtime_error(filled("cannot write [%s]: %s", {path, reasonOf(error)}));
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        failToCopy(path, errno);
    return status;
}

std::set<std::string> namesIn(const std::string& directory) {
    std::set<std::string> names;
    std::error_code error;
    for (fs::directory_iterator at(directory, error); !error && at != fs::directory_iterator(); at.increment(error))
        names.insert(at->path().filename().string());
    names.erase(LOCK_INSIDE);
    if (names.count(LOST_AND_FOUND) != 0 && isMountRoot(directory))
        names.erase(LOST_AND_FOUND);
    if (error)
        failToCopy(directory, error.value());
    return names;
}

// --- attributes

using AttributeValue = std::optional<std::vector<char>>;

// Returns nothing if the attribute does not exist.
AttributeValue attributeOf(const std::string& path, const std::string& name) {
    std::vector<char> value;
    ssize_t size = lgetxattr(path.c_str(), name.c_str(), nullptr, 0);
    if (size > 0) {
        value.resize(static_cast<std::size_t>(size));
        size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    }
    if (size < 0)
        return std::nullopt;
    value.resize(static_cast<std::size_t>(size));
    return value;
}

// Returns the names one after the other, each with a zero byte at its end.
std::string attributeNames(const std::string& path) {
    std::string names;
    const ssize_t size = llistxattr(path.c_str(), nullptr, 0);
    if (size <= 0)
        return names;
    names.resize(static_cast<std::size_t>(size));
    const ssize_t length = llistxattr(path.c_str(), names.data(), names.size());
    names.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return names;
}

[[noreturn]] void failToKeep(const std::string& path, int error) {
    throw std::runtime_error(
        filled("cannot give the copy of [%s] its owner, mode or attributes: %s", {path, reasonOf(error)}));
}

void keepExtended(const std::string& source, const std::string& target) {
    const std::string names = attributeNames(source);
    for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
        const std::string name = names.c_str() + at;
        const AttributeValue wanted = attributeOf(source, name);
        if (attributeOf(target, name) == wanted)
            continue;
        const std::vector<char> value = wanted.value_or(std::vector<char>());
        if (lsetxattr(target.c_str(), name.c_str(), value.data(), value.size(), 0) != 0)
            failToKeep(source, errno);
    }
    // A new entry inherits an access control list, which can let others write. Labels belong to the system.
    const std::string made = attributeNames(target);
    for (std::size_t at = 0; at < made.size(); at = made.find('\0', at) + 1) {
        const std::string name = made.c_str() + at;
        if (!startsWith(name, "security.") && !attributeOf(source, name) &&
            lremovexattr(target.c_str(), name.c_str()) != 0)
            failToKeep(source, errno);
    }
}

// Correct values are not set again, because nobody may set them on a protected file or on a file of another user. A
// change of the owner clears bits of the mode, so the mode comes last.
void keepAttributes(const std::string& source, const std::string& target) {
    const struct stat wanted = statusOf(source);
    const struct stat made = statusOf(target);
    const bool sameOwner = made.st_uid == wanted.st_uid && made.st_gid == wanted.st_gid;
    if (!sameOwner && lchown(target.c_str(), wanted.st_uid, wanted.st_gid) != 0)
        failToKeep(source, errno);
    keepExtended(source, target);
    const bool sameMode = statusOf(target).st_mode == wanted.st_mode;
    if (!sameMode && !S_ISLNK(wanted.st_mode) && chmod(target.c_str(), wanted.st_mode & MODE_BITS) != 0)
        failToKeep(source, errno);
}

// --- files

void writeAll(int file, const std::string& path, const char* data, std::size_t size) {
    if (const int error = writeWhole(file, data, size); error != 0)
        failToWrite(path, error);
}

// A failure is reported for `file`, which has another name meanwhile.
Descriptor newFile(const std::string& path, const std::string& file) {
    Descriptor out{open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH)};
    if (!out.isOpen())
        failToWrite(file, errno);
    return out;
}

std::string targetOf(const std::string& link) {
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    if (error)
        failToCopy(link, error.value());
    return target.string();
}

// FIFOs, sockets and devices are created anew and not opened.
void copyFile(const std::string& source, const std::string& target) {
    const struct stat status = statusOf(source);
    if (S_ISREG(status.st_mode))
        copyContent(source, target);
    else if (S_ISLNK(status.st_mode) ? symlink(targetOf(source).c_str(), target.c_str()) != 0
                                     : mknod(target.c_str(), status.st_mode, status.st_rdev) != 0)
        failToWrite(target, errno);
    keepWhatCanBeKept(source, target);
}

// A link to a file may be refused to users who may not write the file, or by the file system.
void linkFile(const std::string& source, const std::string& target) {
    if (linkat(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), 0) != 0)
        copyFile(source, target);
}

// In the same directory, so that it can get the name of the file that it replaces.
std::string temporaryFor(const std::string& file) {
    return fs::path(file).parent_path().string() + "/.scada-put";
}

void giveName(const std::string& temporary, const std::string& file) {
    if (rename(temporary.c_str(), file.c_str()) == 0)
        return;
    const int error = errno;
    unlink(temporary.c_str());
    failToWrite(file, error);
}

void replaceFile(const std::string& source, const std::string& target) {
    const std::string temporary = temporaryFor(target);
    unlink(temporary.c_str());
    linkFile(source, temporary);
    giveName(temporary, target);
}

bool hasSameContent(const std::string& one, const std::string& other) {
    struct stat first {};
    struct stat second {};
    if (lstat(one.c_str(), &first) != 0 || lstat(other.c_str(), &second) != 0 ||
        (first.st_mode & S_IFMT) != (second.st_mode & S_IFMT))
        return false;
    if (S_ISREG(first.st_mode))
        return first.st_size == second.st_size && digestOfFile(one) == digestOfFile(other);
    return S_ISLNK(first.st_mode) ? targetOf(one) == targetOf(other) : first.st_rdev == second.st_rdev;
}

bool isDirectory(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void removeWhole(const std::string& path) {
    const int error = removeTree(path);
    if (error != 0)
        throw std::runtime_error(filled("cannot remove [%s]: %s", {path, reasonOf(error)}));
}

void mirrorEntry(const std::string& source, const std::string& target) {
    if (!isDirectory(source)) {
        if (isDirectory(target))
            removeWhole(target);
        if (hasSameContent(source, target))
            keepWhatCanBeKept(source, target);
        else
            replaceFile(source, target);
        return;
    }
    if (!isDirectory(target)) {
        unlink(target.c_str());
        if (mkdir(target.c_str(), S_IRWXU) != 0)
            failToWrite(target, errno);
    }
    mirrorTree(source, target);
}

} // namespace

bool hasNoOwners(const std::string& path) {
    struct statfs status {};
    if (statfs(path.c_str(), &status) != 0)
        return false;
    const auto type = static_cast<std::uint32_t>(status.f_type);
    return type == MSDOS_SUPER_MAGIC || type == EXFAT_SUPER_MAGIC || type == FUSE_SUPER_MAGIC;
}

void copyContent(const std::string& source, const std::string& target) {
    std::string failure;
    const Descriptor in = openRegularFile(source, &failure);
    if (!in.isOpen())
        throw std::runtime_error(filled("cannot copy [%s]: %s", {source, failure}));
    const Descriptor out{open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR)};
    if (!out.isOpen())
        failToWrite(target, errno);
    std::array<char, CHUNK> chunk;
    for (;;) {
        const ssize_t count = read(in.number(), chunk.data(), chunk.size());
        if (count == 0)
            return;
        if (count > 0)
            writeAll(out.number(), target, chunk.data(), static_cast<std::size_t>(count));
        else if (errno != EINTR)
            failToCopy(source, errno);
    }
}

void keepWhatCanBeKept(const std::string& source, const std::string& target) {
    try {
        keepAttributes(source, target);
    } catch (const std::runtime_error&) {
        if (!hasNoOwners(target))
            throw;
    }
}

bool hasNothingToCopy(const std::string& directory) {
    return namesIn(directory).empty();
}

void linkTree(const std::string& source, const std::string& target) {
    if (mkdir(target.c_str(), S_IRWXU) != 0)
        failToWrite(target, errno);
    for (const std::string& name : namesIn(source)) {
        const std::string from = source + "/" + name;
        const std::string to = target + "/" + name;
        if (S_ISDIR(statusOf(from).st_mode))
            linkTree(from, to);
        else
            linkFile(from, to);
    }
    keepWhatCanBeKept(source, target);
}

void makeEmptyLike(const std::string& source, const std::string& target) {
    if (mkdir(target.c_str(), S_IRWXU) != 0)
        failToWrite(target, errno);
    keepWhatCanBeKept(source, target);
}

void mirrorTree(const std::string& source, const std::string& target) {
    const std::set<std::string> wanted = namesIn(source);
    for (const std::string& name : wanted)
        mirrorEntry(source + "/" + name, target + "/" + name);
    for (const std::string& name : namesIn(target)) {
        if (wanted.count(name) == 0)
            removeWhole(target + "/" + name);
    }
    keepWhatCanBeKept(source, target);
}

void makeDirectory(const std::string& path) {
    constexpr mode_t DIRECTORY_MODE = 0755;
    if (mkdir(path.c_str(), DIRECTORY_MODE) != 0 && errno != EEXIST)
        throw std::runtime_error(filled("cannot make the directory [%s]: %s", {path, reasonOf(errno)}));
}

void moveEntry(const std::string& from, const std::string& to) {
    if (rename(from.c_str(), to.c_str()) != 0)
        throw std::runtime_error(filled("cannot rename [%s] to [%s]: %s", {from, to, reasonOf(errno)}));
}

void writeNewFile(const std::string& file, const std::string& text) {
    const Descriptor out = newFile(file, file);
    writeAll(out.number(), file, text.data(), text.size());
}

void writeDurably(const std::string& file, const std::string& text) {
    const std::string temporary = temporaryFor(file);
    unlink(temporary.c_str());
    {
        const Descriptor out = newFile(temporary, file);
        writeAll(out.number(), file, text.data(), text.size());
        if (fsync(out.number()) != 0)
            failToWrite(file, errno);
    }
    giveName(temporary, file);
    syncDirectory(fs::path(file).parent_path().string());
}

void syncFileSystem(const std::string& directory) {
    const Descriptor opened{open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened.isOpen() || syncfs(opened.number()) != 0)
        failToWrite(directory, errno);
}

// Some file systems cannot sync a single directory.
void syncDirectory(const std::string& directory) {
    const Descriptor opened{open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened.isOpen() || (fsync(opened.number()) != 0 && errno != EINVAL))
        failToWrite(directory, errno);
}

} // namespace Kelvra::SCADA::Tool
