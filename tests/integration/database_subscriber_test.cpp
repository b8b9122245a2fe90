#include "NamedRow.h"
#include "ScriptedRedis.h"
#include "database_helpers.h"
#include "hiredis_pointers.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

// The sleeping times that all threads but the first have requested, in seconds and nanoseconds.
struct Pauses {
    std::mutex mutex;
    std::vector<std::pair<long, long>> asked; ///< read when the threads have ended
};

Pauses& pauses() {
    static Pauses all;
    return all;
}

} // namespace

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time, timespec* left) {
    static auto* const real = reinterpret_cast<decltype(&nanosleep)>(dlsym(RTLD_NEXT, "nanosleep"));
    if (gettid() != getpid()) {
        const std::lock_guard<std::mutex> lock(pauses().mutex);
        pauses().asked.emplace_back(time->tv_sec, time->tv_nsec);
    }
    return real(time, left);
}

namespace {

// The next reception on this descriptor fails as if the system had ended the wait.
std::atomic<int>& timedOutDescriptor() {
    static std::atomic<int> descriptor{-1};
    return descriptor;
}

bool timesOut(int descriptor) {
    if (descriptor < 0 || !timedOutDescriptor().compare_exchange_strong(descriptor, -1))
        return false;
    errno = ETIMEDOUT;
    return true;
}

} // namespace

// The function with which the client library receives. Version 1 has an error of its own for such a wait.
#ifdef REDIS_ERR_TIMEOUT
extern "C" __attribute__((visibility("default"))) ssize_t recv(int descriptor, void* bytes, std::size_t size,
                                                               int flags) {
    static auto* const real = reinterpret_cast<decltype(&recv)>(dlsym(RTLD_NEXT, "recv"));
    return timesOut(descriptor) ? -1 : real(descriptor, bytes, size, flags);
}
#else
extern "C" __attribute__((visibility("default"))) ssize_t read(int descriptor, void* bytes, std::size_t size) {
    static auto* const real = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
    return timesOut(descriptor) ? -1 : real(descriptor, bytes, size);
}
#endif

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Answer = ScriptedRedis::Answer;

static_assert(std::is_base_of<DatabaseBase, DatabaseSubscriber>::value);

// One flag after the fields of the base.
struct Flagged : DatabaseBase {
    std::atomic<bool> flag;
};
static_assert(sizeof(DatabaseSubscriber) == sizeof(Flagged));

std::string subscription(int number = 2) {
    return "__keyspace@" + std::to_string(number) + "__:*";
}

std::string confirmation(int number = 2) {
    return "*3\r\n$10\r\npsubscribe\r\n$" + std::to_string(subscription(number).size()) + "\r\n" +
           subscription(number) + "\r\n:1\r\n";
}

std::string handshake(int number = 2) {
    return encoded({"SELECT", std::to_string(number)}) + encoded({"CONFIG", "SET", "notify-keyspace-events", "KA"}) +
           encoded({"PSUBSCRIBE", subscription(number)});
}

// Times in seconds and microseconds.
std::pair<long, long> receiveTimeout(int descriptor) {
    timeval timeout{-1, -1};
    socklen_t size = sizeof timeout;
    getsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, &size);
    return {timeout.tv_sec, timeout.tv_usec};
}

// The first command reconnects.
std::vector<Answer> welcome(const Answer& afterwards = {confirmation()}) {
    return {{OK}, {OK}, afterwards};
}

std::string notification(const std::string& key, const std::string& event) {
    return encoded({"pmessage", subscription(), "__keyspace@2__:" + key, event});
}

std::string notificationText(const std::string& key, const std::string& event, int number = 2) {
    return R"(["pmessage", ")" + subscription(number) + R"(", "__keyspace@)" + std::to_string(number) + "__:" + key +
           R"(", ")" + event + R"("])";
}

class Subscriber : public SupportTest {};

struct SubscribeRow : NamedRow {
    std::vector<std::vector<Answer>> script;
    int result;
    std::vector<std::vector<std::string>> commands;
};

class Subscribe : public Subscriber, public ::testing::WithParamInterface<SubscribeRow> {};

TEST_P(Subscribe, givesItsCode) {
    ScriptedRedis peer(answers(GetParam().script));
    DatabaseSubscriber subscriber;
    subscriber.setup(peer.socket(), 2);
    EXPECT_EQ(subscriber.subscribe(), GetParam().result);
    std::vector<std::string> expected;
    for (const auto& connection : GetParam().commands) {
        expected.emplace_back();
        for (const std::string& word : connection) {
            if (word == "SELECT")
                expected.back() += encoded({"SELECT", "2"});
            else if (word == "CONFIG")
                expected.back() += encoded({"CONFIG", "SET", "notify-keyspace-events", "KA"});
            else
                expected.back() += encoded({"PSUBSCRIBE", subscription()});
        }
    }
    EXPECT_EQ(peer.received(), expected);
}

const std::vector<std::vector<std::string>> WHOLE{{"SELECT", "CONFIG", "PSUBSCRIBE"}};
const std::vector<std::vector<std::string>> ONLY_CONFIG{{"SELECT", "CONFIG"}};

INSTANTIATE_TEST_SUITE_P(
    , Subscribe,
    ::testing::Values(SubscribeRow{"confirmed", {welcome()}, 0, WHOLE},
                      SubscribeRow{"ok_in_lower_case", {{{OK}, {"+ok\r\n"}, {confirmation()}}}, 0, WHOLE},
                      SubscribeRow{"any_array", {welcome({"*0\r\n"})}, 0, WHOLE},
                      SubscribeRow{"config_error", {{{OK}, {"-ERR unknown\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"config_other_status", {{{OK}, {"+QUEUED\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"config_string", {{{OK}, {"$2\r\nOK\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"config_integer", {{{OK}, {":1\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"config_nil", {{{OK}, {"$-1\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"config_array", {{{OK}, {"*1\r\n+OK\r\n"}}}, 255, ONLY_CONFIG},
                      SubscribeRow{"subscription_error", {welcome({"-ERR no\r\n"})}, 255, WHOLE},
                      SubscribeRow{"subscription_status", {welcome({OK})}, 255, WHOLE},
                      SubscribeRow{"subscription_integer", {welcome({":1\r\n"})}, 255, WHOLE},
                      SubscribeRow{"subscription_string", {welcome({"$1\r\nx\r\n"})}, 255, WHOLE},
                      SubscribeRow{"subscription_nil", {welcome({"$-1\r\n"})}, 255, WHOLE},
                      SubscribeRow{"config_closed_once",
                                   {{{OK}, {"", true}}, welcome()},
                                   0,
                                   {{"SELECT", "CONFIG"}, {"SELECT", "CONFIG", "PSUBSCRIBE"}}},
                      SubscribeRow{
                          "config_closed_twice", {{{OK}, {"", true}}}, 3, {{"SELECT", "CONFIG"}, {"SELECT", "CONFIG"}}},
                      SubscribeRow{"subscription_closed_once",
                                   {welcome({"*3\r\n$10\r\npsub", true}), {{OK}, {confirmation()}}},
                                   0,
                                   {{"SELECT", "CONFIG", "PSUBSCRIBE"}, {"SELECT", "PSUBSCRIBE"}}},
                      SubscribeRow{"subscription_closed_twice",
                                   {welcome({"", true}), {{OK}, {"", true}}},
                                   3,
                                   {{"SELECT", "CONFIG", "PSUBSCRIBE"}, {"SELECT", "PSUBSCRIBE"}}},
                      SubscribeRow{"selection_refused", {{{"-ERR no\r\n"}}}, 3, {{"SELECT"}}}),
    rowName);

TEST_F(Subscriber, givesThreeWithoutAServer) {
    DatabaseSubscriber subscriber;
    subscriber.setup("/nowhere/at/all", 2);
    EXPECT_EQ(subscriber.subscribe(), 3);
}

TEST_F(Subscriber, subscribesToTheLargestDatabase) {
    ScriptedRedis peer(answers({welcome({confirmation(255)})}));
    DatabaseSubscriber subscriber;
    subscriber.setup(peer.socket(), 255);
    EXPECT_EQ(subscriber.subscribe(), 0);
    EXPECT_THAT(peer.received(), ElementsAre(handshake(255)));
}

TEST_F(Subscriber, handsOutTheMessagesAsTheyArrive) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    peer.send(notification("a key", "hset") + notification("b", "expire") + "+status\r\n:7\r\n$-1\r\n-ERR e\r\n*0\r\n");
    ASSERT_TRUE(watch.waitFor(std::size_t{7}));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_THAT(watch.messages(), ElementsAre(notificationText("a key", "hset"), notificationText("b", "expire"),
                                              "(status status)", "(integer 7)", "(nil)", "(error ERR e)", "[]"));
    EXPECT_THAT(peer.received(), ElementsAre(handshake()));
    EXPECT_THAT(FakeSupport::inst().logs, ElementsAre(connectedLine()));
}

TEST_F(Subscriber, receivesWithoutACallback) {
    ScriptedRedis peer(answers({welcome()}));
    DatabaseSubscriber subscriber;
    subscriber.setup(peer.socket(), 2);
    std::thread stopper([&] {
        EXPECT_TRUE(peer.waitForCommands(3));
        peer.send(notification("a", "set"));
        std::this_thread::sleep_for(50ms);
        subscriber.stop();
    });
    EXPECT_EQ(subscriber.loop(nullptr, nullptr), 0);
    stopper.join();
    EXPECT_EQ(peer.connections(), 1U);
}

TEST_F(Subscriber, subscribesAgainWhenTheConnectionIsLost) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    std::vector<std::pair<long, long>> timeouts;
    watch.onMessage = [&] { timeouts.push_back(receiveTimeout(watch.subscriber.descriptor())); };
    watch.start();
    for (std::size_t round = 1; round <= 3; ++round) {
        ASSERT_TRUE(peer.waitForCommands(3 * round));
        peer.send(notification("k", "set"));
        ASSERT_TRUE(watch.waitFor(round));
        peer.drop();
    }
    ASSERT_TRUE(peer.waitForCommands(12));
    EXPECT_EQ(watch.stop(), 0);
    const std::pair<long, long> oneSecond(1, 0);
    EXPECT_THAT(timeouts, ElementsAre(oneSecond, oneSecond, oneSecond)) << "set after each subscription";
    EXPECT_THAT(peer.received(), ElementsAre(handshake(), handshake(), handshake(), handshake()));
    EXPECT_THAT(FakeSupport::inst().logs,
                ElementsAre(connectedLine(), reconnectedLine(), reconnectedLine(), reconnectedLine()));
}

TEST_F(Subscriber, subscribesAgainAfterGarbage) {
    ScriptedRedis peer(answers({welcome({confirmation() + "?garbage\r\n"}), welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(6));
    peer.send(notification("k", "set"));
    EXPECT_TRUE(watch.waitFor(std::size_t{1}));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(watch.messages(), std::vector<std::string>{notificationText("k", "set")});
}

// An end of file does not set errno: a value left by a timeout must not look like another timeout.
TEST_F(Subscriber, takesAnEndForAnEndAfterATimeout) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    std::this_thread::sleep_for(1200ms);
    peer.drop();
    EXPECT_TRUE(peer.waitForCommands(6));
    EXPECT_EQ(watch.stop(), 0);
}

TEST_F(Subscriber, takesAnEndForAnEndWhateverTheCallbackLeavesInErrno) {
    ScriptedRedis peer(answers({welcome({confirmation() + notification("k", "set"), true}), welcome()}));
    Watch watch(peer.socket());
    watch.onMessage = [] { errno = EAGAIN; };
    watch.start();
    EXPECT_TRUE(peer.waitForCommands(6));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(watch.messages().size(), 1U);
}

TEST_F(Subscriber, keepsHalfAMessageThroughTheTimeout) {
    const std::string message = notification("k", "set");
    ScriptedRedis peer(answers({welcome({confirmation() + message, false, confirmation().size() + 20, 2300ms})}));
    Watch watch(peer.socket());
    std::string error = "untouched";
    watch.onMessage = [&] { error = watch.subscriber.context->errstr; };
    watch.start();
    ASSERT_TRUE(watch.waitFor(std::size_t{1}));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_THAT(watch.messages(), ElementsAre(notificationText("k", "set")));
    EXPECT_EQ(error, "") << "the timeout leaves no text in the context";
    EXPECT_EQ(peer.connections(), 1U);
}

// The client library of version 1 tells it from other errors, and the connection stays; before, the connection is lost.
TEST_F(Subscriber, goesOnAfterATimeoutOfTheSystem) {
#ifdef REDIS_ERR_TIMEOUT
    const std::size_t connections = 1;
#else
    const std::size_t connections = 2;
#endif
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    std::size_t calls = 0;
    watch.onMessage = [&] { timedOutDescriptor() = ++calls == 1 ? watch.subscriber.descriptor() : -1; };
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    peer.send(notification("k", "set"));
    ASSERT_TRUE(watch.waitFor(std::size_t{1}));
    ASSERT_TRUE(peer.waitForCommands(3 * connections));
    peer.send(notification("l", "set"));
    EXPECT_TRUE(watch.waitFor(std::size_t{2}));
    EXPECT_EQ(timedOutDescriptor(), -1) << "a reception has failed";
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(peer.connections(), connections);
    EXPECT_THAT(watch.messages(), ElementsAre(notificationText("k", "set"), notificationText("l", "set")));
}

// The time limit of reception is not one of the subscription, on whichever connection.
TEST_F(Subscriber, waitsForASlowServerOnALaterConnectionToo) {
    ScriptedRedis peer(answers({welcome(), {{OK, false, 0, 1500ms}, {OK}, {confirmation()}}}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    peer.drop();
    EXPECT_TRUE(peer.waitForCommands(6));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(peer.connections(), 2U);
}

TEST_F(Subscriber, stopBeforeTheLoopContactsNobody) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.subscriber.stop();
    watch.start();
    EXPECT_EQ(watch.join(), 0);
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_EQ(watch.subscriber.context, nullptr);
}

TEST_F(Subscriber, stopLastsForAllLaterLoops) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    EXPECT_EQ(watch.stop(), 0);
    const auto start = std::chrono::steady_clock::now();
    watch.start();
    EXPECT_EQ(watch.join(), 0);
    EXPECT_LT(since(start), 500ms);
    EXPECT_THAT(peer.received(), ElementsAre(handshake()));
}

TEST_F(Subscriber, stopFromTheCallbackActsAtOnce) {
    ScriptedRedis peer(answers({welcome({confirmation() + notification("a", "set") + notification("b", "set")})}));
    Watch watch(peer.socket());
    const auto start = std::chrono::steady_clock::now();
    watch.onMessage = [&] { watch.subscriber.stop(); };
    watch.start();
    EXPECT_EQ(watch.join(), 0);
    EXPECT_LT(since(start), 800ms);
    EXPECT_THAT(watch.messages(), ElementsAre(notificationText("a", "set"))) << "the next one is not handed out";
}

TEST_F(Subscriber, stopFromAnotherThreadActsWithinTheReceiveTimeout) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_LT(watch.stopTime(), 1400ms);
}

TEST_F(Subscriber, stopDuringThePauseActsWithinIt) {
    Watch watch("/nowhere/at/all");
    watch.start();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_LT(watch.stopTime(), 450ms);
    EXPECT_THAT(FakeSupport::inst().logs, IsEmpty());
}

TEST_F(Subscriber, stopDuringASubscriptionActsAfterIt) {
    ScriptedRedis peer(answers({{{OK}, {OK, false, 0, 500ms}, {confirmation()}}}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(1));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_THAT(peer.received(), ElementsAre(handshake())) << "the attempt was finished, and nothing received";
    EXPECT_LT(watch.stopTime(), 900ms);
}

TEST_F(Subscriber, triesAgainEveryTwoHundredMilliseconds) {
    ScriptedRedis peer(answers({{{"-ERR no\r\n"}}}));
    Watch watch(peer.socket());
    pauses().asked.clear();
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(4));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(pauses().asked.size(), peer.connections()) << "one after each attempt";
    EXPECT_THAT(pauses().asked, Each(std::pair<long, long>(0, 200000000)));
}

TEST_F(Subscriber, triesAgainOnTheSameConnectionWhenRefused) {
    ScriptedRedis peer(answers({{{OK}, {"-ERR no\r\n"}, {OK}, {":1\r\n"}, {OK}, {confirmation()}}}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(6));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_EQ(peer.connections(), 1U);
}

class Signalled : public Subscriber {
protected:
    void SetUp() override {
        Subscriber::SetUp();
        struct sigaction action {};
        action.sa_handler = [](int) { ++handled; };
        sigaction(SIGUSR1, &action, &previous);
        handled = 0;
    }

    void TearDown() override {
        sigaction(SIGUSR1, &previous, nullptr);
        Subscriber::TearDown();
    }

    // Interrupts the call in which the loop waits.
    static void pester(Watch& watch, std::chrono::milliseconds time) {
        const auto start = std::chrono::steady_clock::now();
        while (since(start) < time) {
            pthread_kill(watch.thread().native_handle(), SIGUSR1);
            std::this_thread::sleep_for(10ms);
        }
    }

    static std::atomic<int> handled;

private:
    struct sigaction previous {};
};

std::atomic<int> Signalled::handled{0};

TEST_F(Signalled, pausesGoOnWithWhatIsLeft) {
    ScriptedRedis peer(answers({{{"-ERR no\r\n"}}}));
    Watch watch(peer.socket());
    watch.start();
    pester(watch, 1050ms);
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_GT(handled, 20);
    EXPECT_GE(peer.connections(), 3U);
    EXPECT_LE(peer.connections(), 6U) << "neither cut short nor begun anew";
}

TEST_F(Signalled, receivingGoesOn) {
    ScriptedRedis peer(answers({welcome()}));
    Watch watch(peer.socket());
    watch.start();
    ASSERT_TRUE(peer.waitForCommands(3));
    pester(watch, 300ms);
    peer.send(notification("k", "set"));
    EXPECT_TRUE(watch.waitFor(std::size_t{1}));
    pester(watch, 100ms);
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_LT(watch.stopTime(), 1400ms);
    EXPECT_GT(handled, 10);
    EXPECT_EQ(peer.connections(), 1U);
}

TEST_F(Signalled, subscribingGoesOn) {
    ScriptedRedis peer(answers({{{OK, false, 1, 200ms}, {OK, false, 2, 200ms}, {confirmation(), false, 9, 200ms}}}));
    Watch watch(peer.socket());
    watch.start();
    pester(watch, 700ms);
    ASSERT_TRUE(peer.waitForCommands(3));
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_THAT(peer.received(), ElementsAre(handshake()));
}

class SubscriberOfAServer : public Subscriber {
protected:
    // A subscription takes a moment: make changes until the first one is received.
    bool makeVisible(Watch& watch, const std::string& key) const {
        for (int i = 0; i < 1000; ++i) {
            server.run({"SET", key, "v"});
            for (const std::string& message : watch.messages())
                if (message == notificationText(key, "set"))
                    return true;
            std::this_thread::sleep_for(5ms);
        }
        return false;
    }

    RedisServer server;
};

TEST_F(SubscriberOfAServer, seesTheChangesOfItsDatabaseOnly) {
    Watch watch(server.socket());
    watch.start();
    ASSERT_TRUE(makeVisible(watch, "first"));
    server.run({"SET", "k", "v"}, 3);
    server.run({"HSET", "k", "f", "v"});
    server.run({"EXPIRE", "k", "100"});
    server.run({"LPUSH", "list", "v"});
    server.run({"DEL", "k"});
    ASSERT_TRUE(watch.waitFor(notificationText("k", "del")));
    EXPECT_EQ(watch.stop(), 0);
    std::vector<std::string> messages = watch.messages();
    messages.erase(messages.begin(), messages.end() - 4);
    EXPECT_THAT(messages, ElementsAre(notificationText("k", "hset"), notificationText("k", "expire"),
                                      notificationText("list", "lpush"), notificationText("k", "del")));
    EXPECT_EQ(server.run({"CONFIG", "GET", "notify-keyspace-events"}), R"(["notify-keyspace-events", "AK"])")
        << "the setting stays, for the whole server";
}

TEST_F(SubscriberOfAServer, seesChangesAfterARestart) {
    Watch watch(server.socket());
    watch.start();
    ASSERT_TRUE(makeVisible(watch, "before"));
    server.kill();
    std::this_thread::sleep_for(300ms);
    server.start();
    EXPECT_EQ(server.run({"GET", "before"}), "(nil)");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(makeVisible(watch, "after"));
    EXPECT_LT(since(start), 1000ms);
    EXPECT_EQ(watch.stop(), 0);
}

TEST_F(SubscriberOfAServer, seesChangesOnceThereIsAServer) {
    server.kill();
    Watch watch(server.socket());
    watch.start();
    std::this_thread::sleep_for(300ms);
    server.start();
    EXPECT_TRUE(makeVisible(watch, "k"));
    EXPECT_EQ(watch.stop(), 0);
}

TEST_F(SubscriberOfAServer, loopOnASubscribedConnectionHandsOutNothing) {
    Watch watch(server.socket());
    ASSERT_EQ(watch.subscriber.subscribe(), 0);
    watch.start();
    for (int i = 0; i < 50; ++i) {
        server.run({"SET", "k", "v"});
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(watch.stop(), 0);
    EXPECT_THAT(watch.messages(), ElementsAre());
}

TEST_F(SubscriberOfAServer, staysSubscribedAndUselessWhenTheCallbackThrows) {
    DatabaseSubscriber subscriber;
    subscriber.setup(server.socket(), 2);
    std::atomic<bool> ended{false};
    std::thread writer([&] {
        for (; !ended; std::this_thread::sleep_for(10ms))
            server.run({"SET", "k", "v"});
    });
    const auto refuse = [](redisReply*, void*) { throw std::runtime_error("refused"); };
    EXPECT_THROW(subscriber.loop(refuse, nullptr), std::runtime_error);
    ended = true;
    writer.join();
    EXPECT_EQ(server.run({"PUBSUB", "NUMPAT"}), "(integer 1)");
    EXPECT_EQ(subscriber.subscribe(), 255);
}

TEST_F(SubscriberOfAServer, isNoLongerFitForCommandsAfterwards) {
    Watch watch(server.socket());
    watch.start();
    ASSERT_TRUE(makeVisible(watch, "k"));
    EXPECT_EQ(watch.stop(), 0);
    const ReplyPtr reply(watch.subscriber.executeCommand("GET k"));
    EXPECT_NE(text(reply.get()), "\"v\"") << "still in subscription mode";
}

} // namespace
