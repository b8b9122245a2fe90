#include "RedisServer.h"

#include "hiredis_pointers.h"
#include "unwind_slowly.h"

#include <hiredis/hiredis.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <thread>

namespace Kelvra::SCADA::Test {

namespace {

using namespace std::chrono_literals;

constexpr auto START_LIMIT = 30s;

ContextPtr connectTo(const std::string& socket) {
    ContextPtr context(redisConnectUnix(socket.c_str()));
    return context && context->err == 0 ? std::move(context) : nullptr;
}

ReplyPtr send(redisContext* context, const std::vector<std::string>& command) {
    std::vector<const char*> arguments;
    std::vector<std::size_t> lengths;
    for (const std::string& argument : command) {
        arguments.push_back(argument.data());
        lengths.push_back(argument.size());
    }
    const int count = static_cast<int>(arguments.size());
    return ReplyPtr(static_cast<redisReply*>(redisCommandArgv(context, count, arguments.data(), lengths.data())));
}

// Runs in the child. It must not allocate, because other threads of the test may have been inside malloc.
[[noreturn]] void becomeServer(const char* const* arguments, pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(127);
    sigset_t none{};
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int nothing = open("/dev/null", O_RDWR);
    for (int standard = 0; standard < 3; ++standard)
        dup2(nothing, standard);
    execvp(arguments[0], const_cast<char* const*>(arguments));
    _exit(127);
}

std::string joined(const redisReply* reply) {
    std::string all;
    for (std::size_t i = 0; i < reply->elements; ++i)
        all += (i == 0 ? "" : ", ") + text(reply->element[i]);
    return "[" + all + "]";
}

} // namespace

RedisServer::RedisServer() : socketPath(dir / "redis.sock") {
    unwindSlowly();
    start();
}

RedisServer::~RedisServer() {
    if (process > 0)
        end(SIGKILL);
}

void RedisServer::start() {
    const char* const arguments[] = {"redis-server",
                                     "--port",
                                     "0",
                                     "--unixsocket",
                                     socketPath.c_str(),
                                     "--save",
                                     "",
                                     "--appendonly",
                                     "no",
                                     "--dir",
                                     dir.path().c_str(),
                                     nullptr};
    const pid_t parent = getpid();
    process = fork();
    if (process == 0)
        becomeServer(arguments, parent);
    const auto limit = std::chrono::steady_clock::now() + START_LIMIT;
    while (!answers()) {
        if (process < 0 || waitpid(process, nullptr, WNOHANG) == process) {
            process = -1;
            throw std::runtime_error("redis-server does not start: is it installed?");
        }
        if (std::chrono::steady_clock::now() > limit)
            throw std::runtime_error("redis-server does not answer");
        std::this_thread::sleep_for(1ms);
    }
}

void RedisServer::stop() {
    end(SIGTERM);
}

void RedisServer::kill() {
    end(SIGKILL);
}

void RedisServer::restart() {
    kill();
    start();
}

void RedisServer::pause() const {
    ::kill(process, SIGSTOP);
    int status = 0;
    if (waitpid(process, &status, WUNTRACED) != process || !WIFSTOPPED(status))
        throw std::runtime_error("redis-server does not halt");
}

void RedisServer::resume() const {
    ::kill(process, SIGCONT);
}

std::string RedisServer::run(const std::vector<std::string>& command, int number) const {
    const ContextPtr context = connectTo(socketPath);
    if (!context)
        throw std::runtime_error("no connection to " + socketPath);
    send(context.get(), {"SELECT", std::to_string(number)});
    return text(send(context.get(), command).get());
}

bool RedisServer::answers() const {
    const ContextPtr context = connectTo(socketPath);
    return context && text(send(context.get(), {"PING"}).get()) == "(status PONG)";
}

void RedisServer::end(int signal) {
    if (process <= 0)
        throw std::runtime_error("redis-server does not run");
    ::kill(process, signal);
    waitpid(process, nullptr, 0);
    process = -1;
}

std::string text(const redisReply* reply) {
    if (reply == nullptr)
        return "(null)";
    switch (reply->type) {
    case REDIS_REPLY_NIL:
        return "(nil)";
    case REDIS_REPLY_STATUS:
        return "(status " + std::string(reply->str, static_cast<std::size_t>(reply->len)) + ")";
    case REDIS_REPLY_ERROR:
        return "(error " + std::string(reply->str, static_cast<std::size_t>(reply->len)) + ")";
    case REDIS_REPLY_INTEGER:
        return "(integer " + std::to_string(reply->integer) + ")";
    case REDIS_REPLY_STRING:
        return "\"" + std::string(reply->str, static_cast<std::size_t>(reply->len)) + "\"";
    case REDIS_REPLY_ARRAY:
        return joined(reply);
    default:
        return "(type " + std::to_string(reply->type) + ")";
    }
}

} // namespace Kelvra::SCADA::Test
