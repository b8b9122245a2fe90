#include "install/OperationLock.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr mode_t OWNER_ALONE = S_IRUSR | S_IWUSR;

struct flock wholeFile() {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    return whole;
}

// The lock belongs to the process alone and not to the commands that it runs: it is free as soon as the holder is gone.
bool lockForProcess(int descriptor) {
    struct flock whole = wholeFile();
    return fcntl(descriptor, F_SETLK, &whole) == 0;
}

// Sorted, so that two processes take the same one first.
std::set<std::string> lockedDirectories() {
    const Conf& conf = Env::inst().conf();
    return {canonicalPath(conf.getDfnStagingDir()), canonicalPath(conf.getDfnCustomDir())};
}

std::string contentOf(const std::string& file) {
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::time_t bootTime() {
    std::istringstream words(contentOf("/proc/stat"));
    std::time_t seconds = 0;
    for (std::string word; words >> word;) {
        if (word == "btime")
            words >> seconds;
    }
    return seconds;
}

/// The system's information about a process.
struct ProcessState {
    std::string started; ///< local time; empty if the process has gone, or is not of this system
    bool stopped = false;
};

std::string timeText(std::time_t moment) {
    constexpr std::size_t LONGEST = 32;
    struct tm local {};
    std::array<char, LONGEST> text{};
    localtime_r(&moment, &local);
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

ProcessState stateOf(pid_t process) {
    const std::string stat = contentOf("/proc/" + std::to_string(process) + "/stat");
    // The name of the program is in brackets and may contain anything.
    const std::size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos)
        return {};
    std::istringstream fields(stat.substr(nameEnd + 1));
    constexpr int FIELDS_UP_TO_START = 19;
    char state = '?';
    long long ticks = 0;
    fields >> state;
    std::string skipped;
    for (int field = 1; field < FIELDS_UP_TO_START; ++field)
        fields >> skipped;
    fields >> ticks;
    return {timeText(bootTime() + static_cast<std::time_t>(ticks / sysconf(_SC_CLK_TCK))),
            state == 'T' || state == 't'};
}

// Returns why the lock is not free.
std::string holderOf(int descriptor, const std::string& file) {
    struct flock held = wholeFile();
    // The lock may have been freed since. Some network file systems do not know the process.
    const bool known = fcntl(descriptor, F_GETLK, &held) == 0 && held.l_type != F_UNLCK && held.l_pid > 0;
    const ProcessState state = known ? stateOf(held.l_pid) : ProcessState();
    const std::string process = std::to_string(held.l_pid);
    if (state.started.empty())
        return filled("another operation is running; it holds the lock file [%s]", {file});
    if (!state.stopped)
        return filled("another operation is running (process %s, started %s); it holds the lock file "
                      "[%s]",
                      {process, state.started, file});
    return filled("another operation is stopped (process %s, started %s); it holds the lock file [%s]. "
                  "Let it go on with \"kill -CONT %s\", or end it with \"kill -KILL %s\".",
                  {process, state.started, file, process, process});
}

// A directory that is mounted twice has two paths, and a lock file beside each. It needs another lock file inside.
// Mounts of other processes may be hidden from this one, so an existing file is always used.
bool needsLockInside(const std::string& directory, const std::string& file) {
    std::error_code error;
    const bool used = std::filesystem::exists(std::filesystem::symlink_status(file, error));
    return used || isMountRoot(directory);
}

} // namespace

std::string OperationLock::holder() {
    std::set<std::string> files = {canonicalPath(Env::inst().conf().getDfnCustomDir()) + "/" + LOCK_INSIDE};
    for (const std::string& directory : lockedDirectories())
        files.insert(directory + ".lock");
    for (const std::string& file : files) {
        const Descriptor opened(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct flock held = wholeFile();
        if (opened.isOpen() && fcntl(opened.number(), F_GETLK, &held) == 0 && held.l_type != F_UNLCK)
            return holderOf(opened.number(), file);
    }
    return "";
}

OperationLock::OperationLock() {
    for (const std::string& directory : lockedDirectories()) {
        if (!takeFile(directory + ".lock"))
            return;
    }
    const std::string custom = canonicalPath(Env::inst().conf().getDfnCustomDir());
    const std::string inside = custom + "/" + LOCK_INSIDE;
    if (needsLockInside(custom, inside))
        takeFile(inside);
}

OperationLock::~OperationLock() {
    for (const int descriptor : descriptors)
        close(descriptor);
}

bool OperationLock::takeFile(const std::string& file) {
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path(), error);
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, OWNER_ALONE);
    if (descriptor < 0) {
        reason = filled("cannot open the lock file [%s]: %s", {file, reasonOf(errno)});
        return false;
    }
    descriptors.push_back(descriptor);
    // A process that can read the file could hold the lock. A file of another user may be the lock of a host program.
    fchmod(descriptor, OWNER_ALONE);
    if (lockForProcess(descriptor))
        return true;
    busy = errno == EACCES || errno == EAGAIN;
    reason = busy ? holderOf(descriptor, file) : filled("cannot lock the file [%s]: %s", {file, reasonOf(errno)});
    return false;
}

} // namespace Kelvra::SCADA::Tool
