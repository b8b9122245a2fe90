#include "install/copyBlockers.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "device/userName.h"
#include "install/treeCopy.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

bool isLeftAlone(const fs::recursive_directory_iterator& at, const std::string& custom) {
    const std::string name = at->path().filename().string();
    return name == LOCK_INSIDE || (name == LOST_AND_FOUND && at.depth() == 0 && isMountRoot(custom));
}

// Whether the system refuses a second name for a file that is neither one's own nor writable.
bool protectsLinks() {
    std::string text;
    return !readRegularFile("/proc/sys/fs/protected_hardlinks", &text).empty() || text != "0\n";
}

// A directory is made anew and given to the owner of the former one, which root alone may do.
std::string reasonAgainst(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return "";
    const bool foreign = geteuid() != 0 && status.st_uid != geteuid();
    const bool directory = S_ISDIR(status.st_mode);
    if (foreign && (directory || (access(path.c_str(), R_OK | W_OK) != 0 && protectsLinks())))
        return filled("it belongs to the user [%s]", {userName(status.st_uid)});
    return directory && access(path.c_str(), R_OK | X_OK) != 0 ? filled("it cannot be read") : "";
}

void examine(const std::string& path, Findings* findings) {
    const std::string reason = reasonAgainst(path);
    if (!reason.empty())
        findings->push_back({Rules::INSTALL_CANNOT_COPY, {path}, filled("The entry cannot be copied: %s.", {reason})});
}

} // namespace

Findings copyBlockers() {
    Findings findings;
    const std::string& custom = Env::inst().conf().getDfnCustomDir();
    if (hasNoOwners(custom))
        return findings;
    examine(custom, &findings);
    std::error_code error;
    fs::recursive_directory_iterator at(custom, fs::directory_options::skip_permission_denied, error);
    for (; !error && at != fs::recursive_directory_iterator() && findings.size() <= MOST_FINDINGS;
         at.increment(error)) {
        if (isLeftAlone(at, custom))
            at.disable_recursion_pending();
        else
            examine(at->path().string(), &findings);
    }
    return findings;
}

} // namespace Kelvra::SCADA::Tool
