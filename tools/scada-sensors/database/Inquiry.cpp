#include "database/Inquiry.h"

#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace Kelvra::SCADA::Tool {

namespace {

// The client library takes only the first 107 bytes of a longer path, perhaps with a stray one after them: another
// socket.
constexpr std::size_t LONGEST_PATH = 106;

// The names that the packages of the distribution give to the server and its files.
constexpr const char* STATE_OF_SERVICE = "systemctl status redis-server";
constexpr const char* START_OF_SERVICE = "sudo systemctl start redis-server";
constexpr const char* LOG_OF_SERVICE = "sudo journalctl -u redis-server -n 50";
constexpr const char* PROCESS_OF_SERVER = "ps -o pid,stat,time,args -C redis-server";
constexpr const char* PASSWORD_OF_SERVER = "sudo grep -n requirepass /etc/redis/redis.conf";
constexpr const char* LISTENERS = "sudo ss -xlp";

ServerFault silence(const std::string& path, const TimeLimit& limit) {
    return {
        filled("The server at [%s] did not answer within %s. It may be halted or busy: look at it, or raise --wait.",
               {path, counted(limit.seconds, "second")}),
        PROCESS_OF_SERVER};
}

int millisecondsLeft(const TimeLimit& limit) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(limit.end - TimeLimit::Clock::now()).count();
    return static_cast<int>(std::max<milliseconds::rep>(left, 0));
}

// Connecting waits while the server's queue is full, as the queue of a halted server eventually is.
void limitConnecting(int descriptor, const TimeLimit& limit) {
    const long left = std::max(millisecondsLeft(limit), 1);
    timeval time{};
    time.tv_sec = left / 1000;
    time.tv_usec = left % 1000 * 1000;
    setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time));
}

ServerFault reasonOfConnecting(int error, const std::string& path, const TimeLimit& limit) {
    const std::string mode = "ls -l " + shellWord(path);
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return {filled("There is no socket [%s]. Start the server, or correct --socket.", {path}), STATE_OF_SERVICE};
    case ECONNREFUSED:
        return {filled("Nobody listens at the socket [%s]. Start the server, or correct --socket.", {path}),
                START_OF_SERVICE};
    case EACCES:
    case EPERM:
        return {filled("You may not use the socket [%s]. Run the tool as a user who may write it.", {path}), mode};
    case EAGAIN:
        return silence(path, limit);
    default:
        return {filled("The socket [%s] cannot be used: %s. Correct --socket.", {path, reasonOf(error)}), mode};
    }
}

// Recognises an error that keeps every command from being carried out. The command itself finds the others.
ServerFault commonFault(const std::string& error, const std::string& path) {
    if (startsWith(error, "NOAUTH"))
        return {filled("The server at [%s] wants a password, and the library has none. Remove requirepass from its "
                       "configuration.",
                       {path}),
                PASSWORD_OF_SERVER, true};
    if (startsWith(error, "LOADING"))
        return {filled("The server at [%s] is still loading its data. Try again in a moment.", {path}),
                serverCommand("info persistence"), true};
    return {};
}

ServerFault selectionFault(const std::string& error, const std::string& path) {
    const std::string number = std::to_string(Env::inst().conf().getDfnDatabaseNumber());
    if (error.find("DB index") != std::string::npos)
        return {filled("The server at [%s] has no database %s: %s. Correct --db, or the number of its databases.",
                       {path, number, error}),
                serverCommand("config get databases"), true};
    return {filled("The server at [%s] does not let database %s be used: %s. Look at its configuration.",
                   {path, number, error}),
            serverCommand("acl list"), true};
}

} // namespace

void EncodedCommands::begin(std::size_t words) {
    bytes.append(1, '*').append(std::to_string(words)).append("\r\n");
}

void EncodedCommands::addWord(std::string_view word) {
    bytes.append(1, '$').append(std::to_string(word.size())).append("\r\n").append(word).append("\r\n");
}

void Inquiry::FreeReader::operator()(redisReader* owned) const {
    redisReaderFree(owned);
}

Inquiry::Inquiry(const TimeLimit& timeLimit)
    : path(Env::inst().conf().getDfnDatabaseSocket()), limit(timeLimit),
      peer(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), reader(redisReaderCreate()) {}

ServerFault Inquiry::open() const {
    ServerFault fault = connect();
    return fault.empty() ? select() : fault;
}

ServerFault Inquiry::select() const {
    ReplyPtr reply;
    ServerFault fault = ask({"SELECT", std::to_string(Env::inst().conf().getDfnDatabaseNumber())}, &reply);
    if (!fault.empty())
        return fault;
    if (const std::string error = errorOf(reply); !error.empty()) {
        fault = commonFault(error, path);
        return fault.empty() ? selectionFault(error, path) : fault;
    }
    // A server that is loading accepts the selection of a database, but carries out no command.
    fault = ask({"PING"}, &reply);
    return fault.empty() ? commonFault(errorOf(reply), path) : fault;
}

ServerFault Inquiry::connect() const {
    if (path.size() > LONGEST_PATH)
        return {filled("The path of the socket has %s bytes, more than %s: [%s]. Give a shorter one, as a link to it.",
                       {std::to_string(path.size()), std::to_string(LONGEST_PATH), path}),
                "sudo ln -s " + shellWord(path) + " /run/redis.sock"};
    if (!peer.isOpen() || !reader)
        return reasonOfConnecting(errno, path, limit);
    limitConnecting(peer.number(), limit);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, LONGEST_PATH);
    if (::connect(peer.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
        return {};
    return reasonOfConnecting(errno, path, limit);
}

// A server that refuses a connection says why before it closes it. Therefore its reply is read even after a failed
// write.
void Inquiry::send(const EncodedCommands& commands) const {
    const std::string& bytes = commands.text();
    static_cast<void>(::send(peer.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

ServerFault Inquiry::ask(const std::vector<std::string>& command, ReplyPtr* reply) const {
    EncodedCommands commands;
    commands.add(command);
    send(commands);
    return receive(reply);
}

ServerFault Inquiry::receive(ReplyPtr* reply) const {
    for (;;) {
        void* whole = nullptr;
        if (redisReaderGetReply(reader.get(), &whole) != REDIS_OK)
            return {
                filled("What listens at [%s] does not speak the protocol of the database. Correct --socket.", {path}),
                LISTENERS};
        if (whole != nullptr) {
            reply->reset(static_cast<redisReply*>(whole));
            return {};
        }
        if (ServerFault failure = receiveBytes(); !failure.empty())
            return failure;
    }
}

ServerFault Inquiry::receiveBytes() const {
    std::array<char, 16384> bytes;
    pollfd readable{peer.number(), POLLIN, 0};
    if (poll(&readable, 1, millisecondsLeft(limit)) == 0)
        return silence(path, limit);
    const ssize_t size = recv(peer.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (size > 0)
        redisReaderFeed(reader.get(), bytes.data(), static_cast<std::size_t>(size));
    const bool comesLater = size < 0 && (errno == EAGAIN || errno == EINTR);
    if (size > 0 || comesLater)
        return {};
    return {filled("The server at [%s] closed the connection. Look at its log.", {path}), LOG_OF_SERVICE};
}

std::string serverCommand(const std::string& words) {
    return "redis-cli -s " + shellWord(Env::inst().conf().getDfnDatabaseSocket()) + " " + words;
}

std::string errorOf(const ReplyPtr& reply) {
    return reply->type == REDIS_REPLY_ERROR ? std::string(reply->str, static_cast<std::size_t>(reply->len)) : "";
}

} // namespace Kelvra::SCADA::Tool
