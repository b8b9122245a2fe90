// The cost of commands and notifications through the library, against bare hiredis on the same server.

#include "RedisServer.h"
#include "hiredis_pointers.h"
#include "ratios.h"

#include <benchmark/benchmark.h>
#include <hiredis/hiredis.h>
#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>

#include <sched.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace Kelvra::SCADA;

constexpr unsigned char NUMBER = 2;
constexpr int NOTIFICATIONS = 2000; // per measured round

const Test::RedisServer& server() {
    static const Test::RedisServer instance;
    return instance;
}

Test::ContextPtr connected() {
    Test::ContextPtr connection(redisConnectUnix(server().socket().c_str()));
    if (!connection || connection->err != 0)
        throw std::runtime_error("no connection to the server");
    freeReplyObject(redisCommand(connection.get(), "SELECT %d", NUMBER));
    return connection;
}

// --- commands

template <typename Command> void throughLibrary(benchmark::State& state, Command command) {
    Database database;
    database.setup(server().socket(), NUMBER);
    database.hset("sensor", "temperature", "21.5");
    for (auto _ : state)
        if (command(&database) != DatabaseBase::RESULT_OK)
            state.SkipWithError("the command failed");
    database.expire("list", 0);
}

template <typename Command> void throughHiredis(benchmark::State& state, int type, Command command) {
    const Test::ContextPtr connection = connected();
    freeReplyObject(redisCommand(connection.get(), "HSET sensor temperature 21.5"));
    for (auto _ : state) {
        auto* reply = static_cast<redisReply*>(command(connection.get()));
        if (reply == nullptr || reply->type != type)
            state.SkipWithError("the command failed");
        freeReplyObject(reply);
    }
    freeReplyObject(redisCommand(connection.get(), "DEL list"));
}

void hget(benchmark::State& state) {
    std::string value;
    throughLibrary(state, [&value](Database* database) { return database->hget("sensor", "temperature", &value); });
}
void hgetBare(benchmark::State& state) {
    throughHiredis(state, REDIS_REPLY_STRING, [](redisContext* connection) {
        return redisCommand(connection, "HGET %s %s", "sensor", "temperature");
    });
}

void hset(benchmark::State& state) {
    throughLibrary(state, [](Database* database) { return database->hset("sensor", "temperature", "21.5"); });
}
void hsetBare(benchmark::State& state) {
    throughHiredis(state, REDIS_REPLY_INTEGER, [](redisContext* connection) {
        return redisCommand(connection, "HSET %s %s %s", "sensor", "temperature", "21.5");
    });
}

void lpush(benchmark::State& state) {
    throughLibrary(state, [](Database* database) { return database->lpush("list", "value"); });
}
void lpushBare(benchmark::State& state) {
    throughHiredis(state, REDIS_REPLY_INTEGER,
                   [](redisContext* connection) { return redisCommand(connection, "LPUSH %s %s", "list", "value"); });
}

// --- notifications

std::atomic<int> messages{0};

void count(redisReply* /*message*/, void* /*user*/) {
    messages.fetch_add(1, std::memory_order_relaxed);
}

// Changes a key so many times within the server, and waits until the same number of messages has arrived.
void changeAndWait(redisContext* connection) {
    messages = 0;
    freeReplyObject(
        redisCommand(connection, "EVAL %s 0",
                     ("for i = 1, " + std::to_string(NOTIFICATIONS) + " do redis.call('SET', 'key', i) end").c_str()));
    while (messages.load(std::memory_order_relaxed) < NOTIFICATIONS)
        std::this_thread::sleep_for(std::chrono::microseconds(20));
}

void awaitSubscriber(redisContext* connection) {
    messages = 0;
    while (messages == 0) {
        freeReplyObject(redisCommand(connection, "SET key value"));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

void notifications(benchmark::State& state) {
    DatabaseSubscriber subscriber;
    subscriber.setup(server().socket(), NUMBER);
    std::thread receiver([&subscriber] { subscriber.loop(count, nullptr); });
    const Test::ContextPtr connection = connected();
    awaitSubscriber(connection.get());
    for (auto _ : state)
        changeAndWait(connection.get());
    subscriber.stop();
    receiver.join();
}

void notificationsBare(benchmark::State& state) {
    const Test::ContextPtr subscriber = connected();
    freeReplyObject(redisCommand(subscriber.get(), "CONFIG SET notify-keyspace-events KA"));
    freeReplyObject(redisCommand(subscriber.get(), "PSUBSCRIBE __keyspace@%d__:*", NUMBER));
    redisSetTimeout(subscriber.get(), timeval{1, 0});
    std::thread receiver([&subscriber] {
        void* reply = nullptr;
        while (redisGetReply(subscriber.get(), &reply) == REDIS_OK) {
            count(static_cast<redisReply*>(reply), nullptr);
            freeReplyObject(reply);
        }
    });
    const Test::ContextPtr connection = connected();
    awaitSubscriber(connection.get());
    for (auto _ : state)
        changeAndWait(connection.get());
    receiver.join(); // the receive timeout ends it
}

// --- stopping

// Returns the seconds until a loop without messages returns.
double stopTime() {
    DatabaseSubscriber subscriber;
    subscriber.setup(server().socket(), NUMBER);
    std::thread receiver([&subscriber] { subscriber.loop(count, nullptr); });
    awaitSubscriber(connected().get());
    const auto begin = std::chrono::steady_clock::now();
    subscriber.stop();
    receiver.join();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Many short rounds, because a difference of a few hundredths must be visible.
void ofCommand(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseRealTime()->Repetitions(200)->MinTime(0.02);
}

// A few long rounds, because a loop takes a second to end.
void ofNotifications(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseRealTime()->MinTime(0.5)->Unit(benchmark::kMillisecond);
}

BENCHMARK(hget)->Apply(ofCommand);
BENCHMARK(hgetBare)->Apply(ofCommand);
BENCHMARK(hset)->Apply(ofCommand);
BENCHMARK(hsetBare)->Apply(ofCommand);
BENCHMARK(lpush)->Apply(ofCommand);
BENCHMARK(lpushBare)->Apply(ofCommand);
BENCHMARK(notifications)->Apply(ofNotifications);
BENCHMARK(notificationsBare)->Apply(ofNotifications);

// Keeps this process and the server that it starts on one processor: the scheduler's placement of the two would change
// the time of a command by far more than the measured difference.
void stayOnOneProcessor() {
    cpu_set_t here;
    CPU_ZERO(&here);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &here);
    if (sched_setaffinity(0, sizeof here, &here) != 0)
        throw std::runtime_error("cannot stay on one processor");
}

} // namespace

int main(int argc, char** argv) {
    stayOnOneProcessor();
    constexpr double GOAL = 1 / 0.95; // 95 % of the throughput, expressed as time
    const int result =
        Bench::runWithRatios(argc, argv,
                             {{"hget-time-to-bare", "hget", "hgetBare", GOAL},
                              {"hset-time-to-bare", "hset", "hsetBare", GOAL},
                              {"lpush-time-to-bare", "lpush", "lpushBare", GOAL},
                              {"notification-time-to-bare", "notifications", "notificationsBare", GOAL}});
    double longest = 0;
    for (int round = 0; round < 5; ++round)
        longest = std::max(longest, stopTime());
    Bench::printRatio("stop-seconds", longest, 1.1);
    return result;
}
