// The first byte chooses an operation, the others are what the peer answers it with, on every attempt. Whatever they
// are, the operation returns one of its codes, and on failure leaves its output as it was.

#include "Workspace.h"

#include <kelvra/LoggerControl.h>
#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;

// Lets every connection select its database, sends the answer at once and then nothing more.
class Peer {
public:
    Peer() : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        require(path.size() < sizeof address.sun_path, "the path of the socket is short");
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        require(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                    listen(listener, 8) == 0,
                "the peer listens");
        thread = std::thread([this] { serve(); });
    }
    ~Peer() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void answerWith(std::string bytes) {
        const std::lock_guard<std::mutex> lock(mutex);
        answer = "+OK\r\n" + std::move(bytes);
    }

    const std::string& socketPath() const { return path; }

private:
    // The connection before is kept until the next one, so that what the client still writes meets an open socket.
    void serve() {
        int previous = -1;
        for (int connection = accept(listener, nullptr, nullptr); connection >= 0;
             connection = accept(listener, nullptr, nullptr)) {
            sendAnswer(connection);
            if (previous >= 0)
                close(previous);
            previous = connection;
        }
        if (previous >= 0)
            close(previous);
    }

    void sendAnswer(int connection) {
        const std::lock_guard<std::mutex> lock(mutex);
        const ssize_t sent = send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
        require(sent == static_cast<ssize_t>(answer.size()), "the answer fits the socket's buffer");
        shutdown(connection, SHUT_WR);
    }

    Fuzz::Workspace workspace;
    const std::string path = workspace / "redis.sock";
    int listener;
    std::mutex mutex;
    std::string answer;
    std::thread thread;
};

// Starts every input with a new connection.
class Client : public Database {
public:
    void disconnect() { reconnectNeeded = context != nullptr; }
};

class Subscriber : public DatabaseSubscriber {
public:
    void disconnect() { reconnectNeeded = context != nullptr; }
};

struct Setting {
    Setting() {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        client.setup(peer.socketPath(), 2);
        subscriber.setup(peer.socketPath(), 2);
    }
    Peer peer;
    Client client;
    Subscriber subscriber;
};

bool isOneOf(int result, std::initializer_list<int> codes) {
    for (const int code : codes)
        if (result == code)
            return true;
    return false;
}

template <typename Value, typename Read> void readTyped(Value untouched, Read read) {
    Value value = untouched;
    const int result = read(&value);
    require(isOneOf(result, {0, 1, 2, 3}), "a read returns one of its codes");
    require(result == 0 || value == untouched, "a failed read leaves its output as it was");
}

void runOperation(unsigned int operation, Client* client, Subscriber* subscriber) {
    switch (operation % 13) {
    case 0:
        return readTyped<std::string>("untouched", [&](auto* out) { return client->hget("k", "f", out); });
    case 1:
        return readTyped<float>(-1.5F, [&](auto* out) { return client->hgetFloat("k", "f", out); });
    case 2:
        return readTyped<bool>(true, [&](auto* out) { return client->hgetBool("k", "f", out); });
    case 3: {
        unsigned int value = 0;
        return require(isOneOf(client->hgetUint32("k", "f", &value), {0, 1, 2, 3}), "hgetUint32 returns its codes");
    }
    case 4: {
        int value = 0;
        return require(isOneOf(client->hgetInt32("k", "f", &value), {0, 1, 2, 3}), "hgetInt32 returns its codes");
    }
    case 5:
        return require(isOneOf(client->hset("k", "f", "v"), {0, 3, 255}), "hset returns its codes");
    case 6:
        return require(isOneOf(client->expire("k", 5), {0, 3, 255}), "expire returns its codes");
    case 7:
        return require(isOneOf(client->expire("k"), {0, 3, 255}), "expire returns its codes");
    case 8:
        return require(isOneOf(client->lpush("k", "v"), {0, 3, 255}), "lpush returns its codes");
    case 9: {
        std::string value = "untouched";
        const int result = client->brpop("k", 1, &value);
        require(isOneOf(result, {0, 3, 4, 255}), "brpop returns its codes");
        return require(result == 0 || value == "untouched", "a failed brpop leaves its output as it was");
    }
    case 10:
        return require(isOneOf(client->hmset("k", {{"f", "v"}}), {0, 3, 255}), "hmset returns its codes");
    case 11:
        return require(isOneOf(client->hdel("k", {"f"}), {0, 3, 255}), "hdel returns its codes");
    default:
        return require(isOneOf(subscriber->subscribe(), {0, 3, 255}), "subscribe returns its codes");
    }
}

// hiredis allocates an array of whatever length the peer announces: out of memory is no finding about us.
bool announcesHugeArray(const std::string& answer) {
    for (std::string::size_type star = answer.find('*'); star != std::string::npos; star = answer.find('*', star + 1))
        if (answer.find_first_not_of("+0123456789", star + 1) - star > 5)
            return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Setting setting;
    if (size == 0)
        return 0;
    std::string answer(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (announcesHugeArray(answer))
        return 0;
    setting.peer.answerWith(std::move(answer));
    setting.client.disconnect();
    setting.subscriber.disconnect();
    runOperation(data[0], &setting.client, &setting.subscriber);
    return 0;
}
