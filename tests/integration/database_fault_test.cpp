#include "ScriptedRedis.h"
#include "database_helpers.h"
#include "hiredis_pointers.h"

#include <kelvra/LoggerControl.h>

#include <gtest/gtest.h>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <random>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using namespace std::chrono_literals;
using Answer = ScriptedRedis::Answer;

#if defined(__has_feature)
#define SCADA_HAS_FEATURE(feature) __has_feature(feature)
#else
#define SCADA_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || SCADA_HAS_FEATURE(address_sanitizer) ||           \
    SCADA_HAS_FEATURE(thread_sanitizer) || defined(__arm__)
constexpr int SLOWNESS = 5; // factor under a sanitizer, or emulated
#else
constexpr int SLOWNESS = 1;
#endif

constexpr int KILLS = 300;
constexpr int HALTS = 50;
constexpr auto SUBSCRIBER_LIMIT = 400ms * SLOWNESS;
constexpr std::size_t RECONNECTIONS = 10000;

class DatabaseFault : public ::testing::Test {
protected:
    void SetUp() override {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        // If the parent process ignores or blocks the signal, it would kill nobody.
        sigset_t sigpipe{};
        sigemptyset(&sigpipe);
        sigaddset(&sigpipe, SIGPIPE);
        pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
        ASSERT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    }
};

/// Sends commands continuously and compares each reply, if there is one, with the expected one.
class Load {
public:
    Load(const std::string& socket, int number) : name("load" + std::to_string(number)) {
        db.setup(socket, 2);
        thread = std::thread([this] { run(); });
    }
    ~Load() { stop(); }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    void stop() {
        ended = true;
        if (thread.joinable())
            thread.join();
    }

    std::atomic<long> answered{0};
    std::atomic<long> unanswered{0};
    std::atomic<long> wrong{0};

private:
    void run() {
        for (long i = 0; !ended; ++i) {
            echo(name + "-" + std::to_string(i));
            count(db.hset(name, "f", std::to_string(i)), true);
            std::string text;
            const int result = db.hget(name, "f", &text);
            // A restart in between empties the server.
            count(result == 1 ? 0 : result, result != 0 || text == std::to_string(i));
        }
    }

    void echo(const std::string& word) {
        const ReplyPtr reply(db.executeCommand("ECHO %s", word.c_str()));
        count(reply ? 0 : 3, !reply || text(reply.get()) == "\"" + word + "\"");
    }

    void count(int result, bool right) {
        ++(result == 3 ? unanswered : answered);
        if (result == 3)
            std::this_thread::sleep_for(500us);
        if (!right || (result != 0 && result != 3))
            ++wrong;
    }

    const std::string name;
    Database db;
    std::atomic<bool> ended{false};
    std::thread thread;
};

struct Loads {
    explicit Loads(const std::string& socket) : first(socket, 1), second(socket, 2) {}

    /// Ends the load. No reply may have gone to the wrong command, and some work must have been done.
    void expectRight(const char* what, int count) {
        first.stop();
        second.stop();
        EXPECT_EQ(first.wrong + second.wrong, 0);
        EXPECT_GT(first.answered, count);
        EXPECT_GT(second.answered, count);
        std::printf("%d %s: %ld commands answered, %ld without a reply, %ld wrong\n", count, what,
                    first.answered + second.answered, first.unanswered + second.unanswered, first.wrong + second.wrong);
    }

    Load first;
    Load second;
};

// Returns the time until a change made now is notified.
std::chrono::milliseconds timeToNotify(const RedisServer& server, Watch& watch, const std::string& key) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t before = watch.messages().size();
    const std::string wanted = "\"__keyspace@2__:" + key + "\"";
    while (since(start) < 10s) {
        server.run({"SET", key, "v"});
        const std::vector<std::string> messages = watch.messages();
        const auto isNew = [&](const std::string& message) { return message.find(wanted) != std::string::npos; };
        if (std::any_of(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end(), isNew))
            break;
        std::this_thread::sleep_for(2ms);
    }
    return since(start);
}

TEST_F(DatabaseFault, serverKilledUnderLoad) {
    RedisServer server;
    Database db;
    db.setup(server.socket(), 2);
    Watch watch(server.socket());
    watch.start();
    Loads loads(server.socket());
    std::chrono::milliseconds slowest{0};
    for (int i = 0; i < KILLS; ++i) {
        server.restart();
        ASSERT_EQ(db.hset("k", "f", "v"), 0) << "the first command after the server is back, after kill " << i;
        if (i % 6 == 0)
            slowest = std::max(slowest, timeToNotify(server, watch, "after" + std::to_string(i)));
    }
    EXPECT_LE(slowest, SUBSCRIBER_LIMIT);
    EXPECT_EQ(watch.stop(), 0);
    loads.expectRight("kills", KILLS);
    std::printf("the subscriber was back within %ld ms\n", static_cast<long>(slowest.count()));
}

TEST_F(DatabaseFault, serverHaltedUnderLoad) {
    RedisServer server;
    Watch watch(server.socket());
    watch.start();
    Loads loads(server.socket());
    for (int i = 0; i < HALTS; ++i) {
        std::this_thread::sleep_for(10ms);
        server.pause();
        std::this_thread::sleep_for(i % 10 == 0 ? 1200ms : 20ms);
        server.resume();
    }
    EXPECT_LE(timeToNotify(server, watch, "k"), SUBSCRIBER_LIMIT);
    EXPECT_EQ(watch.stop(), 0);
    loads.expectRight("halts", HALTS);
    EXPECT_EQ(loads.first.unanswered + loads.second.unanswered, 0) << "a halted server only takes longer";
}

/// Tests one faulty answer to a command. The result must be the answer of the second attempt, or the content of the
/// bytes.
void expectSurvived(const Answer& faulty, bool mayBeReply) {
    SCOPED_TRACE(::testing::PrintToString(faulty.bytes));
    ScriptedRedis peer([&](std::size_t connection, std::size_t command) -> Answer {
        if (command == 0)
            return {OK};
        if (command == 1 && connection == 0)
            return faulty;
        return {command == 1 && connection == 1 ? "$6\r\nsecond\r\n" : "$4\r\nnext\r\n"};
    });
    Opened<Database> db;
    db.setup(peer.socket(), 2);
    std::string out = "untouched";
    const int result = db.hget("k", "f", &out);
    const bool second = result == 0 && out == "second";
    ASSERT_TRUE(second || mayBeReply) << result << " " << out;
    ASSERT_TRUE(result == 0 || out == "untouched");
    // After the second attempt the connection continues normally; it also does after a complete reply.
    const ReplyPtr next(db.executeCommand("NEXT"));
    ASSERT_EQ(text(next.get()), second || !faulty.thenClose ? "\"next\"" : "\"second\"");
    close(db.descriptor());
}

std::vector<std::string> wholeReplies() {
    return {"$6\r\nsecond\r\n",
            "+OK\r\n",
            "-ERR a message\r\n",
            ":1234567890\r\n",
            "$-1\r\n",
            "*-1\r\n",
            "*0\r\n",
            "$0\r\n\r\n",
            "$30\r\nabcdefghijklmnopqrstuvwxyz\r\n\r\n\r\n",
            "*2\r\n$3\r\nkey\r\n$5\r\nvalue\r\n",
            "*3\r\n:1\r\n$-1\r\n*2\r\n+a\r\n-b\r\n",
            "*4\r\n$8\r\npmessage\r\n$16\r\n__keyspace@2__:*\r\n$18\r\n__keyspace@2__:key\r\n$3\r\nset\r\n"};
}

int cutEverywhere() {
    int count = 0;
    for (const std::string& whole : wholeReplies()) {
        for (std::size_t length = 0; length < whole.size(); ++length, ++count)
            expectSurvived({whole.substr(0, length), true}, false);
    }
    return count;
}

int lateEverywhere() {
    int count = 0;
    for (const std::string& whole : wholeReplies()) {
        for (std::size_t at = 0; at < whole.size(); ++at, ++count)
            expectSurvived({whole, false, at, 3ms}, true);
    }
    return count;
}

// No reply begins with such a byte, in either version of the protocol.
std::string noise(std::mt19937& random) {
    std::string bytes(1 + random() % 200, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    while (std::string("+-:$*_,#~%>(=|!").find(bytes[0]) != std::string::npos)
        bytes[0] = static_cast<char>(random());
    return bytes;
}

int garbage() {
    std::mt19937 random(20240229);
    constexpr int NOISES = 560;
    for (int i = 0; i < NOISES; ++i)
        expectSurvived({noise(random), i % 2 == 0}, false);
    std::string nested;
    for (int i = 0; i < 40; ++i)
        nested += "*1\r\n";
    const std::vector<std::string> malformed{"*-2\r\n",
                                             "$-2\r\n",
                                             "$x\r\n",
                                             "*x\r\n",
                                             ":\r\n",
                                             ":x\r\n",
                                             ":99999999999999999999\r\n",
                                             "+\r\n",
                                             "-\r\n",
                                             "*1\r\n?\r\n",
                                             "*99999999999999999999\r\n",
                                             "$99999999999999999999\r\n",
                                             "*2\r\n$1\r\na\r\n",
                                             "$3\r\nabcdef",
                                             "$3\r\nab",
                                             "+no end",
                                             nested};
    for (const std::string& bytes : malformed)
        expectSurvived({bytes, true}, true);
    return NOISES + static_cast<int>(malformed.size());
}

TEST_F(DatabaseFault, scriptedReplies) {
    const int cut = cutEverywhere();
    const int late = lateEverywhere();
    const int others = garbage();
    EXPECT_GE(cut + late + others, 1000);
    std::printf("%d scripted replies: %d cut, %d late, %d garbage\n", cut + late + others, cut, late, others);
}

/// Returns the number of open descriptors at rest: the peer, also in this process, closes its end a moment later.
std::size_t restingDescriptors() {
    constexpr int SAMPLES = 50;
    std::size_t count = openDescriptors().size();
    for (int i = 0; i < SAMPLES; ++i) {
        std::this_thread::sleep_for(1ms);
        count = std::min(count, openDescriptors().size());
    }
    return count;
}

/// The resources of the process: the number of its descriptors, and its allocated bytes as malloc reports them.
struct Holdings {
    std::size_t descriptors = restingDescriptors();
    std::size_t bytes = mallinfo2().uordblks;
};

void expectConstant(const Holdings& before, const char* what, std::size_t count) {
    const Holdings after;
    EXPECT_LE(after.descriptors, before.descriptors);
    EXPECT_LE(after.bytes, before.bytes + 8192);
    std::printf("%zu %s: %zu descriptors before, %zu after; %zu bytes before, %zu after\n", count, what,
                before.descriptors, after.descriptors, before.bytes, after.bytes);
}

TEST_F(DatabaseFault, commandsReconnectWithoutGrowth) {
    // Each connection lives for one selection and one command.
    const ScriptedRedis peer([](std::size_t, std::size_t command) -> Answer { return {OK, command == 1}; }, false);
    Opened<Database> db;
    db.setup(peer.socket(), 2);
    const auto reconnect = [&](std::size_t until) {
        while (peer.connections() < until)
            ASSERT_EQ(db.hmset("k", {{"f", "v"}}), 0);
    };
    reconnect(500);
    const Holdings before;
    reconnect(500 + RECONNECTIONS);
    expectConstant(before, "reconnections of commands", RECONNECTIONS);
}

TEST_F(DatabaseFault, failedReconnectionsDoNotGrow) {
    Database db;
    db.setup("/nowhere/at/all", 2);
    ASSERT_EQ(db.ensureConnected(), 3);
    const Holdings before;
    for (std::size_t i = 0; i < RECONNECTIONS; ++i)
        ASSERT_EQ(db.ensureConnected(), 3);
    expectConstant(before, "failed reconnections", RECONNECTIONS);
}

TEST_F(DatabaseFault, subscriberReconnectsWithoutGrowth) {
    ScriptedRedis peer(
        [](std::size_t, std::size_t command) -> Answer {
            return command == 2 ? Answer{"*0\r\n", true} : Answer{OK};
        },
        false);
    DatabaseSubscriber subscriber;
    subscriber.setup(peer.socket(), 2);
    std::thread looping([&] { EXPECT_EQ(subscriber.loop(nullptr, nullptr), 0); });
    const auto waitUntil = [&](std::size_t count) {
        while (peer.connections() < count)
            std::this_thread::sleep_for(1ms);
    };
    waitUntil(500);
    const Holdings before;
    waitUntil(500 + RECONNECTIONS);
    // At either moment both ends of the connection may be open, or not yet.
    const Holdings after;
    EXPECT_LE(after.descriptors, before.descriptors + 2);
    EXPECT_LE(after.bytes, before.bytes + 65536);
    subscriber.stop();
    looping.join();
    std::printf("%zu reconnections of the subscriber: %zu descriptors before, %zu after; %zu bytes before, %zu after\n",
                RECONNECTIONS, before.descriptors, after.descriptors, before.bytes, after.bytes);
}

} // namespace
