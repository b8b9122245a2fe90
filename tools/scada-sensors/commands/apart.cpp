#include "commands/apart.h"

#include "commands/operation.h"
#include "device/GenerationPaths.h"
#include "device/owner_of_storage.h"
#include "install/Intake.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <exception>
#include <new>

namespace Kelvra::SCADA::Tool {

namespace {

enum class Stage { ASKING, CHANGING, INTERRUPTED };

static_assert(std::atomic<Stage>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "two processes share them");

/// The state that both processes see. Only one of them can leave Stage::ASKING.
struct Shared {
    std::atomic<Stage> stage{Stage::ASKING};
    std::atomic<int> signal{0};

    bool leaveAsking(Stage next) {
        Stage asking = Stage::ASKING;
        return stage.compare_exchange_strong(asking, next);
    }
};

class SharedMemory {
public:
    SharedMemory() : memory(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (memory == MAP_FAILED)
            throw std::bad_alloc();
        new (memory) Shared;
    }
    ~SharedMemory() { munmap(memory, sizeof(Shared)); }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    Shared& get() const { return *static_cast<Shared*>(memory); }

private:
    void* memory;
};

std::string nameOf(int signal) {
    return std::string("SIG") + sigabbrev_np(signal);
}

class Worker : public SignalGuard {
public:
    explicit Worker(Shared& sharedState) : shared(sharedState) {}

    void begin() override {
        if (shared.leaveAsking(Stage::CHANGING) || shared.stage == Stage::CHANGING)
            return;
        for (;;)
            pause();
    }
    std::string signalName() const override {
        const int signal = shared.signal;
        return signal == 0 ? "" : nameOf(signal);
    }

private:
    Shared& shared;
};

// Ignored signals, as under nohup, stay ignored: a blocked one would be reported nevertheless.
sigset_t deferredSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    return signals;
}

[[noreturn]] void workToTheEnd(pid_t parent, Shared& shared, const Answer& answer,
                               const std::function<ExitCode(SignalGuard&)>& work) {
    // First leaves the terminal's session: the user who owns the storage must not be able to type for the caller.
    setsid();
    ExitCode code = ExitCode::FAILED;
    try {
        code = runAsOwner(answer, [&] {
            // The system drops this setting when the process changes its user.
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent)
                _exit(static_cast<int>(ExitCode::FAILED));
            Worker worker(shared);
            return work(worker);
        });
    } catch (const std::bad_alloc&) {
        code = answer.failed(ExitCode::FAILED, filled("not enough memory"));
    } catch (const std::exception& e) {
        code = answer.failed(ExitCode::FAILED, e.what());
    }
    _exit(static_cast<int>(code));
}

ExitCode endedAs(int status, const Shared& shared, const Answer& answer) {
    if (WIFEXITED(status))
        return static_cast<ExitCode>(WEXITSTATUS(status));
    const GenerationPaths paths = GenerationPaths::ofDevice();
    if (shared.stage == Stage::CHANGING && !isInterrupted(paths) && !isUnfinished(paths))
        return answer.failed(ExitCode::FAILED, filled("the work was ended by %s and may be done: scada-sensors history",
                                                      {nameOf(WTERMSIG(status))}));
    return failedOperation(filled("the work was ended by %s", {nameOf(WTERMSIG(status))}), Json::Value(), "", answer);
}

ExitCode waitFor(pid_t child, sigset_t signals, Shared& shared, const Answer& answer) {
    sigaddset(&signals, SIGCHLD);
    for (;;) {
        const int signal = sigwaitinfo(&signals, nullptr);
        if (signal < 0)
            continue;
        int status = 0;
        // The signal also comes when the child was stopped or goes on.
        if (signal == SIGCHLD && waitpid(child, &status, WNOHANG) == child)
            return endedAs(status, shared, answer);
        if (signal == SIGCHLD)
            continue;
        shared.signal = signal;
        if (!shared.leaveAsking(Stage::INTERRUPTED))
            continue;
        // Kills the child's programs, too: one of them may be the one that hangs.
        kill(-child, SIGKILL);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        // The child had become the user who owns the copies.
        if (becomeOwnerOfStorage().empty())
            removeLeftCopies();
        return answer.failed(ExitCode::INTERRUPTED,
                             filled("interrupted by %s; nothing has been changed", {nameOf(signal)}));
    }
}

} // namespace

ExitCode runAsOwner(const Answer& answer, const std::function<ExitCode()>& work) {
    const std::string failure = becomeOwnerOfStorage();
    return failure.empty() ? work() : answer.failed(ExitCode::FAILED, failure);
}

ExitCode runApart(const Answer& answer, const std::function<ExitCode(SignalGuard& guard)>& work) {
    const SharedMemory memory;
    const sigset_t signals = deferredSignals();
    sigset_t blocked = signals;
    sigaddset(&blocked, SIGCHLD);
    (void)std::signal(SIGCHLD, SIG_DFL);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        return answer.failed(ExitCode::FAILED, filled("cannot start a process: %s", {reasonOf(errno)}));
    if (child == 0)
        workToTheEnd(parent, memory.get(), answer, work);
    return waitFor(child, signals, memory.get(), answer);
}

void tellSignal(const SignalGuard& guard, const Answer& answer, Json::Value* result) {
    const std::string name = guard.signalName();
    if (name.empty())
        return;
    (*result)["signal"] = name;
    answer.note(filled("%s came while files were being changed; the work has been finished", {name}));
}

} // namespace Kelvra::SCADA::Tool
