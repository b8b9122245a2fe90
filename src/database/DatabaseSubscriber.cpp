#include <scada/DatabaseSubscriber.h>

#include "database/reply.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

namespace Kelvra::SCADA {

namespace {

constexpr timeval RECEIVE_TIMEOUT{1, 0};
constexpr timespec RETRY_PAUSE{0, 200000000};

void pauseBeforeRetry() {
    timespec left = RETRY_PAUSE;
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

// `receiveErrno` is valid only with an I/O error: after an end of file it is left over from something else.
bool isReceiveTimeout(const redisContext* context, int receiveErrno) {
#ifdef REDIS_ERR_TIMEOUT
    if (context->err == REDIS_ERR_TIMEOUT)
        return true; // since version 1 of the client library
#endif
    return context->err == REDIS_ERR_IO && receiveErrno == EAGAIN;
}

// Since version 1 the client library would set it for the next connection, too, where a subscription has no time limit.
void forgetReceiveTimeout([[maybe_unused]] redisContext* context) {
#if HIREDIS_MAJOR >= 1
    if (context->command_timeout != nullptr)
        *context->command_timeout = {};
#endif
}

// Receives one message. Returns false when the connection is lost, and closes it. After a timeout returns true without
// a message.
bool receive(redisContext* context, ReplyPtr* message) {
    void* received = nullptr;
    const bool arrived = redisGetReply(context, &received) == REDIS_OK;
    const int receiveErrno = errno;
    message->reset(static_cast<redisReply*>(received));
    if (arrived)
        return true;
    if (isReceiveTimeout(context, receiveErrno)) {
        context->err = 0;
        context->errstr[0] = '\0';
        return true;
    }
    // The context must forget the number: by the time of the reconnection it may belong to another file.
    close(context->fd);
    context->fd = -1;
    forgetReceiveTimeout(context);
    return false;
}

} // namespace

DatabaseSubscriber::DatabaseSubscriber() : stopRequested(false) {}

DatabaseSubscriber::~DatabaseSubscriber() = default;

int DatabaseSubscriber::subscribe() {
    const ReplyPtr enabled(executeCommand("CONFIG SET notify-keyspace-events KA"));
    if (!isOkStatus(enabled))
        return toResult(enabled, false);
    std::array<char, 32> command{};
    static_cast<void>(std::snprintf(command.data(), command.size(), "PSUBSCRIBE __keyspace@%u__:*",
                                    static_cast<unsigned int>(dbNumber)));
    const ReplyPtr confirmed(executeCommand(command.data()));
    return toResult(confirmed, isType(confirmed, REDIS_REPLY_ARRAY));
}

int DatabaseSubscriber::loop(void (*callback)(redisReply*, void*), void* user) {
    while (!stopRequested) {
        if (subscribe() != RESULT_OK) {
            pauseBeforeRetry();
            continue;
        }
        redisSetTimeout(context, RECEIVE_TIMEOUT);
        ReplyPtr message;
        while (!stopRequested && receive(context, &message)) {
            if (message && callback != nullptr)
                callback(message.get(), user);
            message.reset();
        }
    }
    return RESULT_OK;
}

void DatabaseSubscriber::stop() {
    stopRequested = true;
}

} // namespace Kelvra::SCADA
