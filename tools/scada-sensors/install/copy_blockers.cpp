#include "install/copy_blockers.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "device/user_name.h"
#include "install/tree_copy.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

class CopyCheck {
public:
    explicit CopyCheck(const std::string& copied)
        : tree(copied), mounted(isMountRoot(copied)), linkable(!mounted && isBesideItsCopy(copied)),
          linksProtected(protectsLinks()) {}

    Findings run() {
        examine(tree);
        std::error_code error;
        fs::recursive_directory_iterator at(tree, fs::directory_options::skip_permission_denied, error);
        for (; !error && at != fs::recursive_directory_iterator() && findings.size() <= MOST_FINDINGS;
             at.increment(error)) {
            if (isLeftAlone(at))
                at.disable_recursion_pending();
            else
                examine(at->path().string());
        }
        return std::move(findings);
    }

private:
    bool isLeftAlone(const fs::recursive_directory_iterator& at) const {
        const std::string name = at->path().filename().string();
        return name == LOCK_INSIDE || (name == LOST_AND_FOUND && at.depth() == 0 && mounted);
    }

    // Whether the copy is made in the same file system.
    static bool isBesideItsCopy(const std::string& copied) {
        struct stat own {};
        struct stat beside {};
        return stat(copied.c_str(), &own) == 0 &&
               stat(fs::path(GenerationPaths::ofDevice().base).parent_path().c_str(), &beside) == 0 &&
               own.st_dev == beside.st_dev;
    }

    // Whether the system refuses a second name for a file that is neither the user's own nor open to all.
    static bool protectsLinks() {
        std::string text;
        return !readRegularFile("/proc/sys/fs/protected_hardlinks", &text).empty() || text != "0\n";
    }

    bool canBeLinked(const std::string& path, const struct stat& status) const {
        if (!linkable || S_ISDIR(status.st_mode))
            return false;
        if (!linksProtected)
            return true;
        const bool setgid = (status.st_mode & S_ISGID) != 0 && (status.st_mode & S_IXGRP) != 0;
        return S_ISREG(status.st_mode) && (status.st_mode & S_ISUID) == 0 && !setgid &&
               access(path.c_str(), R_OK | W_OK) == 0;
    }

    // A file that cannot be linked is created anew and given to the former owner, which only root may do.
    std::string reasonAgainst(const std::string& path) const {
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0)
            return "";
        const bool foreign = geteuid() != 0 && status.st_uid != geteuid();
        if (foreign && !canBeLinked(path, status))
            return filled("it belongs to the user [%s]", {userName(status.st_uid)});
        const bool closed = S_ISDIR(status.st_mode)
                                ? access(path.c_str(), R_OK | X_OK) != 0
                                : S_ISREG(status.st_mode) && !linkable && access(path.c_str(), R_OK) != 0;
        return closed ? filled("it cannot be read") : "";
    }

    void examine(const std::string& path) {
        const std::string reason = reasonAgainst(path);
        if (!reason.empty())
            findings.push_back(
                {Rules::INSTALL_CANNOT_COPY, {path}, filled("The entry cannot be copied: %s.", {reason})});
    }

    const std::string& tree;
    bool mounted;
    bool linkable;
    bool linksProtected;
    Findings findings;
};

} // namespace

Findings copyBlockers(const std::string& tree) {
    return hasNoOwners(tree) ? Findings() : CopyCheck(tree).run();
}

} // namespace Kelvra::SCADA::Tool
