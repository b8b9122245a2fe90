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

/// A peer on a Unix socket that answers according to its script and records what it receives. Any thread may call.
class ScriptedRedis {
public:
    /// The reaction to one command: the bytes are sent, those from `pauseAt` on after the pause.
    struct Answer {
        std::string bytes = {}; ///< none: it stays silent
        bool thenClose = false;
        std::size_t pauseAt = 0;
        std::chrono::milliseconds pause{0};
    };

    /// Returns the answer to a command. Connections, and the commands of each connection, are counted from 0. Called on
    /// the peer's thread.
    using Script = std::function<Answer(std::size_t connection, std::size_t command)>;

    explicit ScriptedRedis(Script script, bool recording = true);
    ~ScriptedRedis();
    ScriptedRedis(const ScriptedRedis&) = delete;
    ScriptedRedis& operator=(const ScriptedRedis&) = delete;

    const std::string& socket() const { return socketPath; }

    /// Returns the bytes received on each connection so far.
    std::vector<std::string> received() const;
    /// Returns the number of connections made so far.
    std::size_t connections() const;

    /// Returns whether, within ten seconds, so many complete commands have been received on all connections together
    /// and have been answered.
    bool waitForCommands(std::size_t count);

    /// Writes bytes that are not an answer to the newest connection.
    void send(const std::string& bytes);
    /// Closes all connections. Later connections are served.
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

/// Returns the script of a peer that goes through a list of answers in each connection and is then silent. Connections
/// beyond the last list use the last list.
ScriptedRedis::Script answers(std::vector<std::vector<ScriptedRedis::Answer>> perConnection);

/// Returns the bytes of a command as a client sends them.
std::string encoded(const std::vector<std::string>& arguments);

} // namespace Kelvra::SCADA::Test
