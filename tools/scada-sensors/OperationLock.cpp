#include "OperationLock.h"

#include "directories.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

// Belongs to the process alone and not to the commands that it runs: free as soon as the holder is gone.
bool lockForProcess(int descriptor) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(descriptor, F_SETLK, &whole) == 0;
}

// Sorted, so that two processes come to the same file first.
std::set<std::string> lockFiles() {
    const Conf& conf = Env::inst().conf();
    return {canonicalPath(conf.getDfnStagingDir()) + ".lock", canonicalPath(conf.getDfnCustomDir()) + ".lock"};
}

} // namespace

OperationLock::OperationLock() {
    for (const std::string& file : lockFiles()) {
        if (!take(file))
            return;
    }
}

OperationLock::~OperationLock() {
    for (const int descriptor : descriptors)
        close(descriptor);
}

bool OperationLock::take(const std::string& file) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), error);
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        const std::error_code fault(errno, std::generic_category());
        reason = "cannot open the lock file [" + file + "]: " + fault.message();
        return false;
    }
    descriptors.push_back(descriptor);
    if (!lockForProcess(descriptor)) {
        const std::error_code fault(errno, std::generic_category());
        if (fault == std::errc::permission_denied || fault == std::errc::resource_unavailable_try_again)
            reason = "another installation or removal is running; it holds the lock file [" + file + "]";
        else
            reason = "cannot lock the file [" + file + "]: " + fault.message();
        return false;
    }
    return true;
}

} // namespace Kelvra::SCADA::Tool
