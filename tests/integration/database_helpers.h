#pragma once

#include "FakeSupport.h"
#include "RedisServer.h"
#include "hiredis_pointers.h"

#include <kelvra/Logger.h>
#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>

#include <hiredis/hiredis.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Gives access to the protected members of a database object.
template <typename Object> class Opened : public Object {
public:
    using Object::context;
    using Object::dbNumber;
    using Object::keyTtl;
    using Object::reconnectNeeded;
    using Object::socketPath;
    using Object::valueBuffer;

    int descriptor() const { return this->context->fd; }
};

/// The answer with which a server accepts a command.
constexpr const char* OK = "+OK\r\n";

inline FakeSupport::LogLine debugLine(const std::string& text) {
    return {Logger::PrintLevel::DEBUG_LEVEL, Logger::PrintLevel::DEBUG_LABEL, text};
}

inline FakeSupport::LogLine connectedLine() {
    return debugLine("[DB ] Connected to the database");
}

inline FakeSupport::LogLine reconnectedLine() {
    return debugLine("[DB ] Reconnected to the database");
}

inline std::chrono::milliseconds since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

/// A subscriber whose loop runs on its own thread and records the messages. The destructor stops and joins it.
class Watch {
public:
    explicit Watch(const std::string& socket, unsigned char number = 2);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    Opened<DatabaseSubscriber> subscriber;

    void start();
    /// Stops the loop, unless it has ended, and waits for its end. Returns the loop's result and how long that took.
    int stop();
    int join();
    std::chrono::milliseconds stopTime() const { return lastStopTime; }
    std::thread& thread() { return runner; }

    /// Returns whether so many messages arrive within ten seconds.
    bool waitFor(std::size_t count);
    /// Returns whether a message with the text `wanted` arrives within ten seconds.
    bool waitFor(const std::string& wanted);
    std::vector<std::string> messages();

    /// Runs on the loop's thread after each message.
    std::function<void()> onMessage;

private:
    static void receive(redisReply* reply, void* self);

    std::thread runner;
    std::mutex mutex;
    std::condition_variable arrival;
    std::vector<std::string> texts;
    std::chrono::milliseconds lastStopTime{0};
    int result = -1;
};

/// Runs `body` in a child process. Returns its wait status: 0 if `body` returned true.
int runChild(const std::function<bool()>& body);

/// Makes a failed condition in a child's `body` visible: writes `what` to stderr if it is false, and returns it.
bool holds(bool condition, const char* what);

/// Returns the descriptors that this process has open, with their targets.
std::vector<std::string> openDescriptors();

} // namespace Kelvra::SCADA::Test
