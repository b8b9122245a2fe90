#include "ScriptedRedis.h"
#include "TempDir.h"
#include "database_helpers.h"
#include "files.h"
#include "row_name.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using namespace std::chrono_literals;
using ::testing::ElementsAre;

// Runs when the library begins a command, with its connection.
std::function<void(redisContext*)>& onCommand() {
    static std::function<void(redisContext*)> hook;
    return hook;
}

// The number of times that this process has asked for pending signals.
std::atomic<int>& pendingQuestions() {
    static std::atomic<int> count{0};
    return count;
}

// The number of times that a wait for a signal is interrupted before it starts.
std::atomic<int>& interruptions() {
    static std::atomic<int> count{0};
    return count;
}

} // namespace

// Replaces the client library's own function.
extern "C" __attribute__((visibility("default"))) void* redisvCommand(redisContext* context, const char* format,
                                                                      va_list arguments) {
    static auto* const real = reinterpret_cast<decltype(&redisvCommand)>(dlsym(RTLD_NEXT, "redisvCommand"));
    if (onCommand())
        onCommand()(context);
    return real(context, format, arguments);
}

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) int sigpending(sigset_t* set) {
    static auto* const real = reinterpret_cast<decltype(&sigpending)>(dlsym(RTLD_NEXT, "sigpending"));
    ++pendingQuestions();
    return real(set);
}

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) int sigtimedwait(const sigset_t* set, siginfo_t* info,
                                                                   const timespec* timeout) {
    static auto* const real = reinterpret_cast<decltype(&sigtimedwait)>(dlsym(RTLD_NEXT, "sigtimedwait"));
    if (interruptions() == 0)
        return real(set, info, timeout);
    --interruptions();
    errno = EINTR;
    return -1;
}

namespace {

class DatabaseSignals : public SupportTest {};

std::atomic<int> signalsSeen{0};

void setDisposition(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigaction(SIGPIPE, &action, nullptr);
}

void countSignal(int) {
    ++signalsSeen;
}

sigset_t sigpipeOnly() {
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool isPending() {
    sigset_t pending{};
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

bool isBlocked() {
    sigset_t mask{};
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
}

void block(int how) {
    const sigset_t set = sigpipeOnly();
    pthread_sigmask(how, &set, nullptr);
}

// A connected object whose server has been restarted: the next command writes to a closed connection.
struct Broken {
    Broken() {
        db.setup(server.socket(), 2);
        connected = db.hset("k", "f", "v") == 0;
        server.restart();
    }

    RedisServer server;
    Opened<Database> db;
    bool connected = false;
};

TEST_F(DatabaseSignals, bareClientDiesOfIt) {
    const ScriptedRedis peer(answers({{{"+PONG\r\n", true}}}));
    const int status = runChild([&] {
        setDisposition(SIG_DFL);
        redisContext* const context = redisConnectUnix(peer.socket().c_str());
        freeReplyObject(redisCommand(context, "PING"));
        char none = 0;
        return holds(recv(context->fd, &none, 1, 0) == 0, "the peer has gone") &&
               redisCommand(context, "PING") != nullptr;
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGPIPE) << "without this the tests below would show nothing";
}

TEST_F(DatabaseSignals, hostWithTheDefaultDispositionLives) {
    EXPECT_EQ(runChild([] {
                  setDisposition(SIG_DFL);
                  Broken broken;
                  return holds(broken.connected, "connected") &&
                         holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                         holds(!isBlocked() && !isPending(), "nothing is left blocked or pending");
              }),
              0);
}

TEST_F(DatabaseSignals, hostWithTheDefaultDispositionLivesWithoutAServer) {
    EXPECT_EQ(runChild([] {
                  setDisposition(SIG_DFL);
                  Broken broken;
                  broken.server.kill();
                  bool held = holds(broken.db.lpush("k", "v") == 3, "no reply");
                  errno = 0;
                  held = held && holds(broken.db.lpush("k", "v") == 3, "still none");
                  return held && holds(errno == ECONNREFUSED, "errno is that of the failed connection") &&
                         holds(!isBlocked() && !isPending(), "nothing is left blocked or pending");
              }),
              0);
}

TEST_F(DatabaseSignals, hostWithAHandlerSeesNoneOfOurs) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  Broken broken;
                  bool held = holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                              holds(signalsSeen == 0, "the handler has not run");
                  raise(SIGPIPE);
                  return held && holds(signalsSeen == 1, "the handler is still there and runs");
              }),
              0);
}

TEST_F(DatabaseSignals, hostThatIgnoresItGoesOnIgnoring) {
    EXPECT_EQ(runChild([] {
                  setDisposition(SIG_IGN);
                  Broken broken;
                  struct sigaction action {};
                  const bool held = holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart");
                  sigaction(SIGPIPE, nullptr, &action);
                  return held && holds(action.sa_handler == SIG_IGN, "still ignored") &&
                         holds(!isBlocked() && !isPending(), "nothing is left blocked or pending");
              }),
              0);
}

TEST_F(DatabaseSignals, hostThatBlocksItFindsNonePending) {
    EXPECT_EQ(runChild([] {
                  setDisposition(SIG_DFL);
                  block(SIG_BLOCK);
                  Broken broken;
                  return holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                         holds(isBlocked() && !isPending(), "still blocked, and ours taken off");
              }),
              0);
}

TEST_F(DatabaseSignals, hostThatBlocksItKeepsItsOwn) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  block(SIG_BLOCK);
                  Broken broken;
                  raise(SIGPIPE);
                  bool held = holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                              holds(isBlocked() && isPending(), "still blocked, still pending");
                  block(SIG_UNBLOCK);
                  return held && holds(signalsSeen == 1, "and delivered once");
              }),
              0);
}

TEST_F(DatabaseSignals, nobodyAsksForOneAfterAnUndisturbedCommand) {
    EXPECT_EQ(runChild([] {
                  Broken broken;
                  const int before = pendingQuestions();
                  bool held = holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                              holds(pendingQuestions() > before, "the signal of the first attempt was looked for");
                  const int after = pendingQuestions();
                  held = held && holds(broken.db.hset("k", "f", "v") == 0, "one more") &&
                         holds(broken.db.hget("none", "f", nullptr) == 1, "one without a value") &&
                         holds(broken.db.hdel("none", {"f"}) == 0, "a vector of arguments");
                  return held && holds(pendingQuestions() == after, "nothing was looked for");
              }),
              0);
}

// Sends the signal from outside while a command waits for its reply; then does something else from there.
bool handlerSeesOne(Database& db, const std::function<void()>& then = nullptr) {
    const pid_t host = getpid();
    const pid_t other = fork();
    if (other == 0) {
        usleep(300000);
        const bool sent = kill(host, SIGPIPE) == 0;
        if (then)
            then();
        _exit(sent ? 0 : 1);
    }
    const bool held = holds(db.brpop("none", 1, nullptr) == 4, "a timeout");
    waitpid(other, nullptr, 0);
    return held && holds(signalsSeen == 1, "the signal is delivered, once");
}

TEST_F(DatabaseSignals, handlerSeesThoseOfOthers) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  RedisServer server;
                  Database db;
                  db.setup(server.socket(), 2);
                  return handlerSeesOne(db);
              }),
              0);
}

TEST_F(DatabaseSignals, handlerSeesThoseOfOthersAmongOurs) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  Broken broken;
                  return handlerSeesOne(broken.db);
              }),
              0);
}

// No write has failed, so the only pending signal is the one from outside.
TEST_F(DatabaseSignals, handlerSeesThoseOfOthersWhenAReplyIsLost) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  RedisServer server;
                  Database db;
                  db.setup(server.socket(), 2);
                  const auto loseReply = [&server] { server.run({"CLIENT", "KILL", "TYPE", "normal"}); };
                  return handlerSeesOne(db, loseReply);
              }),
              0);
}

TEST_F(DatabaseSignals, maskAndErrnoAreTheHostsOwnAfterACommand) {
    EXPECT_EQ(runChild([] {
                  Broken broken;
                  sigset_t mine{};
                  sigemptyset(&mine);
                  sigaddset(&mine, SIGUSR1);
                  sigaddset(&mine, SIGTERM);
                  pthread_sigmask(SIG_SETMASK, &mine, nullptr);
                  bool held = holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart");
                  errno = 77;
                  held = held && holds(broken.db.hset("k", "f", "v") == 0, "one more") && holds(errno == 77, "errno");
                  sigset_t after{};
                  pthread_sigmask(SIG_BLOCK, nullptr, &after);
                  for (int number = 1; number < SIGRTMIN; ++number)
                      held = held && holds(sigismember(&after, number) == sigismember(&mine, number), "the mask");
                  return held;
              }),
              0);
}

TEST_F(DatabaseSignals, subscriberLivesThroughRestartsWithTheDefaultDisposition) {
    EXPECT_EQ(runChild([] {
                  setDisposition(SIG_DFL);
                  RedisServer server;
                  Watch watch(server.socket());
                  watch.start();
                  for (int i = 0; i < 5; ++i) {
                      std::this_thread::sleep_for(50ms);
                      server.restart();
                  }
                  std::this_thread::sleep_for(400ms);
                  server.run({"SET", "k", "v"});
                  const bool held = holds(watch.waitFor(std::size_t{1}), "a notification after the restarts");
                  return held && holds(watch.stop() == 0, "the loop ends");
              }),
              0);
}

// Opens and closes descriptors continuously, and detects if somebody else has closed or taken one of them.
class DescriptorUser {
public:
    explicit DescriptorUser(std::string path) : file(std::move(path)) {
        writeFile(file, "");
        struct stat status {};
        stat(file.c_str(), &status);
        inode = status.st_ino;
        thread = std::thread([this] { run(); });
    }

    ~DescriptorUser() { stop(); }

    /// Returns how many descriptors no longer belonged to it when it closed them.
    int stop() {
        ended = true;
        if (thread.joinable())
            thread.join();
        return lost;
    }

    int rounds() const { return opened; }

private:
    bool isMine(int descriptor) const {
        struct stat status {};
        return fstat(descriptor, &status) == 0 && status.st_ino == inode;
    }

    void run() {
        while (!ended) {
            std::array<int, 4> held{};
            for (int& descriptor : held)
                descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
            ++opened;
            std::this_thread::yield();
            for (const int descriptor : held) {
                if (descriptor < 0)
                    continue; // no descriptor was left
                lost += isMine(descriptor) ? 0 : 1;
                close(descriptor);
            }
        }
    }

    std::string file;
    ino_t inode = 0;
    std::atomic<bool> ended{false};
    std::atomic<int> opened{0};
    std::atomic<int> lost{0};
    std::thread thread;
};

class DatabaseDescriptors : public SupportTest {
protected:
    // A sanitizer needs a descriptor when it first checks objects of a class.
    void SetUp() override {
        SupportTest::SetUp();
        Opened<Database> db;
        db.setup(dir / "none", 2);
        ASSERT_EQ(db.hset("k", "f", "v"), 3);
        Watch watch(dir / "none");
        ASSERT_EQ(watch.subscriber.subscribe(), 3);
        watch.subscriber.stop();
        watch.start();
    }

    TempDir dir;
};

// Limits the numbers of new descriptors as long as the object exists; open descriptors stay open.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &previous);
        rlimit wanted = previous;
        wanted.rlim_cur = limit;
        setrlimit(RLIMIT_NOFILE, &wanted);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &previous); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit previous{};
};

TEST_F(DatabaseDescriptors, noForeignOneIsClosedByCommands) {
    RedisServer server;
    DescriptorUser user(dir / "file");
    Database db;
    db.setup(server.socket(), 2);
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(db.hset("k", "f", "v"), 0);
        server.kill();
        for (int j = 0; j < 20; ++j)
            EXPECT_EQ(db.hset("k", "f", "v"), 3);
        server.start();
    }
    EXPECT_EQ(user.stop(), 0);
    EXPECT_GT(user.rounds(), 100);
}

TEST_F(DatabaseDescriptors, noForeignOneIsClosedByTheLoop) {
    ScriptedRedis peer([](std::size_t, std::size_t command) -> ScriptedRedis::Answer {
        return {command == 2 ? "*0\r\n" : OK, command == 2};
    });
    Watch watch(peer.socket());
    DescriptorUser user(dir / "file");
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(1500));
    watch.stop();
    EXPECT_EQ(user.stop(), 0);
    EXPECT_GE(peer.connections(), 500U);
}

// Between the loop's closing of a lost connection and the reconnection, its number may be given to somebody else.
TEST_F(DatabaseDescriptors, numberIsForgottenWhenTheLoopLosesItsConnection) {
    ScriptedRedis peer(answers({{{OK}, {OK}, {"*0\r\n", true}}, {{OK}, {OK}, {"*0\r\n"}}}));
    std::vector<int> foreign;
    onCommand() = [&](const redisContext* context) {
        while (context->err != 0 && foreign.size() < 20)
            foreign.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    };
    Watch watch(peer.socket());
    watch.start();
    EXPECT_TRUE(peer.waitForCommands(6));
    watch.stop();
    onCommand() = nullptr;
    EXPECT_EQ(foreign.size(), 20U);
    for (const int descriptor : foreign) {
        struct stat status {};
        EXPECT_EQ(fstat(descriptor, &status), 0);
        EXPECT_TRUE(S_ISCHR(status.st_mode)) << "still what it was";
        close(descriptor);
    }
}

TEST_F(DatabaseDescriptors, noForeignOneIsClosedWhenTheyRunOut) {
    RedisServer server;
    Database db;
    db.setup(server.socket(), 2);
    ASSERT_EQ(db.ensureConnected(), 0);
    server.kill();
    DescriptorUser user(dir / "file");
    {
        // Enough for a few of the user's descriptors, so that both run out in turn.
        const DescriptorLimit limit(static_cast<rlim_t>(open("/dev/null", O_RDONLY | O_CLOEXEC) + 3));
        for (int i = 0; i < 20000; ++i)
            ASSERT_EQ(db.hset("k", "f", "v"), 3);
    }
    EXPECT_EQ(user.stop(), 0);
    server.start();
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
}

// If no new socket can be made, the old one's number may belong to anybody.
TEST_F(DatabaseDescriptors, numberIsForgottenWhenAReconnectionGetsNoSocket) {
    RedisServer server;
    Opened<Database> db;
    db.setup(server.socket(), 2);
    ASSERT_EQ(db.ensureConnected(), 0);
    const int number = db.descriptor();
    server.kill();
    {
        const DescriptorLimit none(0);
        EXPECT_EQ(db.hset("k", "f", "v"), 3);
    }
    const int foreign = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(foreign, number) << "the old socket is closed, and its number used again";
    EXPECT_EQ(db.hset("k", "f", "v"), 3);
    EXPECT_NE(fcntl(foreign, F_GETFD), -1);
    server.start();
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
    EXPECT_NE(fcntl(foreign, F_GETFD), -1);
    close(foreign);
}

TEST_F(DatabaseDescriptors, firstConnectionWithoutAnyIsMadeUpForLater) {
    RedisServer server;
    Opened<Database> db;
    db.setup(server.socket(), 2);
    {
        const DescriptorLimit none(0);
        EXPECT_EQ(db.hset("k", "f", "v"), 3);
        EXPECT_EQ(db.hset("k", "f", "v"), 3);
        EXPECT_EQ(db.descriptor(), -1) << "not 0, which is the host's standard input";
    }
    const int standard = fcntl(0, F_GETFD);
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
    EXPECT_EQ(fcntl(0, F_GETFD), standard);
    EXPECT_THAT(FakeSupport::inst().logs, ElementsAre(reconnectedLine()));
    server.restart();
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
}

TEST_F(DatabaseDescriptors, subscriberWithoutAnyAtFirstComesUpLater) {
    ScriptedRedis peer(answers({{{OK}, {OK}, {"*0\r\n"}}}));
    Watch watch(peer.socket());
    {
        const DescriptorLimit none(0);
        watch.start();
        std::this_thread::sleep_for(300ms);
        EXPECT_EQ(peer.connections(), 0U);
    }
    EXPECT_TRUE(peer.waitForCommands(3));
    EXPECT_EQ(watch.stop(), 0);
}

TEST_F(DatabaseDescriptors, areNotInheritedByPrograms) {
    RedisServer server;
    Opened<Database> db;
    db.setup(server.socket(), 2);
    ASSERT_EQ(db.ensureConnected(), 0);
    EXPECT_EQ(fcntl(db.descriptor(), F_GETFD), FD_CLOEXEC);
    server.restart();
    ASSERT_EQ(db.hset("k", "f", "v"), 0);
    EXPECT_EQ(fcntl(db.descriptor(), F_GETFD), FD_CLOEXEC) << "the second socket neither";
    server.kill();
    EXPECT_EQ(db.ensureConnected(), 0);
    EXPECT_EQ(db.hset("k", "f", "v"), 3);
    server.start();
    EXPECT_EQ(db.ensureConnected(), 0);
    EXPECT_EQ(fcntl(db.descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(DatabaseDescriptors, areSharedWithAForkedChild) {
    RedisServer server;
    Opened<Database> db;
    db.setup(server.socket(), 2);
    ASSERT_EQ(db.ensureConnected(), 0);
    EXPECT_EQ(runChild([&db] {
                  return holds(db.hset("k", "f", "v") == 0, "a command in the child") &&
                         holds(FakeSupport::inst().logs.size() == 1, "over no connection of its own");
              }),
              0);
    EXPECT_EQ(db.hget("k", "f", nullptr), 0);
    EXPECT_THAT(FakeSupport::inst().logs, ElementsAre(connectedLine()));
}

TEST_F(DatabaseDescriptors, mayBeTheStandardNumbers) {
    EXPECT_EQ(runChild([] {
                  RedisServer server;
                  for (const int standard : {0, 1, 2})
                      close(standard);
                  Opened<Database> db;
                  db.setup(server.socket(), 2);
                  bool held = db.hset("k", "f", "v") == 0 && db.descriptor() == 0;
                  server.restart();
                  held = held && db.hset("k", "f", "v") == 0 && db.descriptor() == 0;
                  server.kill();
                  held = held && db.hset("k", "f", "v") == 3;
                  const int foreign = open("/dev/null", O_RDONLY);
                  held = held && foreign == 0 && db.hset("k", "f", "v") == 3 && fcntl(foreign, F_GETFD) != -1;
                  server.start();
                  return held && db.hset("k", "f", "v") == 0 && db.descriptor() == 1 && fcntl(foreign, F_GETFD) != -1;
              }),
              0);
}

TEST_F(DatabaseDescriptors, failedConnectionsLeaveNoneOpen) {
    Database db;
    db.setup(dir / "none", 2);
    EXPECT_EQ(db.ensureConnected(), 3);
    const auto before = openDescriptors();
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(db.hset("k", "f", "v"), 3);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(DatabaseSignals, interruptedDrainIsRepeated) {
    EXPECT_EQ(runChild([] {
                  setDisposition(countSignal);
                  Broken broken;
                  interruptions() = 3;
                  return holds(broken.db.hset("k", "f", "v") == 0, "a command after the restart") &&
                         holds(interruptions() == 0, "the drain was interrupted") &&
                         holds(signalsSeen == 0, "the handler has not run") &&
                         holds(!isPending(), "nothing is pending");
              }),
              0);
}

const timeval* connectTimeout(const redisContext* context) {
#if HIREDIS_MAJOR >= 1
    return context->connect_timeout;
#else
    return context->timeout;
#endif
}

TEST_F(DatabaseDescriptors, firstConnectionWithoutAnyKeepsTheTimeLimit) {
    Opened<Database> db;
    db.setup(dir / "none", 2);
    {
        const DescriptorLimit none(0);
        ASSERT_EQ(db.ensureConnected(), 3);
    }
    const timeval* const limit = connectTimeout(db.context);
    ASSERT_NE(limit, nullptr);
    EXPECT_EQ(limit->tv_sec, 0);
    EXPECT_EQ(limit->tv_usec, 500000);
}

} // namespace
