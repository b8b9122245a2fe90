#pragma once

#include "TempDir.h"

#include <sys/types.h>

#include <string>
#include <vector>

struct redisReply;

namespace Kelvra::SCADA::Test {

/// A real server for one test, on a Unix socket in a temporary directory. The constructor starts it; the destructor
/// ends it by its process id. Each operation throws std::runtime_error if it fails. Serves one thread at a time. The
/// server does not outlive the thread that started it.
class RedisServer {
public:
    RedisServer();
    ~RedisServer();
    RedisServer(const RedisServer&) = delete;
    RedisServer& operator=(const RedisServer&) = delete;

    /// Returns when the server answers.
    void start();
    /// Ends the server with SIGTERM, or with SIGKILL, and waits for its end.
    void stop();
    void kill();
    /// Kills the server and starts it again, empty.
    void restart();
    /// Halts the server with SIGSTOP, continues it with SIGCONT.
    void pause() const;
    void resume() const;

    const std::string& socket() const { return socketPath; }
    pid_t pid() const { return process; }

    /// Runs one command in database `number` over a separate connection. Returns its reply as text().
    std::string run(const std::vector<std::string>& command, int number = 2) const;

private:
    bool answers() const;
    void end(int signal);

    TempDir dir;
    std::string socketPath;
    pid_t process = -1;
};

/// Returns a reply as one line: (null), (nil), (status OK), (error ERR ...), (integer 1), "text", ["text", ...].
std::string text(const redisReply* reply);

} // namespace Kelvra::SCADA::Test
