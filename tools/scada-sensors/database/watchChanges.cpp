#include "database/watchChanges.h"

#include "database/access.h"

#include <scada/DatabaseSubscriber.h>

#include <hiredis/hiredis.h>

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>

namespace Kelvra::SCADA::Tool {

namespace {

// What a signal handler can reach, and a free-standing callback that stops the loop.
std::atomic<DatabaseSubscriber*> watching{nullptr};
static_assert(decltype(watching)::is_always_lock_free, "used in a signal handler");

extern "C" void stopWatching(int /*signal*/) {
    if (DatabaseSubscriber* subscriber = watching)
        subscriber->stop();
}

// Stops the watch on SIGINT, SIGTERM or SIGALRM; a second signal of a kind kills it, because a server that accepts
// commands and never answers leaves the first one unseen.
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

struct Watch {
    DatabaseSubscriber& subscriber;
    const std::function<bool(const KeyChange&)>& receive;
};

std::string textOf(const redisReply* reply) {
    return reply->type == REDIS_REPLY_STRING ? std::string(reply->str, static_cast<std::size_t>(reply->len)) : "";
}

// A message is kind, pattern, channel and event; the channel is a prefix with the database's number, and the key.
void receiveMessage(redisReply* message, void* user) {
    if (message->type != REDIS_REPLY_ARRAY || message->elements != 4)
        return;
    const auto* watch = static_cast<const Watch*>(user);
    const std::string channel = textOf(message->element[2]);
    const std::size_t colon = channel.find(':');
    if (textOf(message->element[0]) != "pmessage" || colon == std::string::npos)
        return;
    const KeyChange change = {std::chrono::system_clock::now(), channel.substr(colon + 1), textOf(message->element[3])};
    if (!watch->receive(change))
        watch->subscriber.stop();
}

} // namespace

void watchChanges(unsigned int seconds, const std::function<bool(const KeyChange&)>& receive) {
    DatabaseSubscriber subscriber;
    useConfiguredDatabase(subscriber);
    Watch watch{subscriber, receive};
    const EndingSignals signals(subscriber, seconds);
    subscriber.loop(receiveMessage, &watch);
}

} // namespace Kelvra::SCADA::Tool
