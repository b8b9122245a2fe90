#pragma once

#include "TempDir.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Kelvra::SCADA::Test {

/// A peer on a Unix socket that answers as its script says, and keeps what it receives. Serves any thread.
class ScriptedRedis {
public:
    /// What happens after one command: the bytes go out, those from `pauseAt` on after the pause.
    struct Answer {
        std::string bytes = {}; ///< none: it stays silent
        bool thenClose = false;
        std::size_t pauseAt = 0;
        std::chrono::milliseconds pause{0};
    };

    /// Says the answer to a command, both counted from 0, the command within its connection. Called on the peer's
    /// thread.
    using Script = std::function<Answer(std::size_t connection, std::size_t command)>;

    explicit ScriptedRedis(Script script, bool recording = true);
    ~ScriptedRedis();
    ScriptedRedis(const ScriptedRedis&) = delete;
    ScriptedRedis& operator=(const ScriptedRedis&) = delete;

    const std::string& socket() const { return socketPath; }

    /// The bytes received on each connection so far.
    std::vector<std::string> received() const;
    /// How many connections have been made.
    std::size_t connections() const;

    /// Returns whether, within ten seconds, so many whole commands have come in, over all connections, and have been
    /// answered.
    bool waitForCommands(std::size_t count);

    /// Writes bytes that no command asked for to the newest connection.
    void send(const std::string& bytes);
    /// Closes all connections; further ones are served.
    void drop();

private:
    struct Connection {
        std::size_t number;
        std::size_t commands;
        std::string unread;
    };

    void serve();
    void acceptOne();
    bool readFrom(int descriptor, Connection* connection);
    bool answerAll(int descriptor, Connection* connection);
    bool pauseFor(std::chrono::milliseconds time) const;

    TempDir dir;
    std::string socketPath;
    Script script;
    bool recording;
    int listener;
    int wakeUp[2];
    std::map<int, Connection> open;
    mutable std::mutex mutex;
    std::condition_variable progress;
    std::vector<std::string> records;
    std::size_t accepted = 0;
    std::size_t answered = 0;
    int newest = -1;
    std::thread thread;
};

/// The script of a peer that goes through a list of answers in each connection and then stays silent; connections
/// beyond the last list follow the last.
ScriptedRedis::Script answers(std::vector<std::vector<ScriptedRedis::Answer>> perConnection);

/// The bytes of a command as a client sends them.
std::string encoded(const std::vector<std::string>& arguments);

} // namespace Kelvra::SCADA::Test
