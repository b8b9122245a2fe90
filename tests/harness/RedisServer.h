#pragma once

#include "TempDir.h"

#include <sys/types.h>

#include <string>
#include <vector>

struct redisReply;

namespace Kelvra::SCADA::Test {

/// A real server of this test's own, on a Unix socket in a temporary directory. Starts in the constructor and ends, by
/// its process id, in the destructor. Each operation throws std::runtime_error when it cannot do what it says.
/// Serves one thread at a time. The server does not outlive the thread that started it.
class RedisServer {
public:
    RedisServer();
    ~RedisServer();
    RedisServer(const RedisServer&) = delete;
    RedisServer& operator=(const RedisServer&) = delete;

    /// Returns after the server answers.
    void start();
    /// Ends it with SIGTERM, or with SIGKILL, and waits for its end.
    void stop();
    void kill();
    /// Kills it and starts it anew, empty.
    void restart();
    /// Halts it with SIGSTOP, continues it with SIGCONT.
    void pause();
    void resume();

    const std::string& socket() const { return socketPath; }
    pid_t pid() const { return process; }

    /// Runs one command in database `number` over a connection of its own; returns its reply as text().
    std::string run(const std::vector<std::string>& command, int number = 2) const;

private:
    bool answers() const;
    void end(int signal);

    TempDir dir;
    std::string socketPath;
    pid_t process = -1;
};

/// Writes a reply on one line: (null), (nil), (status OK), (error ERR ...), (integer 1), "text", ["text", ...].
std::string text(const redisReply* reply);

} // namespace Kelvra::SCADA::Test
