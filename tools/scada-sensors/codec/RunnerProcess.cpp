#include "codec/RunnerProcess.h"

#include "text/filled.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <thread>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// --- between fork and execution: only calls that a signal handler may make

constexpr unsigned int NOBODY = 65534;
constexpr rlim_t MOST_DESCRIPTORS = 64;

struct ChildEnds {
    int input;
    int output;
    int failure;
    int program;
};

// Marks descriptors to be closed by the execution: until then, one of them reports the failure of an earlier step.
void closeAtExecution() {
    constexpr int FIRST = 3;
    constexpr int LAST_TRIED = 65536;
    if (close_range(FIRST, ~0U, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    struct rlimit limit {};
    getrlimit(RLIMIT_NOFILE, &limit);
    for (int one = FIRST; one < static_cast<int>(std::min<rlim_t>(limit.rlim_cur, LAST_TRIED)); ++one)
        fcntl(one, F_SETFD, FD_CLOEXEC);
}

bool connectStandard(const ChildEnds& ends) {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    return null >= 0 && dup2(ends.input, STDIN_FILENO) >= 0 && dup2(ends.output, STDOUT_FILENO) >= 0 &&
           dup2(null, STDERR_FILENO) >= 0;
}

void resetSignals() {
    for (const int signal : {SIGPIPE, SIGXFSZ, SIGINT, SIGTERM, SIGHUP, SIGCHLD})
        (void)std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

bool limitResources() {
    const struct rlimit nothing { 0, 0 };
    const struct rlimit descriptors { MOST_DESCRIPTORS, MOST_DESCRIPTORS };
    return setrlimit(RLIMIT_CORE, &nothing) == 0 && setrlimit(RLIMIT_FSIZE, &nothing) == 0 &&
           setrlimit(RLIMIT_NOFILE, &descriptors) == 0;
}

bool dropRights() {
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setresgid(NOBODY, NOBODY, NOBODY) != 0 ||
                           setresuid(NOBODY, NOBODY, NOBODY) != 0))
        return false;
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

char* word(const char* text) {
    return const_cast<char*>(text); // execve() changes nothing
}

[[noreturn]] void execute(const char* program, const ChildEnds& ends, pid_t parent) {
    const std::array<char*, 3> environment = {word("TZ=UTC"), word("PATH=/usr/sbin:/usr/bin:/sbin:/bin"), nullptr};
    const std::array<char*, 2> arguments = {word(program), nullptr};
    // The system drops the signal when the process changes its user.
    if (setpgid(0, 0) == 0 && connectStandard(ends) && chdir("/") == 0 && dropRights() &&
        prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent && limitResources()) {
        closeAtExecution();
        resetSignals();
        // Uses the descriptor, because the unprivileged user may not enter every directory. Scripts need a path.
        execveat(ends.program, "", arguments.data(), environment.data(), AT_EMPTY_PATH);
        execve(program, arguments.data(), environment.data());
    }
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(ends.failure, &error, sizeof error);
    _exit(1);
}

// --- in the tool

struct Pipe {
    Pipe() {
        std::array<int, 2> ends = {-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) == 0) {
            from = Descriptor(ends[0]);
            to = Descriptor(ends[1]);
        }
    }
    Descriptor from;
    Descriptor to;
};

// Returns the error of the child's last step before the execution, or 0 if there is none.
int errorOfStart(const Descriptor& failure) {
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(failure.number(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    return count == sizeof error ? error : 0;
}

std::string endOf(int status) {
    if (WIFEXITED(status))
        return filled("it ended with status %s", {std::to_string(WEXITSTATUS(status))});
    return filled("it was ended by %s", {std::string("SIG") + sigabbrev_np(WTERMSIG(status))});
}

// A silent process may be waiting for its share of a busy machine.
Clock::duration patienceFor(nanoseconds cpuTime) {
    constexpr int FACTOR = 10;
    return std::chrono::duration_cast<Clock::duration>(FACTOR * cpuTime + std::chrono::seconds(1));
}

} // namespace

/// One line and its answer.
struct RunnerProcess::Exchange {
    const std::string* line;
    std::size_t sent;
    nanoseconds cpuEnd;
    Clock::time_point end;
    std::size_t longest;
    std::string* answer;
    bool answered;
};

RunnerProcess::RunnerProcess(const std::string& program) : startFailure(start(program)) {}

RunnerProcess::~RunnerProcess() {
    kill();
}

std::string RunnerProcess::start(const std::string& program) {
    Pipe toChild;
    Pipe fromChild;
    Pipe failure;
    if (!toChild.to.isOpen() || !fromChild.to.isOpen() || !failure.to.isOpen())
        return reasonOf(errno);
    const Descriptor file(open(program.c_str(), O_PATH | O_CLOEXEC));
    const pid_t parent = getpid();
    child = fork();
    if (child < 0)
        return reasonOf(errno);
    if (child == 0)
        execute(program.c_str(), {toChild.from.number(), fromChild.to.number(), failure.to.number(), file.number()},
                parent);
    fcntl(toChild.to.number(), F_SETFL, O_NONBLOCK);
    input = std::move(toChild.to);
    output = std::move(fromChild.from);
    execution = std::move(failure.from);
    return clock_getcpuclockid(child, &clock) == 0 ? "" : filled("its CPU time cannot be measured");
}

std::string RunnerProcess::finishStart() {
    if (!startFailure.empty() || !execution.isOpen())
        return startFailure;
    const int error = errorOfStart(execution);
    execution = Descriptor();
    if (error != 0)
        startFailure = reasonOf(error);
    return startFailure;
}

ProcessFailure RunnerProcess::ask(const std::string& line, nanoseconds cpuTime, std::size_t longestAnswer,
                                  std::string* answer) {
    ProcessFailure failure;
    if (!finishStart().empty())
        failure = {ProcessFailure::Kind::BROKEN, filled("it cannot be started: %s", {startFailure})};
    else if (child < 0)
        failure = {ProcessFailure::Kind::BROKEN, filled("it has ended")};
    else if (!rest.empty())
        failure = {ProcessFailure::Kind::BROKEN, filled("it answered more than it was asked")};
    Exchange exchange = {&line,  0,    usedTime() + cpuTime, Clock::now() + patienceFor(cpuTime), longestAnswer,
                         answer, false};
    while (failure.kind == ProcessFailure::Kind::NONE && !exchange.answered)
        failure = step(&exchange);
    if (failure.kind != ProcessFailure::Kind::NONE)
        kill();
    return failure;
}

// The process may answer before it has read everything, or may never read.
ProcessFailure RunnerProcess::step(Exchange* exchange) {
    constexpr milliseconds SHORTEST(1);
    const bool sending = exchange->sent < exchange->line->size();
    std::array<struct pollfd, 2> ends = {{{output.number(), POLLIN, 0}, {sending ? input.number() : -1, POLLOUT, 0}}};
    const auto left = std::chrono::duration_cast<milliseconds>(
        std::min<nanoseconds>(exchange->cpuEnd - usedTime(), exchange->end - Clock::now()));
    const int ready = poll(ends.data(), ends.size(), static_cast<int>(std::max(left, SHORTEST).count()));
    if (ready < 0 && errno != EINTR)
        return {ProcessFailure::Kind::BROKEN, filled("it cannot be waited for: %s", {reasonOf(errno)})};
    if (ready > 0 && ends[1].revents != 0)
        write(exchange);
    if (ready > 0 && ends[0].revents != 0) {
        ProcessFailure failure = read(exchange);
        if (failure.kind != ProcessFailure::Kind::NONE || exchange->answered)
            return failure;
    }
    return checkTime(*exchange);
}

// If the process does not read the line, it will not answer: the next read finds its end.
void RunnerProcess::write(Exchange* exchange) {
    const std::string& line = *exchange->line;
    const ssize_t count = ::write(input.number(), line.data() + exchange->sent, line.size() - exchange->sent);
    if (count > 0)
        exchange->sent += static_cast<std::size_t>(count);
    else if (count < 0 && errno != EAGAIN && errno != EINTR)
        exchange->sent = line.size();
}

ProcessFailure RunnerProcess::read(Exchange* exchange) {
    std::array<char, 65536> chunk;
    const ssize_t count = ::read(output.number(), chunk.data(), chunk.size());
    if (count < 0)
        return errno == EINTR ? ProcessFailure() : ended();
    if (count == 0)
        return ended();
    const std::size_t searched = rest.size();
    rest.append(chunk.data(), static_cast<std::size_t>(count));
    const std::size_t end = rest.find('\n', searched);
    if (std::min(end, rest.size()) > exchange->longest)
        return {ProcessFailure::Kind::BROKEN,
                filled("it answered with more than %s bytes", {std::to_string(exchange->longest)})};
    if (end == std::string::npos)
        return {};
    exchange->answered = true;
    exchange->answer->assign(rest, 0, end);
    rest.erase(0, end + 1);
    return {};
}

ProcessFailure RunnerProcess::checkTime(const Exchange& exchange) const {
    if (usedTime() >= exchange.cpuEnd)
        return {ProcessFailure::Kind::TIME, ""};
    if (Clock::now() >= exchange.end)
        return {ProcessFailure::Kind::SILENT, filled("it did not answer")};
    return {};
}

nanoseconds RunnerProcess::usedTime() const {
    struct timespec used {};
    if (child < 0 || clock_gettime(clock, &used) != 0)
        return nanoseconds(0);
    return std::chrono::seconds(used.tv_sec) + nanoseconds(used.tv_nsec);
}

// The process may be about to end, or may have closed only its output.
ProcessFailure RunnerProcess::ended() {
    constexpr int PAUSES = 100;
    constexpr milliseconds PAUSE(2);
    int status = 0;
    for (int left = PAUSES; left > 0; --left) {
        if (waitpid(child, &status, WNOHANG) == child) {
            ::kill(-child, SIGKILL);
            child = -1;
            return {ProcessFailure::Kind::ENDED, endOf(status), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
        }
        std::this_thread::sleep_for(PAUSE);
    }
    return {ProcessFailure::Kind::ENDED, filled("it closed its output")};
}

void RunnerProcess::kill() {
    if (child < 0)
        return;
    ::kill(-child, SIGKILL);
    ::kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    child = -1;
}

} // namespace Kelvra::SCADA::Tool
