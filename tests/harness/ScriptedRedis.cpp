#include "ScriptedRedis.h"

#include "unwind_slowly.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace Kelvra::SCADA::Test {

namespace {

int listenOn(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(descriptor, 100) != 0)
        throw std::runtime_error("cannot listen on " + path);
    return descriptor;
}

bool writeAll(int descriptor, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::send(descriptor, bytes, size, MSG_NOSIGNAL);
        if (written <= 0)
            return false;
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

// Reads "*2" or "$5" and its line end at `*at`, and moves past it. Returns false if the line is not complete yet.
bool readNumber(const std::string& bytes, std::size_t* at, std::size_t* number) {
    const std::size_t end = bytes.find("\r\n", *at);
    if (end == std::string::npos)
        return false;
    *number = std::strtoul(bytes.c_str() + *at + 1, nullptr, 10);
    *at = end + 2;
    return true;
}

// Returns the length of the command that `bytes` begins with, or 0 if it is not complete yet.
std::size_t commandLength(const std::string& bytes) {
    std::size_t at = 0;
    std::size_t count = 0;
    if (!readNumber(bytes, &at, &count))
        return 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t length = 0;
        if (!readNumber(bytes, &at, &length))
            return 0;
        at += length + 2;
    }
    return at <= bytes.size() ? at : 0;
}

} // namespace

ScriptedRedis::ScriptedRedis(Script peerScript, bool recordingOn)
    : socketPath(dir / "peer.sock"), script(std::move(peerScript)), recording(recordingOn),
      listener(listenOn(socketPath)), wakeUp{-1, -1} {
    unwindSlowly();
    if (pipe2(wakeUp, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    thread = std::thread([this] { serve(); });
}

ScriptedRedis::~ScriptedRedis() {
    close(wakeUp[1]);
    thread.join();
    close(wakeUp[0]);
    for (const auto& connection : open)
        close(connection.first);
}

std::vector<std::string> ScriptedRedis::received() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return records;
}

std::size_t ScriptedRedis::connections() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return accepted;
}

bool ScriptedRedis::waitForCommands(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    return progress.wait_for(lock, std::chrono::seconds(10), [&] { return answered >= count; });
}

void ScriptedRedis::send(const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!writeAll(newest, bytes.data(), bytes.size()))
        throw std::runtime_error("nobody to send to");
}

void ScriptedRedis::drop() {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto& connection : open)
        shutdown(connection.first, SHUT_RDWR);
}

void ScriptedRedis::serve() {
    for (;;) {
        std::vector<pollfd> wanted{{wakeUp[0], POLLIN, 0}, {listener, POLLIN, 0}};
        for (const auto& connection : open)
            wanted.push_back({connection.first, POLLIN, 0});
        poll(wanted.data(), wanted.size(), -1);
        if (wanted[0].revents != 0)
            break;
        for (std::size_t i = 2; i < wanted.size(); ++i) {
            const int descriptor = wanted[i].fd;
            if (wanted[i].revents == 0 || readFrom(descriptor, &open.at(descriptor)))
                continue;
            const std::lock_guard<std::mutex> lock(mutex);
            open.erase(descriptor);
            close(descriptor);
        }
        if (wanted[1].revents != 0)
            acceptOne();
    }
    close(listener);
}

void ScriptedRedis::acceptOne() {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (descriptor < 0)
        return;
    const std::lock_guard<std::mutex> lock(mutex);
    open[descriptor] = {accepted, 0, {}};
    newest = descriptor;
    ++accepted;
    if (recording)
        records.emplace_back();
}

// Returns false if the connection has ended.
bool ScriptedRedis::readFrom(int descriptor, Connection* connection) {
    std::array<char, 16384> buffer{};
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    if (size <= 0)
        return false;
    const std::string bytes(buffer.data(), static_cast<std::size_t>(size));
    connection->unread += bytes;
    if (recording) {
        const std::lock_guard<std::mutex> lock(mutex);
        records[connection->number] += bytes;
    }
    return answerAll(descriptor, connection);
}

bool ScriptedRedis::answerAll(int descriptor, Connection* connection) {
    bool goesOn = true;
    for (std::size_t length = 0; goesOn && (length = commandLength(connection->unread)) > 0;) {
        connection->unread.erase(0, length);
        const Answer answer = script(connection->number, connection->commands++);
        const std::size_t first = std::min(answer.pauseAt, answer.bytes.size());
        goesOn = writeAll(descriptor, answer.bytes.data(), first) && pauseFor(answer.pause) &&
                 writeAll(descriptor, answer.bytes.data() + first, answer.bytes.size() - first) && !answer.thenClose;
        const std::lock_guard<std::mutex> lock(mutex);
        ++answered;
        progress.notify_all();
    }
    return goesOn;
}

// Returns false if the peer ends meanwhile.
bool ScriptedRedis::pauseFor(std::chrono::milliseconds time) const {
    pollfd end{wakeUp[0], POLLIN, 0};
    return time.count() == 0 || poll(&end, 1, static_cast<int>(time.count())) == 0;
}

ScriptedRedis::Script answers(std::vector<std::vector<ScriptedRedis::Answer>> perConnection) {
    return [lists = std::move(perConnection)](std::size_t connection, std::size_t command) {
        const auto& list = lists[std::min(connection, lists.size() - 1)];
        return command < list.size() ? list[command] : ScriptedRedis::Answer();
    };
}

std::string encoded(const std::vector<std::string>& arguments) {
    std::string bytes = "*" + std::to_string(arguments.size()) + "\r\n";
    for (const std::string& argument : arguments)
        bytes += "$" + std::to_string(argument.size()) + "\r\n" + argument + "\r\n";
    return bytes;
}

} // namespace Kelvra::SCADA::Test
