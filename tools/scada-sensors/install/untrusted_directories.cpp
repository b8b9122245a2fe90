#include "install/untrusted_directories.h"

#include "device/GenerationPaths.h"
#include "device/paths.h"
#include "device/user_name.h"
#include "text/filled.h"

#include <endian.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace fs = std::filesystem;

namespace {

bool isGroupOfUser(gid_t group) {
    if (group == getegid())
        return true;
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
    const int count = getgroups(static_cast<int>(groups.size()), groups.data());
    return count > 0 && std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
}

bool isOfUser(uid_t user) {
    return user == 0 || user == geteuid();
}

// Whether an access control list lets somebody write who does not appear in the mode.
bool letsOthersWrite(const std::string& entry) {
    constexpr std::size_t HEADER = 4;
    struct Permission {
        std::uint16_t tag;
        std::uint16_t granted;
        std::uint32_t id;
    };
    constexpr std::uint16_t NAMED_USER = 0x02;
    constexpr std::uint16_t NAMED_GROUP = 0x08;
    constexpr std::uint16_t WRITE = 0x02;
    std::vector<char> list(65536);
    const ssize_t size = lgetxattr(entry.c_str(), "system.posix_acl_access", list.data(), list.size());
    for (std::size_t at = HEADER; static_cast<ssize_t>(at + sizeof(Permission)) <= size; at += sizeof(Permission)) {
        Permission permission{};
        std::memcpy(&permission, list.data() + at, sizeof permission);
        const std::uint16_t tag = le16toh(permission.tag);
        const std::uint32_t id = le32toh(permission.id);
        const bool writes = (le16toh(permission.granted) & WRITE) != 0;
        if (writes && ((tag == NAMED_USER && !isOfUser(id)) || (tag == NAMED_GROUP && id != 0 && !isGroupOfUser(id))))
            return true;
    }
    return false;
}

// A group counts as others unless it is root's or the user belongs to it. With `sticky`, a directory in which everybody
// may create entries is safe if nobody may rename or remove entries of others.
bool isOpenToOthers(const std::string& entry, const struct stat& status, bool sticky) {
    if (S_ISLNK(status.st_mode) || (sticky && (status.st_mode & S_ISVTX) != 0))
        return false;
    const bool ownGroup = status.st_gid == 0 || isGroupOfUser(status.st_gid);
    // With an access control list, the group bits are the most that the list can grant.
    const bool byGroup = (status.st_mode & S_IWGRP) != 0;
    return (status.st_mode & S_IWOTH) != 0 || (byGroup && (!ownGroup || letsOthersWrite(entry)));
}

// Returns the directories on the path as it is written, whose links could be exchanged, and those on the path without
// links.
std::set<fs::path> waysTo(const std::string& path) {
    std::error_code error;
    std::set<fs::path> levels;
    for (fs::path level : {fs::absolute(path, error), fs::path(canonicalPath(path))}) {
        while (levels.insert(level).second && level != level.parent_path())
            level = level.parent_path();
    }
    return levels;
}

std::string ofAnother(const fs::path& entry, const struct stat& status) {
    if (isOfUser(status.st_uid))
        return "";
    return filled("[%s] belongs to the user [%s]", {entry.string(), userName(status.st_uid)});
}

std::string openToOthers(const fs::path& entry, const struct stat& status, bool sticky) {
    return isOpenToOthers(entry.string(), status, sticky) ? filled("[%s] may be written by others", {entry.string()})
                                                          : "";
}

// Judges a directory on the path to one that the tool works on.
std::string reasonToMistrust(const fs::path& level) {
    struct stat status {};
    if (lstat(level.c_str(), &status) != 0)
        return "";
    const std::string owner = ofAnother(level, status);
    return owner.empty() ? openToOthers(level, status, true) : owner;
}

// In a sticky directory another user may have made them first. The owner of a lock file corrects its mode.
std::string reasonToMistrustBeside(const std::string& path) {
    struct stat status {};
    const std::string lock = path + ".lock";
    std::string ofLock = lstat(lock.c_str(), &status) == 0 ? ofAnother(lock, status) : "";
    const std::string generations = GenerationPaths(path).base;
    if (!ofLock.empty() || lstat(generations.c_str(), &status) != 0)
        return ofLock;
    const std::string owner = ofAnother(generations, status);
    return owner.empty() ? openToOthers(generations, status, false) : owner;
}

} // namespace

Findings untrustedDirectory(const std::string& option, const std::string& path) {
    std::string reason;
    for (const fs::path& level : waysTo(path)) {
        if (reason.empty())
            reason = reasonToMistrust(level);
    }
    if (reason.empty())
        reason = reasonToMistrustBeside(canonicalPath(path));
    if (reason.empty())
        return {};
    return {{Rules::INSTALL_UNTRUSTED_DIRECTORY,
             {path},
             filled("%s [%s] can be changed by others: %s.", {option, path, reason})}};
}

} // namespace Kelvra::SCADA::Tool
