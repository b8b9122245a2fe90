#include "device/owner_of_storage.h"

#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace Kelvra::SCADA::Tool {

namespace {

using Capabilities = std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3>;

bool hasBeenRoot = false;

// The programs that this process runs get none of these rights, because its user is not root.
bool keepReading(bool effective) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    Capabilities kept{};
    if (syscall(SYS_capget, &header, kept.data()) != 0)
        return false;
    constexpr unsigned READING = 1U << CAP_DAC_READ_SEARCH;
    const unsigned permitted = kept[0].permitted & READING;
    kept = {};
    kept[0].permitted = permitted;
    kept[0].effective = effective ? permitted : 0;
    return syscall(SYS_capset, &header, kept.data()) == 0;
}

} // namespace

std::string becomeOwnerOfStorage() {
    struct stat status {};
    if (geteuid() != 0 || stat(nearestExisting(Env::inst().conf().getDfnCustomDir()).c_str(), &status) != 0 ||
        status.st_uid == 0)
        return "";
    const passwd* owner = getpwuid(status.st_uid); // NOLINT(concurrency-mt-unsafe)
    if (owner == nullptr)
        return "";
    if (prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0 || initgroups(owner->pw_name, owner->pw_gid) != 0 ||
        setgid(owner->pw_gid) != 0 || setuid(owner->pw_uid) != 0 || !keepReading(false))
        return filled("cannot work as the user [%s], who owns the custom storage: %s",
                      {owner->pw_name, reasonOf(errno)});
    hasBeenRoot = true;
    return "";
}

uid_t callingUser() {
    return hasBeenRoot ? 0 : getuid();
}

// Does nothing in a process that was never root's: its caller decides about its rights.
ReadAccess::ReadAccess() {
    if (hasBeenRoot)
        keepReading(true);
}

ReadAccess::~ReadAccess() {
    if (hasBeenRoot)
        keepReading(false);
}

} // namespace Kelvra::SCADA::Tool
