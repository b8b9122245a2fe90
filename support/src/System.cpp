#include <kelvra/System.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvra::System {

namespace {

constexpr int FAILED = -1;
constexpr int NOT_STARTED_STATUS = 127;
constexpr int SIGNAL_BASE = 128;
constexpr int FIRST_PRIVATE_FD = STDERR_FILENO + 1;

class Descriptor {
public:
    Descriptor() = default;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }

    int get() const { return fd; }
    void reset(int other = -1) {
        if (fd >= 0)
            ::close(fd);
        fd = other;
    }

private:
    int fd = -1;
};

/// A host may run with some of 0 to 2 closed; the pipe must not take the numbers of the child's own three.
bool moveAboveStandard(Descriptor& end) {
    if (end.get() < FIRST_PRIVATE_FD)
        end.reset(::fcntl(end.get(), F_DUPFD_CLOEXEC, FIRST_PRIVATE_FD));
    return end.get() >= 0;
}

bool openPipe(Descriptor& readEnd, Descriptor& writeEnd) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return false;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
    return moveAboveStandard(readEnd) && moveAboveStandard(writeEnd);
}

/// The state in which a child starts: no input, both outputs into one pipe, and nothing else inherited from the host.
class ChildSetup {
public:
    ChildSetup() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ChildSetup(const ChildSetup&) = delete;
    ChildSetup& operator=(const ChildSetup&) = delete;
    ~ChildSetup() {
        ::posix_spawnattr_destroy(&attributes);
        ::posix_spawn_file_actions_destroy(&actions);
    }

    bool start(char* const* arguments, int outputEnd, pid_t& pid) {
        return setSignals() && setDescriptors(outputEnd) &&
               ::posix_spawnp(&pid, arguments[0], &actions, &attributes, arguments, environ) == 0;
    }

private:
    bool setSignals() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        return ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0 &&
               ::posix_spawnattr_setsigmask(&attributes, &none) == 0 &&
               ::posix_spawnattr_setsigdefault(&attributes, &all) == 0;
    }

    /// The child does the closing, because another thread of the host may open a descriptor without O_CLOEXEC at any
    /// moment.
    bool setDescriptors(int outputEnd) {
        return ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0) == 0 &&
               ::posix_spawn_file_actions_adddup2(&actions, outputEnd, STDOUT_FILENO) == 0 &&
               ::posix_spawn_file_actions_adddup2(&actions, outputEnd, STDERR_FILENO) == 0 &&
               ::posix_spawn_file_actions_addclosefrom_np(&actions, FIRST_PRIVATE_FD) == 0;
    }

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

bool start(std::vector<std::string>& command, int outputEnd, pid_t& pid) {
    std::vector<char*> arguments;
    for (std::string& argument : command) {
        if (argument.find('\0') != std::string::npos)
            return false;
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    return ChildSetup().start(arguments.data(), outputEnd, pid);
}

std::string readToEnd(int fd) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count > 0)
            text.append(buffer, static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return text;
    }
}

int waitForEnd(pid_t pid) {
    int status = 0;
    pid_t ended;
    do
        ended = ::waitpid(pid, &status, 0);
    while (ended < 0 && errno == EINTR);
    // If the host ignores SIGCHLD or reaps every child, the status is gone; the call still returns only after the end.
    if (ended < 0)
        return 0;
    if (WIFSIGNALED(status))
        return SIGNAL_BASE + WTERMSIG(status);
    return WEXITSTATUS(status) == NOT_STARTED_STATUS ? FAILED : WEXITSTATUS(status);
}

/// Takes the command as a copy, because `output` may be one of the caller's arguments.
int run(std::vector<std::string> command, std::string& output) {
    Descriptor readEnd;
    Descriptor writeEnd;
    pid_t pid = -1;
    if (!openPipe(readEnd, writeEnd) || !start(command, writeEnd.get(), pid)) {
        output.clear();
        return FAILED;
    }
    writeEnd.reset();
    std::string text;
    try {
        text = readToEnd(readEnd.get());
    } catch (...) {
        readEnd.reset();
        waitForEnd(pid);
        throw;
    }
    output.swap(text);
    return waitForEnd(pid);
}

} // namespace

int cmd(const std::string& commandLine, std::string& output) {
    return run({"/bin/sh", "-c", "--", commandLine}, output);
}

int execute(const std::string& program, const std::vector<std::string>& arguments, std::string& output) {
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run(std::move(command), output);
}

} // namespace Kelvra::System
