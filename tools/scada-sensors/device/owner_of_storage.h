#pragma once

#include <sys/types.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// If the process was started as root, makes it permanently a process of the user who owns the custom storage, so that
/// this user cannot make it do anything that the user could not do. Does nothing if root owns the storage or the system
/// does not know the user. Returns why it failed, or nothing.
std::string becomeOwnerOfStorage();

/// Returns the user who started the tool.
uid_t callingUser();

/// While it lives, a process that was root's can read files that only root may read: the source of an installation
/// belongs to the caller, not to the owner.
class ReadAccess {
public:
    ReadAccess();
    ~ReadAccess();
    ReadAccess(const ReadAccess&) = delete;
    ReadAccess& operator=(const ReadAccess&) = delete;
};

} // namespace Kelvra::SCADA::Tool
