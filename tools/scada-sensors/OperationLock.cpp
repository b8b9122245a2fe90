#include "OperationLock.h"

#include "directories.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/file.h>
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

// Sorted, so that two processes come to the same one first.
std::set<std::string> lockedDirectories() {
    const Conf& conf = Env::inst().conf();
    return {canonicalPath(conf.getDfnStagingDir()), canonicalPath(conf.getDfnCustomDir())};
}

std::string heldText(const std::string& held) {
    return "another installation or removal is running; it holds the lock " + held;
}

} // namespace

OperationLock::OperationLock() {
    const std::set<std::string> directories = lockedDirectories();
    for (const std::string& directory : directories) {
        if (!takeFile(directory + ".lock"))
            return;
    }
    for (const std::string& directory : directories) {
        if (!takeDirectory(directory))
            return;
    }
}

OperationLock::~OperationLock() {
    for (const int descriptor : descriptors)
        close(descriptor);
}

bool OperationLock::takeFile(const std::string& file) {
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
            reason = heldText("file [" + file + "]");
        else
            reason = "cannot lock the file [" + file + "]: " + fault.message();
        return false;
    }
    return true;
}

// A directory has one lock under all its paths, also where it is mounted twice and has two lock files. Without one
// there is nothing to keep others out of. The commands that are run do not inherit the descriptor.
bool OperationLock::takeDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 && (errno == ENOENT || errno == ENOTDIR))
        return true;
    if (descriptor >= 0) {
        descriptors.push_back(descriptor);
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return true;
    }
    const std::error_code fault(errno, std::generic_category());
    if (fault == std::errc::operation_would_block)
        reason = heldText("of the directory [" + directory + "]");
    else
        reason = "cannot lock the directory [" + directory + "]: " + fault.message();
    return false;
}

} // namespace Kelvra::SCADA::Tool
