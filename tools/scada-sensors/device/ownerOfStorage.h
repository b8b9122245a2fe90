#pragma once

#include <sys/types.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Started as root, makes this process one of the user who owns the custom storage, for good, so that this user can
/// make it do nothing that the user could not do. Does nothing where root owns the storage or nobody knows the user.
/// Returns why it failed, or nothing.
std::string becomeOwnerOfStorage();

/// Returns the user who started the tool.
uid_t callingUser();

/// While it lives, a process that has been root's reads what only root may read: the source of an installation is the
/// caller's and not the owner's.
class ReadAccess {
public:
    ReadAccess();
    ~ReadAccess();
    ReadAccess(const ReadAccess&) = delete;
    ReadAccess& operator=(const ReadAccess&) = delete;
};

} // namespace Kelvra::SCADA::Tool
