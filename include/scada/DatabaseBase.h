#pragma once

#include <scada/export.h>

#include <string>

struct redisContext;
struct redisReply;

namespace Kelvra {
namespace SCADA {

/// One connection to the local Redis server over its Unix socket, with one reconnection and one retry per command.
/// Connects on demand to what setup() says, by default to the Conf constants; Env is not read. A command has no time
/// limit of its own. The destructor leaves the connection open and its memory allocated until the process ends.
/// A child made by fork() shares the socket, and replies go to whoever reads first: it must make objects of its own.
/// Serves one thread at a time. SIGPIPE is held back on the calling thread during a call; the host sees none of it.
class SCADA_EXPORT DatabaseBase {
public:
    /// What the database operations return.
    enum Result {
        RESULT_OK = 0,          ///< success
        RESULT_NOT_FOUND = 1,   ///< the hash field or key does not exist
        RESULT_BAD_VALUE = 2,   ///< the reply was no string, or its text does not convert to the requested type
        RESULT_NO_REPLY = 3,    ///< no connection, or the command failed twice
        RESULT_TIMEOUT = 4,     ///< brpop only: nothing to pop within the timeout
        RESULT_UNEXPECTED = 255 ///< a reply of an unexpected type or content
    };

    /// Makes no connection yet.
    DatabaseBase();
    /// Leaves the connection open until the process ends.
    virtual ~DatabaseBase();
    DatabaseBase(const DatabaseBase&) = delete;
    DatabaseBase& operator=(const DatabaseBase&) = delete;

    /// Sets the socket path, the logical database and the default expiry in seconds. An existing connection stays: a
    /// new number counts from the next reconnection on, a new path only before the first attempt to connect. A path
    /// has at most 106 bytes: of a longer one the client library takes 107, perhaps with a stray one after them.
    void setup(const std::string& socket, unsigned char number, unsigned int ttl);
    /// The same with the expiry Conf::DFN_DATABASE_KEY_TTL, whatever it was before.
    void setup(const std::string& socket, unsigned char number);

    /// Makes sure that there is a connection with the right database selected. Returns RESULT_OK or RESULT_NO_REPLY.
    /// A connection that is there is not asked: that its server has gone shows only with the next command.
    int ensureConnected();

    /// Runs a command given as a hiredis format with its arguments, twice if need be. Returns the reply, which may be
    /// an error reply and which the caller releases with freeReplyObject; null when there is none.
    redisReply* executeCommand(const char* format, ...);

    /// The same for a vector of `argc` arguments of `argvlen` bytes each; null lengths: the arguments end at their NUL.
    redisReply* executeCommandArgv(int argc, const char** argv, const unsigned int* argvlen);

protected:
    std::string socketPath;          ///< Unix socket of the server
    unsigned char dbNumber;          ///< logical database
    unsigned int keyTtl;             ///< default expiry, in seconds
    redisContext* context = nullptr; ///< the connection; null before the first attempt
    bool reconnectNeeded = false;    ///< to be re-established before the next command
    std::string valueBuffer;         ///< scratch for values before their conversion
};

} // namespace SCADA
} // namespace Kelvra
