#include <scada/DatabaseBase.h>

#include "config/log.h"
#include "database/SigpipeGuard.h"
#include "database/reply.h"

#include <scada/Conf.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Kelvra::SCADA {

namespace {

// The client library takes and keeps this structure, and was built with the system's own time type.
#if defined(_TIME_BITS) && _TIME_BITS == 64
#error "_TIME_BITS=64 changes timeval, which the client library shares"
#endif
static_assert(sizeof(timeval) == 2 * sizeof(long), "timeval is the client library's");

constexpr timeval CONNECT_TIMEOUT{0, 500000};

timeval*& connectTimeout(redisContext* context) {
#if HIREDIS_MAJOR >= 1
    return context->connect_timeout;
#else
    return context->timeout;
#endif
}

// If not even the socket could be created, the context has no connection type and no address: its reconnection would
// try TCP for ever. Its descriptor number is then not its own.
void completeAddress(redisContext* context, const std::string& path) {
    if (context->connection_type == REDIS_CONN_UNIX && context->unix_sock.path != nullptr)
        return;
    context->fd = -1;
    timeval*& timeout = connectTimeout(context);
    if (timeout == nullptr) // since version 1 the client library has made it already
        timeout = static_cast<timeval*>(std::malloc(sizeof(timeval)));
    if (timeout == nullptr)
        return;
    *timeout = CONNECT_TIMEOUT;
    auto* const address = strdup(path.c_str());
    if (address == nullptr)
        return;
    context->connection_type = REDIS_CONN_UNIX;
    context->unix_sock.path = address;
}

// The client library creates its sockets without FD_CLOEXEC.
void keepFromChildren(const redisContext* context) {
    fcntl(context->fd, F_SETFD, FD_CLOEXEC);
}

// Closes the socket here and not in redisReconnect: if that fails to create a new socket, it may keep the old number,
// which may belong to another file by the next attempt.
void closeSocket(redisContext* context) {
    if (context->fd >= 0)
        close(context->fd);
    context->fd = -1;
}

// Returns null only if memory has run out; a context that could not connect is kept for the reconnection.
redisContext* connect(const std::string& path) {
    redisContext* context = redisConnectUnixWithTimeout(path.c_str(), CONNECT_TIMEOUT);
    if (context == nullptr)
        SCADA_LOG(ERROR, "[DB ] Connection error: can't allocate redis context");
    else if (context->err != 0)
        completeAddress(context, path);
    else
        SCADA_LOG(DEBUG, "[DB ] Connected to the database");
    return context;
}

bool reconnect(redisContext* context) {
    closeSocket(context);
    if (redisReconnect(context) != REDIS_OK)
        return false;
    SCADA_LOG(DEBUG, "[DB ] Reconnected to the database");
    return true;
}

bool selectDatabase(redisContext* context, unsigned char number) {
    std::array<char, 32> command{};
    static_cast<void>(std::snprintf(command.data(), command.size(), "SELECT %u", static_cast<unsigned int>(number)));
    return isOkStatus(ReplyPtr(static_cast<redisReply*>(redisCommand(context, command.data()))));
}

// Sends a command; if there is no reply, reconnects and sends it once more.
template <typename Send> redisReply* sendTwice(DatabaseBase* database, bool* reconnectNeeded, const Send& send) {
    SigpipeGuard guard;
    if (database->ensureConnected() != DatabaseBase::RESULT_OK)
        return nullptr;
    if (void* reply = send()) {
        // A write that fails gives no reply, and a connection made before this command had a guard of its own.
        guard.noneRaised();
        return static_cast<redisReply*>(reply);
    }
    *reconnectNeeded = true;
    if (database->ensureConnected() != DatabaseBase::RESULT_OK)
        return nullptr;
    void* reply = send();
    *reconnectNeeded = reply == nullptr;
    return static_cast<redisReply*>(reply);
}

} // namespace

DatabaseBase::DatabaseBase()
    : socketPath(Conf::DFN_DATABASE_SOCKET), dbNumber(static_cast<unsigned char>(Conf::DFN_DATABASE_NUMBER)),
      keyTtl(Conf::DFN_DATABASE_KEY_TTL) {}

// The connection stays open until the process ends: host programs rely on this.
DatabaseBase::~DatabaseBase() = default;

void DatabaseBase::setup(const std::string& socket, unsigned char number, unsigned int ttl) {
    socketPath = socket;
    dbNumber = number;
    keyTtl = ttl;
}

void DatabaseBase::setup(const std::string& socket, unsigned char number) {
    setup(socket, number, Conf::DFN_DATABASE_KEY_TTL);
}

int DatabaseBase::ensureConnected() {
    if (context != nullptr && !reconnectNeeded)
        return RESULT_OK;
    const SigpipeGuard guard;
    if (context == nullptr) {
        context = connect(socketPath);
        if (context == nullptr)
            return RESULT_NO_REPLY;
        if (context->err != 0) {
            reconnectNeeded = true;
            return RESULT_NO_REPLY;
        }
    }
    if (reconnectNeeded && !reconnect(context))
        return RESULT_NO_REPLY;
    keepFromChildren(context);
    reconnectNeeded = !selectDatabase(context, dbNumber);
    return reconnectNeeded ? RESULT_NO_REPLY : RESULT_OK;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the signature is given
redisReply* DatabaseBase::executeCommand(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    redisReply* reply = sendTwice(this, &reconnectNeeded, [&] {
        // Each attempt consumes its arguments.
        va_list attempt;
        va_copy(attempt, arguments);
        void* received = redisvCommand(context, format, attempt);
        va_end(attempt);
        return received;
    });
    va_end(arguments);
    return reply;
}

redisReply* DatabaseBase::executeCommandArgv(int argc, const char** argv, const unsigned int* argvlen) {
    std::vector<std::size_t> lengths;
    if (argvlen != nullptr)
        lengths.assign(argvlen, argvlen + argc);
    return sendTwice(this, &reconnectNeeded, [&] {
        return redisCommandArgv(context, argc, argv, argvlen == nullptr ? nullptr : lengths.data());
    });
}

} // namespace Kelvra::SCADA
