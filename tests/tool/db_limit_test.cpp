#include "NamedRow.h"
#include "RedisServer.h"
#include "ScriptedRedis.h"
#include "ToolTest.h"
#include "row_name.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
using Words = std::vector<std::string>;
using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

// The margin of a busy machine on top of a promised limit.
constexpr seconds ROOM(10);

class DbLimit : public ToolTest {
protected:
    // Runs a command, which must end with status 3 and nothing on stdout. Returns its message.
    std::string messageOf(const std::string& socket, Words arguments) const {
        arguments.insert(arguments.begin(), {"--socket", socket});
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.out, "");
        return replaced(result.err, socket, "$S");
    }
};

struct ReasonRow : NamedRow {
    std::function<void(RedisServer&)> arrange;
    const char* message;
};

class DbReason : public DbLimit, public ::testing::WithParamInterface<ReasonRow> {
protected:
    DbReason() { GetParam().arrange(server); }

    RedisServer server;
};

TEST_P(DbReason, isToldByAnOperation) {
    const auto start = Clock::now();
    EXPECT_EQ(messageOf(server.socket(), {"db", "set", "k", "f", "v", "--wait", "1"}),
              std::string("scada-sensors: ") + GetParam().message + "\n");
    EXPECT_LT(Clock::now() - start, seconds(1) + ROOM);
}

TEST_P(DbReason, isToldByTheWatch) {
    const auto start = Clock::now();
    EXPECT_EQ(messageOf(server.socket(), {"watch", "--timeout", "1", "--wait", "1"}),
              std::string("scada-sensors: ") + GetParam().message + "\n");
    EXPECT_LT(Clock::now() - start, seconds(1) + ROOM);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbReason,
    ::testing::Values(
        ReasonRow{"no_socket", [](RedisServer& server) { unlink(server.socket().c_str()); },
                  "There is no socket [$S]. Start the server, or correct --socket."},
        ReasonRow{"nobody_listens", [](RedisServer& server) { server.kill(); },
                  "Nobody listens at the socket [$S]. Start the server, or correct --socket."},
        ReasonRow{"no_right", [](RedisServer& server) { chmod(server.socket().c_str(), 0); },
                  "You may not use the socket [$S]. Run the tool as a user who may write it."},
        ReasonRow{"path_has_a_loop",
                  [](RedisServer& server) {
                      unlink(server.socket().c_str());
                      EXPECT_EQ(symlink("redis.sock", server.socket().c_str()), 0);
                  },
                  "The socket [$S] cannot be used: Too many levels of symbolic links. Correct --socket."},
        ReasonRow{"password",
                  [](RedisServer& server) {
                      server.run({"CONFIG", "SET", "requirepass", "secret"});
                  },
                  "The server at [$S] wants a password, and the library has none. Remove requirepass from its "
                  "configuration."},
        ReasonRow{"halted", [](RedisServer& server) { server.pause(); },
                  "The server at [$S] did not answer within 1 second. It may be halted or busy: look at it, or raise "
                  "--wait."}),
    rowName);

struct PeerRow : NamedRow {
    std::vector<std::vector<ScriptedRedis::Answer>> answers;
    const char* message;
};

class DbPeer : public DbLimit, public ::testing::WithParamInterface<PeerRow> {};

TEST_P(DbPeer, isTold) {
    ScriptedRedis peer(answers(GetParam().answers));
    const auto start = Clock::now();
    EXPECT_EQ(messageOf(peer.socket(), {"db", "get", "k", "f", "--wait", "2"}),
              std::string("scada-sensors: ") + GetParam().message + "\n");
    EXPECT_LT(Clock::now() - start, seconds(2) + ROOM);
}

const std::vector<ScriptedRedis::Answer> SOUND_ANSWERS = {{"+OK\r\n"}, {"+PONG\r\n"}};

constexpr const char* SILENT_COMMAND =
    "The server at [$S] did not answer the command within 2 seconds. It may still carry it out.";

INSTANTIATE_TEST_SUITE_P(
    Tool, DbPeer,
    ::testing::Values(
        PeerRow{"loading",
                {{{"+OK\r\n"}, {"-LOADING The server is loading the dataset in memory\r\n"}}},
                "The server at [$S] is still loading its data. Try again in a moment."},
        PeerRow{"refusing",
                {{{"-ERR SELECT is not allowed\r\n"}}},
                "The server at [$S] does not let database 2 be used: ERR SELECT is not allowed. Look at its "
                "configuration."},
        PeerRow{"closing", {{{"", true}}}, "The server at [$S] closed the connection. Look at its log."},
        PeerRow{"another_program",
                {{{"HTTP/1.1 400 Bad Request\r\n"}}},
                "What listens at [$S] does not speak the protocol of the database. Correct --socket."},
        PeerRow{"silent_selection", {SOUND_ANSWERS, {}}, SILENT_COMMAND},
        PeerRow{"silent_command", {SOUND_ANSWERS, {{"+OK\r\n"}}}, SILENT_COMMAND},
        PeerRow{"silent_after_a_part", {SOUND_ANSWERS, {{"+OK\r\n"}, {"$5\r\nhal"}}}, SILENT_COMMAND},
        PeerRow{"silent_at_the_second_attempt", {SOUND_ANSWERS, {{"+OK\r\n"}, {"", true}}, {}}, SILENT_COMMAND}),
    rowName);

struct SilentRow : NamedRow {
    Words arguments;
    int shortest; ///< in seconds
};

class DbSilence : public DbLimit, public ::testing::WithParamInterface<SilentRow> {};

TEST_P(DbSilence, endsEveryOperation) {
    ScriptedRedis peer(answers({SOUND_ANSWERS, {{"+OK\r\n"}}}));
    const auto start = Clock::now();
    Words words = GetParam().arguments;
    words.insert(words.begin(), "db");
    words.insert(words.end(), {"--wait", "1"});
    EXPECT_EQ(messageOf(peer.socket(), words),
              "scada-sensors: The server at [$S] did not answer the command within 1 second. It may still carry it "
              "out.\n");
    EXPECT_GE(Clock::now() - start, seconds(GetParam().shortest));
    EXPECT_LT(Clock::now() - start, seconds(GetParam().shortest) + ROOM);
}

INSTANTIATE_TEST_SUITE_P(Tool, DbSilence,
                         ::testing::Values(SilentRow{"get", {"get", "k", "f"}, 1},
                                           SilentRow{"get_typed", {"get", "k", "f", "--as", "bool"}, 1},
                                           SilentRow{"set", {"set", "k", "f", "v"}, 1},
                                           SilentRow{"expire", {"expire", "k"}, 1},
                                           SilentRow{"push", {"push", "k", "v"}, 1},
                                           SilentRow{"pop", {"pop", "k", "--timeout", "2"}, 3}),
                         rowName);

TEST_F(DbLimit, popWaitsLongerThanTheLimitWhenAsked) {
    const RedisServer server;
    const ToolRun result = run({"--socket", server.socket(), "db", "pop", "list", "--timeout", "2", "--wait", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: Nothing came into list [list] within 2 seconds.\n");
}

class DbLongPath : public DbLimit {
protected:
    // Returns a path of so many bytes that begins in the test's directory.
    std::string pathOf(std::size_t size) const { return temp / std::string(size - temp.path().size() - 1, 'p'); }

    RedisServer server;
};

TEST_F(DbLongPath, isRefusedBeforeAnotherServerIsReached) {
    const std::string other = pathOf(107);
    ASSERT_EQ(symlink(server.socket().c_str(), other.c_str()), 0);
    for (const std::string& path : {other, other + "-of-ours"}) {
        const ToolRun result = run({"--socket", path, "db", "set", "k", "f", "v"});
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.err, "scada-sensors: The path of the socket has " + std::to_string(path.size()) +
                                  " bytes, more than 106: [" + replaced(path, temp.path(), "$T") +
                                  "]. Give a shorter one, as a link to it.\n");
    }
    EXPECT_EQ(server.run({"EXISTS", "k"}), "(integer 0)");
}

TEST_F(DbLongPath, ofTheGreatestLengthServes) {
    const std::string path = pathOf(106);
    ASSERT_EQ(symlink(server.socket().c_str(), path.c_str()), 0);
    EXPECT_EQ(run({"--socket", path, "db", "set", "k", "f", "v"}).status, 0);
    EXPECT_EQ(server.run({"HGET", "k", "f"}), R"("v")");
}

} // namespace
