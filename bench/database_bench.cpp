// The typed commands against the same commands through the client library alone, on the same server and in turns; the
// receiving of notifications against a bare receiving loop; and how long the subscriber takes to stop.

#include "RedisServer.h"

#include <kelvra/LoggerControl.h>
#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>

#include <hiredis/hiredis.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
using Test::RedisServer;
using Clock = std::chrono::steady_clock;

constexpr int ROUNDS = 61;
constexpr int COMMANDS = 1000; // of each side in a round
constexpr int NOTIFICATION_ROUNDS = 31;
constexpr int NOTIFICATIONS = 20000;
constexpr int STOPS = 5;

struct FreeContext {
    void operator()(redisContext* context) const { redisFree(context); }
};
using ContextPtr = std::unique_ptr<redisContext, FreeContext>;

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::exit(1);
}

double seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

void printRatio(const char* name, const std::vector<double>& ours, const std::vector<double>& bare, int work) {
    const double rate = work / median(ours);
    const double bareRate = work / median(bare);
    std::printf("%-16s %9.0f/s, bare %9.0f/s\n", name, rate, bareRate);
    std::printf("ratio %s %.2f (goal >= 0.95)\n", name, rate / bareRate);
}

ContextPtr connectTo(const RedisServer& server) {
    ContextPtr context(redisConnectUnix(server.socket().c_str()));
    require(context && context->err == 0, "a connection");
    freeReplyObject(redisCommand(context.get(), "SELECT 2"));
    return context;
}

struct Operation {
    const char* name;
    std::function<bool(Database& db)> ours;
    std::function<redisReply*(redisContext* context)> bare;
};

double timeOf(const std::function<bool()>& step) {
    const auto start = Clock::now();
    bool good = true;
    for (int i = 0; i < COMMANDS; ++i)
        good = step() && good;
    require(good, "every command succeeds");
    return seconds(start);
}

void measureCommand(const RedisServer& server, const Operation& operation) {
    Database db;
    db.setup(server.socket(), 2);
    const ContextPtr context = connectTo(server);
    const auto ours = [&] { return operation.ours(db); };
    const auto bare = [&] {
        redisReply* const reply = operation.bare(context.get());
        const bool good = reply != nullptr && reply->type != REDIS_REPLY_ERROR;
        freeReplyObject(reply);
        return good;
    };
    std::vector<double> times;
    std::vector<double> bareTimes;
    for (int round = 0; round < ROUNDS; ++round) {
        server.run({"DEL", "list"});
        if (round % 2 == 0)
            times.push_back(timeOf(ours));
        bareTimes.push_back(timeOf(bare));
        if (round % 2 != 0)
            times.push_back(timeOf(ours));
    }
    printRatio(operation.name, times, bareTimes, COMMANDS);
}

// A receiver waits at its first message until all have been sent, so that what is measured is the receiving.
class Receiver {
public:
    explicit Receiver(const RedisServer& redis) : server(redis) {}

    void receive() {
        if (received++ == 0) {
            begun = true;
            while (!sent)
                std::this_thread::yield();
            start = Clock::now();
        }
        if (received == NOTIFICATIONS)
            time = seconds(start);
    }
    bool done() const { return received >= NOTIFICATIONS; }

    // Makes the changes: one until the receiver is there, then the rest at once.
    void send() {
        const ContextPtr context = connectTo(server);
        while (!begun) {
            freeReplyObject(redisCommand(context.get(), "SET key value"));
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (int i = 0; i < NOTIFICATIONS; ++i)
            redisAppendCommand(context.get(), "SET key value");
        for (int i = 0; i < NOTIFICATIONS; ++i) {
            void* reply = nullptr;
            require(redisGetReply(context.get(), &reply) == REDIS_OK, "a change");
            freeReplyObject(reply);
        }
        sent = true;
    }

    double time = 0;

private:
    const RedisServer& server;
    std::atomic<bool> begun{false};
    std::atomic<bool> sent{false};
    int received = 0;
    Clock::time_point start;
};

// Its connection ends with it, so that the server has no more to send to.
struct Subscriber : DatabaseSubscriber {
    ~Subscriber() override { redisFree(context); }
};

struct Looping {
    Receiver* receiver;
    DatabaseSubscriber* subscriber;
};

void onMessage(redisReply*, void* looping) {
    const auto* const both = static_cast<Looping*>(looping);
    both->receiver->receive();
    if (both->receiver->done())
        both->subscriber->stop();
}

double timeOfLoop(const RedisServer& server) {
    Receiver receiver(server);
    Subscriber subscriber;
    subscriber.setup(server.socket(), 2);
    Looping both{&receiver, &subscriber};
    std::thread sender([&] { receiver.send(); });
    subscriber.loop(onMessage, &both);
    sender.join();
    return receiver.time;
}

double timeOfBareLoop(const RedisServer& server) {
    Receiver receiver(server);
    const ContextPtr context = connectTo(server);
    freeReplyObject(redisCommand(context.get(), "CONFIG SET notify-keyspace-events KA"));
    freeReplyObject(redisCommand(context.get(), "PSUBSCRIBE __keyspace@2__:*"));
    std::thread sender([&] { receiver.send(); });
    while (!receiver.done()) {
        void* message = nullptr;
        require(redisGetReply(context.get(), &message) == REDIS_OK, "a message");
        receiver.receive();
        freeReplyObject(message);
    }
    sender.join();
    return receiver.time;
}

void measureNotifications(const RedisServer& server) {
    std::vector<double> times;
    std::vector<double> bareTimes;
    for (int round = 0; round < NOTIFICATION_ROUNDS; ++round) {
        if (round % 2 == 0)
            times.push_back(timeOfLoop(server));
        bareTimes.push_back(timeOfBareLoop(server));
        if (round % 2 != 0)
            times.push_back(timeOfLoop(server));
    }
    printRatio("notifications", times, bareTimes, NOTIFICATIONS);
}

void measureStop(const RedisServer& server) {
    double longest = 0;
    for (int i = 0; i < STOPS; ++i) {
        DatabaseSubscriber subscriber;
        subscriber.setup(server.socket(), 2);
        std::thread looping([&] { subscriber.loop(nullptr, nullptr); });
        std::this_thread::sleep_for(std::chrono::milliseconds(100 + 170 * i));
        const auto start = Clock::now();
        subscriber.stop();
        looping.join();
        longest = std::max(longest, seconds(start));
    }
    std::printf("ratio stop_seconds %.2f (goal <= 1.10)\n", longest);
}

} // namespace

int main() {
    Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
    const RedisServer server;
    server.run({"HSET", "hash", "field", "21.5"});
    const std::string hash = "hash";
    const std::string field = "field";
    const std::string list = "list";
    const std::string value = "21.5";
    std::string out;
    measureCommand(server, {"hget", [&](Database& db) { return db.hget(hash, field, &out) == 0; },
                            [&](redisContext* context) {
                                auto* const reply = static_cast<redisReply*>(
                                    redisCommand(context, "HGET %s %s", hash.c_str(), field.c_str()));
                                if (reply != nullptr && reply->str != nullptr)
                                    out = reply->str;
                                return reply;
                            }});
    measureCommand(server, {"hset", [&](Database& db) { return db.hset(hash, field, value) == 0; },
                            [&](redisContext* context) {
                                return static_cast<redisReply*>(
                                    redisCommand(context, "HSET %s %s %s", hash.c_str(), field.c_str(), value.c_str()));
                            }});
    measureCommand(server, {"lpush", [&](Database& db) { return db.lpush(list, value) == 0; },
                            [&](redisContext* context) {
                                return static_cast<redisReply*>(
                                    redisCommand(context, "LPUSH %s %s", list.c_str(), value.c_str()));
                            }});
    measureNotifications(server);
    measureStop(server);
    return 0;
}
