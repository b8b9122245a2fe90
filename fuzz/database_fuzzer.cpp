// The bytes are a server's answers: to one command, over at most two connections, or to a subscriber. The library's
// result must equal that of the client library's own parser.
//
// Byte 0 selects the operation, byte 1 how much of the rest goes to the first connection; the second connection has the
// rest. Both end there. Unless byte 0 is 128 or more, the selection of the database has been answered with success
// before.

#include "Workspace.h"
#include "hiredis_pointers.h"

#include <kelvra/LoggerControl.h>
#include <scada/Database.h>
#include <scada/DatabaseSubscriber.h>

#include <dlfcn.h>
#include <hiredis/hiredis.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <functional>
#include <memory>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;
using Test::ReplyPtr;

// The server's side. Its answers are ready in each connection before the client sends anything.
class Peer {
public:
    Peer() {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        require(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
                    listen(listener, 10) == 0,
                "a listening socket");
    }

    void begin(std::array<std::string, 2> answers) {
        bytes = std::move(answers);
        connections = 0;
        onThird = nullptr;
    }

    // Call this after each connection of the client.
    void welcome() {
        if (ending >= 0)
            close(ending);
        ending = accept(listener, nullptr, nullptr);
        require(ending >= 0, "an accepted connection");
        const std::string answer = connections < bytes.size() ? bytes[connections] : "";
        require(send(ending, answer.data(), answer.size(), 0) == static_cast<ssize_t>(answer.size()), "sent answers");
        shutdown(ending, SHUT_WR);
        if (++connections > bytes.size() && onThird)
            onThird();
    }

    Fuzz::Workspace workspace;
    const std::string path = workspace / "peer.sock";
    std::function<void()> onThird;

private:
    int listener = -1;
    int ending = -1;
    std::array<std::string, 2> bytes;
    std::size_t connections = 0;
};

Peer& peer() {
    static Peer instance;
    return instance;
}

template <typename Function> Function* next(const char* symbol) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, symbol));
}

} // namespace

// These replace the client library's own.

extern "C" __attribute__((visibility("default"))) redisContext* redisConnectUnixWithTimeout(const char* path,
                                                                                            const timeval tv) {
    static auto* const real = next<redisContext*(const char*, timeval)>("redisConnectUnixWithTimeout");
    redisContext* const context = real(path, tv);
    require(context != nullptr && context->err == 0, "a connection");
    peer().welcome();
    return context;
}

extern "C" __attribute__((visibility("default"))) int redisReconnect(redisContext* context) {
    static auto* const real = next<int(redisContext*)>("redisReconnect");
    require(real(context) == REDIS_OK, "a reconnection");
    peer().welcome();
    return REDIS_OK;
}

// A subscriber pauses before it tries again; here the pause is left out.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* /*time*/, timespec* /*left*/) {
    return 0;
}

namespace {

// The library leaves the connection open; this closes it at the end of the run.
template <typename Object> struct Ending : Object {
    Ending() { this->setup(peer().path, 2, 60); }
    ~Ending() override {
        if (this->context != nullptr)
            redisFree(this->context);
    }
};

struct Outputs {
    std::string text = "untouched";
    float real = -1.5F;
    bool truth = true;
    unsigned int positive = 7;
    int number = -7;
};

bool isOk(const redisReply& reply) {
    return reply.type == REDIS_REPLY_STATUS && strcasecmp(reply.str, "ok") == 0;
}

int resultOfRead(const redisReply& reply) {
    if (reply.type == REDIS_REPLY_NIL)
        return 1;
    return reply.type == REDIS_REPLY_STRING ? 0 : 2;
}

int resultOfCount(const redisReply& reply) {
    return reply.type == REDIS_REPLY_INTEGER ? 0 : 255;
}

int resultOfPop(const redisReply& reply) {
    if (reply.type == REDIS_REPLY_NIL)
        return 4;
    const bool pair = reply.type == REDIS_REPLY_ARRAY && reply.elements == 2 && reply.element[1]->str != nullptr;
    return pair ? 0 : 255;
}

int resultOfStatus(const redisReply& reply) {
    return isOk(reply) ? 0 : 255;
}

struct Operation {
    int (*run)(Database& db, Outputs& out);
    int (*result)(const redisReply& reply);
    bool converts; ///< success may still turn into 2
};

const std::array<Operation, 12> OPERATIONS{{
    {[](Database& db, Outputs& out) { return db.hget("k", "f", &out.text); }, resultOfRead, false},
    {[](Database& db, Outputs&) { return db.hget("k", "f", nullptr); }, resultOfRead, false},
    {[](Database& db, Outputs& out) { return db.hgetFloat("k", "f", &out.real); }, resultOfRead, true},
    {[](Database& db, Outputs& out) { return db.hgetBool("k", "f", &out.truth); }, resultOfRead, true},
    {[](Database& db, Outputs& out) { return db.hgetUint32("k", "f", &out.positive); }, resultOfRead, true},
    {[](Database& db, Outputs& out) { return db.hgetInt32("k", "f", &out.number); }, resultOfRead, true},
    {[](Database& db, Outputs&) { return db.hset("k", "f", "v"); }, resultOfCount, false},
    {[](Database& db, Outputs&) { return db.expire("k"); }, resultOfCount, false},
    {[](Database& db, Outputs&) { return db.lpush("k", "v"); }, resultOfCount, false},
    {[](Database& db, Outputs&) { return db.hdel("k", {"f"}); }, resultOfCount, false},
    {[](Database& db, Outputs& out) { return db.brpop("k", 1, &out.text); }, resultOfPop, false},
    {[](Database& db, Outputs&) {
         return db.hmset("k", {{"f", "v"}});
     },
     resultOfStatus, false},
}};

struct FreeReader {
    void operator()(redisReader* reader) const { redisReaderFree(reader); }
};

// The replies of one connection: to the selection, and to the command after a successful one.
struct Exchange {
    bool selected = false;
    ReplyPtr reply;
};

Exchange exchangeIn(const std::string& bytes) {
    const std::unique_ptr<redisReader, FreeReader> reader(redisReaderCreate());
    redisReaderFeed(reader.get(), bytes.data(), bytes.size());
    void* reply = nullptr;
    Exchange exchange;
    if (redisReaderGetReply(reader.get(), &reply) != REDIS_OK || reply == nullptr)
        return exchange;
    exchange.selected = isOk(*ReplyPtr(static_cast<redisReply*>(reply)));
    reply = nullptr;
    if (exchange.selected)
        redisReaderGetReply(reader.get(), &reply);
    exchange.reply.reset(static_cast<redisReply*>(reply));
    return exchange;
}

void checkOutputs(int result, const Outputs& out) {
    require(out.text.find('\0') == std::string::npos, "texts end at their first zero byte");
    require(result == 0 || (out.text == "untouched" && out.real == -1.5F && out.truth),
            "outputs stay untouched on failure");
}

void runCommand(const Operation& operation, const std::array<std::string, 2>& bytes) {
    Exchange exchange = exchangeIn(bytes[0]);
    // A command is tried again, but a first selection is not.
    if (!exchange.reply && exchange.selected)
        exchange = exchangeIn(bytes[1]);
    const int expected = exchange.reply ? operation.result(*exchange.reply) : 3;

    Ending<Database> db;
    Outputs out;
    const int result = operation.run(db, out);
    require(result == expected || (operation.converts && expected == 0 && result == 2), "the code of the reply");
    checkOutputs(result, out);
}

std::size_t lengthOfAll(const redisReply& reply) {
    std::size_t length = reply.str == nullptr ? 0 : std::string(reply.str, static_cast<std::size_t>(reply.len)).size();
    for (std::size_t i = 0; i < reply.elements; ++i)
        length += lengthOfAll(*reply.element[i]);
    return length;
}

void readMessage(redisReply* reply, void* total) {
    require(reply != nullptr, "a message");
    *static_cast<std::size_t*>(total) += lengthOfAll(*reply);
}

void runSubscriber(const std::array<std::string, 2>& bytes) {
    Ending<DatabaseSubscriber> subscriber;
    std::size_t total = 0;
    peer().onThird = [&] { subscriber.stop(); };
    require(subscriber.loop(readMessage, &total) == 0, "the loop's result");
    require(total <= bytes[0].size() + bytes[1].size(), "no message is read twice");
}

// An array is allocated when its length is read: lengths beyond those of a real server say nothing about this library.
bool asksForTooMuch(const std::string& bytes) {
    for (std::size_t at = bytes.find('*'); at != std::string::npos; at = bytes.find('*', at + 1)) {
        std::size_t end = at + 1;
        while (end < bytes.size() && (std::isdigit(static_cast<unsigned char>(bytes[end])) != 0 || bytes[end] == '+'))
            ++end;
        if (end - at > 6)
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 65536)
        return 0;
    const std::string rest(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::size_t cut = rest.size() * data[1] / 255;
    std::array<std::string, 2> bytes{rest.substr(0, cut), rest.substr(cut)};
    if (asksForTooMuch(rest) || asksForTooMuch(bytes[1]))
        return 0;
    if (data[0] < 128)
        for (std::string& connection : bytes)
            connection.insert(0, "+OK\r\n");
    peer().begin(bytes);
    const std::size_t operation = data[0] % (OPERATIONS.size() + 1);
    if (operation < OPERATIONS.size())
        runCommand(OPERATIONS[operation], bytes);
    else
        runSubscriber(bytes);
    return 0;
}
