#include "Command.h"
#include "DatabaseAccess.h"
#include "Output.h"
#include "text.h"

#include <scada/DatabaseSubscriber.h>
#include <scada/Env.h>

#include <hiredis/hiredis.h>

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <limits>
#include <memory>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

struct Limits {
    unsigned int count = 0;   ///< 0: no limit
    unsigned int seconds = 0; ///< 0: no limit
};

// What a signal handler can reach, and a free-standing callback that stops the loop.
std::atomic<DatabaseSubscriber*> watching{nullptr};
static_assert(decltype(watching)::is_always_lock_free, "used in a signal handler");

extern "C" void stopWatching(int /*signal*/) {
    if (DatabaseSubscriber* subscriber = watching)
        subscriber->stop();
}

// Signals that end the watch for as long as it lasts. A second one of a kind does what it would do without this: a
// server that accepts commands and never answers leaves the first one unseen.
class EndingSignals {
public:
    EndingSignals(DatabaseSubscriber& subscriber, unsigned int seconds) {
        watching = &subscriber;
        handleBy(stopWatching);
        alarm(seconds);
    }
    ~EndingSignals() {
        alarm(0);
        handleBy(SIG_DFL);
        watching = nullptr;
    }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

private:
    static void handleBy(void (*handler)(int)) {
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        for (const int signal : {SIGINT, SIGTERM, SIGALRM})
            sigaction(signal, &action, nullptr);
    }
};

std::string timeText(std::chrono::system_clock::time_point now) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(sinceEpoch / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string thousandths = std::to_string(1000 + sinceEpoch % 1000);
    return std::string(text.data(), length) + "." + thousandths.substr(1) + "Z";
}

std::string textOf(const redisReply* reply) {
    return reply->type == REDIS_REPLY_STRING ? std::string(reply->str, static_cast<std::size_t>(reply->len)) : "";
}

struct Watch {
    Output& output;
    DatabaseSubscriber& subscriber;
    unsigned int countLimit;
    std::size_t count = 0;
    bool written = true;
};

void show(const std::string& key, const std::string& event, Watch* watch) {
    const unsigned int database = Env::inst().conf().getDfnDatabaseNumber();
    Json::Value result;
    result["time"] = timeText(std::chrono::system_clock::now());
    result["database"] = database;
    result["key"] = key;
    result["event"] = event;
    const std::string line = result["time"].asString() + "  " + std::to_string(database) + "  " + printable(key) +
                             "  " + printable(event) + "\n";
    watch->written = watch->output.item(result, line);
    ++watch->count;
    if (!watch->written || watch->count == watch->countLimit)
        watch->subscriber.stop();
}

// A message is kind, pattern, channel and event; the channel is a prefix with the database's number, and the key.
void receive(redisReply* message, void* user) {
    if (message->type != REDIS_REPLY_ARRAY || message->elements != 4)
        return;
    const std::string channel = textOf(message->element[2]);
    const std::size_t colon = channel.find(':');
    if (textOf(message->element[0]) == "pmessage" && colon != std::string::npos)
        show(channel.substr(colon + 1), textOf(message->element[3]), static_cast<Watch*>(user));
}

ExitCode watchChanges(const Limits& limits, Output& output) {
    DatabaseSubscriber subscriber;
    useGivenDatabase(subscriber);
    // The subscriber waits for a server for as long as it takes; whoever mistypes the socket wants to be told.
    DatabaseBase probe;
    useGivenDatabase(probe);
    if (probe.ensureConnected() != DatabaseBase::RESULT_OK)
        return output.noDatabase(noReplyText());
    Watch watch{output, subscriber, limits.count};
    {
        const EndingSignals signals(subscriber, limits.seconds);
        subscriber.loop(receive, &watch);
    }
    writeMessage(counted(watch.count, "change"));
    return watch.written ? ExitCode::DONE : ExitCode::FAILED;
}

} // namespace

Run declareWatch(CLI::App& app) {
    const auto limits = std::make_shared<Limits>();
    const CLI::Range positive(1U, std::numeric_limits<unsigned int>::max());
    app.add_option("--count", limits->count, "End after so many changes")->check(positive)->type_name("N");
    app.add_option("--timeout", limits->seconds, "End after so many seconds")->check(positive)->type_name("S");
    return [limits](Output& output) { return watchChanges(*limits, output); };
}

} // namespace Kelvra::SCADA::Tool
