#pragma once

#include <scada/export.h>

#include <string>

struct redisContext;
struct redisReply;

namespace Kelvra {
namespace SCADA {

/// One connection to the local Redis server over its Unix socket, with one reconnection and one retry per command.
/// Connects on demand, with the settings of setup() or the defaults of Conf; it does not read Env. A command has no
/// time limit of its own. The destructor leaves the connection open and its memory allocated until the process ends.
/// A child process made by fork() shares the socket and may take replies meant for the parent: create new objects in
/// the child. Serves one thread at a time. During a call, SIGPIPE is blocked on the calling thread; the host does not
/// receive it.
class SCADA_EXPORT DatabaseBase {
public:
    /// The result of a database operation.
    enum Result {
        RESULT_OK = 0,          ///< success
        RESULT_NOT_FOUND = 1,   ///< the hash field or key does not exist
        RESULT_BAD_VALUE = 2,   ///< the reply was not a string, or its text does not convert to the requested type
        RESULT_NO_REPLY = 3,    ///< no connection, or the command failed twice
        RESULT_TIMEOUT = 4,     ///< brpop only: nothing to pop within the timeout
        RESULT_UNEXPECTED = 255 ///< a reply of an unexpected type or content
    };

    /// Does not connect yet.
    DatabaseBase();
    /// Leaves the connection open until the process ends.
    virtual ~DatabaseBase();
    DatabaseBase(const DatabaseBase&) = delete;
    DatabaseBase& operator=(const DatabaseBase&) = delete;

    /// Sets the socket path, the number of the logical database and the default expiry in seconds. An existing
    /// connection stays as it is: a new number takes effect at the next reconnection, a new path only before the first
    /// attempt to connect. REQUIRES: a path of at most 106 bytes. Of a longer path the client library uses 107 bytes,
    /// possibly followed by a stray one.
    void setup(const std::string& socket, unsigned char number, unsigned int ttl);
    /// Like the above, with the expiry Conf::DFN_DATABASE_KEY_TTL, whatever it was before.
    void setup(const std::string& socket, unsigned char number);

    /// Without a connection, connects and selects the logical database. Returns RESULT_OK or RESULT_NO_REPLY. An
    /// existing connection is not probed: a lost server is noticed by the next command.
    int ensureConnected();

    /// Runs a command, given as a hiredis format string and its arguments; sends it a second time if the first attempt
    /// gets no reply. Returns the reply, which may be an error reply, or null if there is none. The caller releases the
    /// reply with freeReplyObject.
    redisReply* executeCommand(const char* format, ...);

    /// Like executeCommand, for an array of `argc` arguments of `argvlen` bytes each. If `argvlen` is null, each
    /// argument ends at its NUL.
    redisReply* executeCommandArgv(int argc, const char** argv, const unsigned int* argvlen);

protected:
    std::string socketPath;          ///< Unix socket of the server
    unsigned char dbNumber;          ///< logical database
    unsigned int keyTtl;             ///< default expiry, in seconds
    redisContext* context = nullptr; ///< the connection; null before the first attempt
    bool reconnectNeeded = false;    ///< the next command reconnects first
    std::string valueBuffer;         ///< scratch space for values that are about to be converted
};

} // namespace SCADA
} // namespace Kelvra
