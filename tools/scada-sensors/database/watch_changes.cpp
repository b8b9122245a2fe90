#include "database/watch_changes.h"

#include "database/ReplyPtr.h"
#include "database/access.h"
#include "database/server_setting.h"
#include "text/Descriptor.h"

#include <hiredis/hiredis.h>

#include <scada/DatabaseSubscriber.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

namespace Kelvra::SCADA::Tool {

namespace {

using Clock = TimeLimit::Clock;

constexpr std::chrono::milliseconds RETRY_PAUSE(200);
constexpr std::chrono::milliseconds QUESTION_PAUSE(1000);
constexpr std::chrono::milliseconds CHECK_PAUSE(5000);
// The watch also ends if its reader stops reading, so that a line cannot be finished.
constexpr std::chrono::milliseconds LINE_LIMIT(100);

// The state that a signal handler can reach.
std::atomic<int> wakeUp{-1};
static_assert(decltype(wakeUp)::is_always_lock_free, "used in a signal handler");

extern "C" void endWatching(int /*signal*/) {
    const int keptErrno = errno;
    static_cast<void>(write(wakeUp, "", 1) == 1);
    errno = keptErrno;
}

// A pipe that becomes readable when the watch must end. A second signal of the same kind kills the process.
class Ending {
public:
    Ending() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::system_error(errno, std::generic_category());
        reading = Descriptor(ends[0]);
        writing = Descriptor(ends[1]);
        wakeUp = writing.number();
        struct sigaction action {};
        action.sa_handler = endWatching;
        action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
        for (const int signal : {SIGINT, SIGTERM})
            sigaction(signal, &action, nullptr);
    }

    static void ask() { endWatching(0); }

    void waitUntil(const std::optional<Clock::time_point>& end) const {
        using std::chrono::milliseconds;
        constexpr milliseconds LONGEST_PIECE(3600000);
        for (bool goesOn = true; goesOn;) {
            const auto left = end ? std::chrono::ceil<milliseconds>(*end - Clock::now()) : LONGEST_PIECE;
            pollfd asked{reading.number(), POLLIN, 0};
            const auto piece = std::clamp(left, milliseconds(0), LONGEST_PIECE);
            goesOn = poll(&asked, 1, static_cast<int>(piece.count())) <= 0 && !(end && Clock::now() >= *end);
        }
    }

private:
    Descriptor reading;
    Descriptor writing;
};

// The library's own loop does not report that a connection is lost or back, and cannot tell a halted server from a
// silent one. This loop reads the same subscription and asks a silent server for a sign of life.
class Subscription : public DatabaseSubscriber {
public:
    enum class Heard { SOMETHING, NOTHING, END };

    // Takes the next complete message, or null. Returns false if nothing more can come.
    bool next(ReplyPtr* message) {
        void* whole = nullptr;
        const bool isSound = redisGetReplyFromReader(context, &whole) == REDIS_OK;
        message->reset(static_cast<redisReply*>(whole));
        return isSound;
    }

    Heard wait() {
        pollfd readable{context->fd, POLLIN, 0};
        if (poll(&readable, 1, static_cast<int>(QUESTION_PAUSE.count())) <= 0)
            return Heard::NOTHING;
        return redisBufferRead(context) == REDIS_OK ? Heard::SOMETHING : Heard::END;
    }

    // Does not use the client library, whose writes wait and raise SIGPIPE. The next read notices a lost connection.
    void askForSignOfLife() const {
        constexpr std::string_view PING = "*1\r\n$4\r\nPING\r\n";
        static_cast<void>(send(context->fd, PING.data(), PING.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
    }

    // Makes the next subscription connect anew.
    void leave() { reconnectNeeded = true; }
};

std::string textOf(const redisReply* reply) {
    return reply->type == REDIS_REPLY_STRING ? std::string(reply->str, static_cast<std::size_t>(reply->len)) : "";
}

class Watch {
public:
    Watch(const WatchLimits& limits, const WatchListener& watchListener)
        : longestSilence(limits.silence), listener(watchListener) {
        useConfiguredDatabase(subscription);
    }

    // Never returns.
    void run() {
        for (;;) {
            const int result = subscription.subscribe();
            if (result == DatabaseBase::RESULT_OK) {
                listen();
                subscription.leave();
                turn(WatchState::LOST);
            } else {
                turn(result == DatabaseBase::RESULT_NO_REPLY ? WatchState::LOST : WatchState::REFUSED);
                std::this_thread::sleep_for(RETRY_PAUSE);
            }
        }
    }

    // Prevents any further line.
    ExitCode end() {
        static_cast<void>(speaking.try_lock_for(LINE_LIMIT));
        const bool hasHung = state == WatchState::STARTING && Clock::now() - begin >= longestSilence;
        return listener.ended(hasHung ? WatchState::LOST : state.load());
    }

private:
    // Returns when the connection has ended.
    void listen() {
        isNew = true;
        isDue = true;
        Clock::time_point lastHeard = Clock::now();
        bool isAsked = false;
        while (handOver()) {
            update();
            const Subscription::Heard heard = subscription.wait();
            if (heard == Subscription::Heard::END)
                return;
            if (heard == Subscription::Heard::SOMETHING) {
                lastHeard = Clock::now();
                isAsked = false;
                if (!isDue && state != WatchState::MUTED)
                    turn(WatchState::WATCHING);
                continue;
            }
            if (!isAsked)
                subscription.askForSignOfLife();
            isAsked = true;
            if (Clock::now() - lastHeard > longestSilence + QUESTION_PAUSE)
                turn(WatchState::LOST);
            else
                checkSetting();
        }
    }

    // Another client can turn the notifications off. The subscription then only seems to go on. When they are on again,
    // everything is fetched anew.
    void checkSetting() {
        if ((state != WatchState::WATCHING && state != WatchState::MUTED) || Clock::now() < nextCheck)
            return;
        nextCheck = Clock::now() + CHECK_PAUSE;
        const Inquiry server{TimeLimit(static_cast<unsigned int>(longestSilence.count()))};
        if (!server.open().empty())
            return;
        const std::optional<std::string> setting = notificationSetting(server);
        if (setting && !announcesChanges(*setting)) {
            turn(WatchState::MUTED);
        } else if (setting && state == WatchState::MUTED) {
            isNew = true;
            isDue = true;
        }
    }

    // Hands over the complete messages. Returns false if the connection is of no further use.
    bool handOver() {
        ReplyPtr message;
        while (subscription.next(&message)) {
            if (!message)
                return true;
            receive(*message);
        }
        return false;
    }

    // Does not hold the lock while it asks the server: the watch must end in time whatever the server does.
    void update() {
        if (!isDue)
            return;
        const WatchState served = listener.fetch ? listener.fetch(isNew) : WatchState::WATCHING;
        turn(served);
        if (served != WatchState::WATCHING)
            return;
        isNew = false;
        isDue = false;
        const std::lock_guard<std::timed_mutex> lock(speaking);
        if (isWanted && listener.fetched)
            goOn(listener.fetched());
    }

    void goOn(bool isMoreWanted) {
        isWanted = isMoreWanted;
        if (!isWanted)
            Ending::ask();
    }

    // A message has a kind, a pattern, a channel and an event. The channel is a prefix with the number of the database,
    // and the key.
    void receive(const redisReply& message) {
        if (message.type != REDIS_REPLY_ARRAY || message.elements != 4)
            return;
        const std::string channel = textOf(message.element[2]);
        const std::size_t colon = channel.find(':');
        if (textOf(message.element[0]) != "pmessage" || colon == std::string::npos)
            return;
        const std::lock_guard<std::timed_mutex> lock(speaking);
        if (!isWanted)
            return;
        isDue = true;
        goOn(listener.changed(
            {std::chrono::system_clock::now(), channel.substr(colon + 1), textOf(message.element[3])}));
    }

    void turn(WatchState now) {
        const std::lock_guard<std::timed_mutex> lock(speaking);
        if (!isWanted || state == now)
            return;
        const WatchState before = state.exchange(now);
        if (before != WatchState::STARTING || now != WatchState::WATCHING)
            listener.turned(now);
    }

    Clock::time_point begin = Clock::now();
    std::chrono::seconds longestSilence;
    const WatchListener& listener;
    Subscription subscription;
    std::timed_mutex speaking;
    std::atomic<WatchState> state{WatchState::STARTING};
    Clock::time_point nextCheck = begin; ///< of the server's setting
    bool isWanted = true;
    bool isNew = true; ///< nothing has been fetched since the subscription
    bool isDue = true; ///< nothing has been fetched since the subscription or the last change
};

} // namespace

// The library's subscription waits for a silent server without a limit and cannot be cancelled. It therefore has its
// own thread, which ends with the process.
void watchChanges(const WatchLimits& limits, const WatchListener& listener) {
    const Ending ending;
    Watch watch(limits, listener);
    std::exception_ptr failure;
    std::atomic<bool> hasFailed{false};
    std::thread([&] {
        try {
            watch.run();
        } catch (...) {
            failure = std::current_exception();
            hasFailed = true;
            Ending::ask();
        }
    }).detach();
    ending.waitUntil(limits.end);
    if (hasFailed)
        std::rethrow_exception(failure);
    _exit(static_cast<int>(watch.end()));
}

} // namespace Kelvra::SCADA::Tool
