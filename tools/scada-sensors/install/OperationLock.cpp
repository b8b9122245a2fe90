#include "install/OperationLock.h"

#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/filled.h"

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
        reason = filled("cannot open the lock file [%s]: %s", {file, reasonOf(errno)});
        return false;
    }
    descriptors.push_back(descriptor);
    if (lockForProcess(descriptor))
        return true;
    busy = errno == EACCES || errno == EAGAIN;
    reason = busy ? filled("another installation or removal is running; it holds the lock file [%s]", {file})
                  : filled("cannot lock the file [%s]: %s", {file, reasonOf(errno)});
    return false;
}

// A directory has one lock under all its paths, also where it is mounted twice and has two lock files. A directory that
// does not exist needs none. The commands that are run do not inherit the descriptor.
bool OperationLock::takeDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 && (errno == ENOENT || errno == ENOTDIR))
        return true;
    if (descriptor >= 0) {
        descriptors.push_back(descriptor);
        if (flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return true;
    }
    busy = errno == EWOULDBLOCK;
    reason = busy ? filled("another installation or removal is running; it holds the lock of the directory [%s]",
                           {directory})
                  : filled("cannot lock the directory [%s]: %s", {directory, reasonOf(errno)});
    return false;
}

} // namespace Kelvra::SCADA::Tool
