#include "install/untrustedDirectories.h"

#include "device/paths.h"
#include "device/userName.h"
#include "text/filled.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
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

// A group counts as others unless it is root's or one that the user belongs to.
bool isOpenToOthers(const struct stat& status) {
    if (S_ISLNK(status.st_mode) || (status.st_mode & S_ISVTX) != 0)
        return false;
    const bool ownGroup = status.st_gid == 0 || isGroupOfUser(status.st_gid);
    return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && !ownGroup);
}

// The directories on the way as it is written, whose links could be exchanged, and on the way without links.
std::set<fs::path> waysTo(const std::string& path) {
    std::error_code error;
    std::set<fs::path> levels;
    for (fs::path level : {fs::absolute(path, error), fs::path(canonicalPath(path))}) {
        while (levels.insert(level).second && level != level.parent_path())
            level = level.parent_path();
    }
    return levels;
}

} // namespace

Findings untrustedDirectory(const std::string& option, const std::string& path) {
    for (const fs::path& level : waysTo(path)) {
        struct stat status {};
        if (lstat(level.c_str(), &status) != 0)
            continue;
        const std::string name = level.string();
        if (status.st_uid != 0 && status.st_uid != geteuid())
            return {{Rules::INSTALL_UNTRUSTED_DIRECTORY,
                     {path},
                     filled("%s [%s] can be changed by others: [%s] belongs to the user [%s].",
                            {option, path, name, userName(status.st_uid)})}};
        if (isOpenToOthers(status))
            return {{Rules::INSTALL_UNTRUSTED_DIRECTORY,
                     {path},
                     filled("%s [%s] can be changed by others: [%s] may be written by others.", {option, path, name})}};
    }
    return {};
}

} // namespace Kelvra::SCADA::Tool
