// The changes of a sensor's values, on a server of the test's own.

#include "NamedRow.h"
#include "RedisServer.h"
#include "ScriptedRedis.h"
#include "ToolProcess.h"
#include "ToolTest.h"
#include "json_text.h"
#include "row_name.h"
#include "watch_lines.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <future>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;
using std::chrono::seconds;

constexpr const char* WATCHED_PROPERTIES = R"({"decoder": "th1.js", "properties": {
    "temperature": {"name": "Temperature", "unit": "°C", "type": "float", "min": -40, "max": 85},
    "count": {"type": "uint32"}}})";
constexpr std::size_t TIME_WIDTH = 24;

constexpr const char* ANNOUNCEMENTS_REFUSED =
    "scada-sensors: the database at [$S] refuses to announce changes; asking again\n";
constexpr const char* DENIED =
    "scada-sensors: [lora@aa] cannot be read; asking again: NOPERM this user has no permissions to run the 'hgetall' "
    "command (redis-cli -s $S acl list)\n";
constexpr const char* MUTED =
    "scada-sensors: the database at [$S] announces no changes any more; turn its notifications on: redis-cli -s $S "
    "config set notify-keyspace-events KA\n";

constexpr const char* INITIAL = "  count  7  -  -  ok\n"
                                "  temperature  21.5  °C  Temperature  ok\n";

// Returns the lines without their times.
std::string untimed(const std::string& lines) {
    std::istringstream stream(lines);
    std::string rest;
    for (std::string line; std::getline(stream, line);)
        rest += line.substr(std::min(TIME_WIDTH, line.size())) + "\n";
    return rest;
}

class ReadWatch : public ToolTest {
protected:
    ReadWatch() {
        writeFile(temp / "default/lora/demo/th1.json", WATCHED_PROPERTIES);
        writeFile(temp / "default/lora/demo/th1.js", "");
        writeList({GOOD_SENSOR});
        writeFile(temp / "out", "");
        set({"temperature", "21.5", "count", "7"});
    }

    void set(Words fields) const {
        fields.insert(fields.begin(), {"HSET", KEY});
        server.run(fields);
    }

    Words commandLine(const std::string& socket, const Words& more) const {
        Words words = {"--default-dir", temp / "default",
                       "--custom-dir",  temp / "custom",
                       "--map",         temp / "list.json",
                       "--log-level",   "off",
                       "--socket",      socket,
                       "read",          "aa",
                       "--watch"};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    // Starts a watch. Returns when it has said so many lines.
    void begin(const Words& more, std::size_t lines) {
        result = std::async(std::launch::async,
                            [this, more] { return runTool(commandLine(server.socket(), more), "", temp / "out"); });
        awaitLines(lines);
    }

    std::string out() const { return readFile(temp / "out"); }

    void awaitLines(std::size_t count) const {
        EXPECT_TRUE(becomesTrue([&] {
            const std::string text = out();
            return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) >= count;
        })) << out();
    }

    // Waits for the end of the watch.
    ToolRun end() {
        ToolRun ended = result.get();
        ended.out = out();
        ended.err = replaced(ended.err, server.socket(), "$S");
        return ended;
    }

    bool isSubscribed() const { return server.run({"PUBSUB", "NUMPAT"}) == "(integer 1)"; }

    RedisServer server;
    std::future<ToolRun> result;
};

TEST_F(ReadWatch, saysTheStateAndThenWhatChanges) {
    begin({"--timeout", "5"}, 2);
    set({"temperature", "140", "count", "7"});
    awaitLines(3);
    set({"other\x1b", "x\ny"});
    awaitLines(4);
    server.run({"HDEL", KEY, "other\x1b", "count"});
    awaitLines(6);
    server.run({"HSET", "lora@bb", "temperature", "1"});
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "scada-sensors: 4 changes\n");
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) +
                                      "  temperature  140  °C  Temperature  \"temperature\" is 140, above its maximum "
                                      "85.\n"
                                      "  other\\x1b  x\\x0ay  -  -  undeclared\n"
                                      "  count  -  -  -  missing\n"
                                      "  other\\x1b  -  -  -  missing\n");
}

TEST_F(ReadWatch, saysOnePropertyAlone) {
    begin({"temperature", "--timeout", "3"}, 1);
    set({"count", "8"});
    set({"temperature", "22"});
    EXPECT_EQ(untimed(end().out), "  temperature  21.5  °C  Temperature  ok\n"
                                  "  temperature  22  °C  Temperature  ok\n");
}

struct GoneRow : NamedRow {
    Words command;
    const char* line;
};

class ReadWatchGone : public ReadWatch, public ::testing::WithParamInterface<GoneRow> {};

// The values are said again when the key is back, though they are the same.
TEST_P(ReadWatchGone, isSaid) {
    begin({"--timeout", "4"}, 2);
    server.run(GetParam().command);
    awaitLines(3);
    server.run({"HSET", "spare", "temperature", "21.5", "count", "7"});
    server.run({"RENAME", "spare", KEY});
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + GetParam().line + INITIAL);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ReadWatchGone,
    ::testing::Values(GoneRow{"expired", {"PEXPIRE", KEY, "800"}, "  lora@aa  the key has expired\n"},
                      GoneRow{"removed", {"DEL", KEY}, "  lora@aa  the key was removed (del)\n"},
                      GoneRow{"renamed", {"RENAME", KEY, "k"}, "  lora@aa  the key was removed (rename_from)\n"},
                      GoneRow{"overwritten", {"SET", KEY, "1"}, "  lora@aa  the key is not a hash\n"}),
    rowName);

TEST_F(ReadWatch, waitsForAKey) {
    server.run({"DEL", KEY});
    begin({"--timeout", "3"}, 1);
    set({"temperature", "21.5", "count", "7"});
    const ToolRun ended = end();
    EXPECT_EQ(untimed(ended.out), std::string("  lora@aa  there is no such key\n") + INITIAL);
    EXPECT_EQ(ended.err, "scada-sensors: 2 changes\n");
}

// Each line for programs: without its time, and what is common to all.
Json::Value untimedResult(const std::string& line) {
    Json::Value result = parsed(line)["result"];
    EXPECT_EQ(result["time"].asString().size(), TIME_WIDTH);
    EXPECT_EQ(result["sensor"], KEY);
    result.removeMember("time");
    result.removeMember("sensor");
    return result;
}

TEST_F(ReadWatch, forPrograms) {
    begin({"--json", "--timeout", "6"}, 2);
    server.run({"CLIENT", "KILL", "TYPE", "pubsub"});
    awaitLines(4);
    set({"count", "8"});
    awaitLines(5);
    server.run({"DEL", KEY});
    const ToolRun ended = end();
    std::istringstream lines(ended.out);
    std::string line;
    for (const char* expected :
         {R"({"change": "value", "property": "count", "value": 7, "unit": null, "name": null, "state": "ok",
              "fault": null})",
          R"({"change": "value", "property": "temperature", "value": 21.5, "unit": "°C", "name": "Temperature",
              "state": "ok", "fault": null})",
          R"({"change": "connection", "state": "lost"})", R"({"change": "connection", "state": "back"})",
          R"({"change": "value", "property": "count", "value": 8, "unit": null, "name": null, "state": "ok",
              "fault": null})",
          R"({"change": "key", "state": "removed"})"}) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_EQ(untimedResult(line), parsed(expected));
    }
    EXPECT_FALSE(std::getline(lines, line));
}

// While the server refuses to announce anything, changes go unheard.
TEST_F(ReadWatch, saysWhatChangedWhileTheConnectionWasGone) {
    begin({"--timeout", "6"}, 2);
    server.run({"ACL", "SETUSER", "default", "-config"});
    server.run({"CLIENT", "KILL", "TYPE", "pubsub"});
    set({"count", "8"});
    server.run({"ACL", "SETUSER", "default", "+config"});
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err,
                ::testing::AnyOf(std::string(LOST) + ANNOUNCEMENTS_REFUSED + BACK + "scada-sensors: 1 change\n",
                                 std::string(LOST) + BACK + "scada-sensors: 1 change\n"));
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + "  count  8  -  -  ok\n");
}

TEST_F(ReadWatch, saysWhatARestartHasLost) {
    begin({"--timeout", "6"}, 2);
    server.restart();
    EXPECT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    awaitLines(3);
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, std::string(LOST) + BACK + "scada-sensors: 1 change\n");
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + "  lora@aa  there is no such key\n");
}

// A server that takes no further connection still announces the change.
TEST_F(ReadWatch, readsAgainUntilItIsServed) {
    begin({"--timeout", "8"}, 2);
    server.run({"PEXPIRE", KEY, "1500"});
    const std::string elsewhere = server.socket() + ".away";
    rename(server.socket().c_str(), elsewhere.c_str());
    std::this_thread::sleep_for(seconds(4));
    rename(elsewhere.c_str(), server.socket().c_str());
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, std::string(LOST) + BACK + "scada-sensors: 1 change\n");
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + "  lora@aa  the key has expired\n");
}

TEST_F(ReadWatch, saysThatTheServerRefusesToBeRead) {
    begin({"--timeout", "6"}, 2);
    server.run({"ACL", "SETUSER", "default", "-hgetall"});
    set({"count", "8"});
    std::this_thread::sleep_for(seconds(1));
    server.run({"ACL", "SETUSER", "default", "+hgetall"});
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, std::string(DENIED) + BACK + "scada-sensors: 1 change\n");
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + "  count  8  -  -  ok\n");
}

TEST_F(ReadWatch, neverAllowedToRead) {
    server.run({"ACL", "SETUSER", "default", "-hgetall"});
    begin({"--timeout", "2"}, 0);
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.err, std::string(DENIED) + NO_CHANGES +
                             "scada-sensors: The database at [$S] let nothing be read at the end.\n");
    const ToolRun json = runTool(commandLine(server.socket(), {"--timeout", "2", "--json"}));
    const Json::Value line = parsed(json.out.substr(0, json.out.find('\n')))["result"];
    EXPECT_EQ(line["state"], "unreadable");
    EXPECT_THAT(line["reason"].asString(), ::testing::HasSubstr("NOPERM"));
}

// Another client turns the notifications off: the change is not announced, and it is said later.
TEST_F(ReadWatch, saysThatTheNotificationsAreTurnedOff) {
    begin({"--timeout", "20"}, 2);
    server.run({"CONFIG", "SET", "notify-keyspace-events", ""});
    std::this_thread::sleep_for(seconds(7));
    set({"count", "8"});
    EXPECT_EQ(untimed(out()), INITIAL);
    server.run({"CONFIG", "SET", "notify-keyspace-events", "KA"});
    const ToolRun ended = end();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, std::string(MUTED) + BACK + "scada-sensors: 1 change\n");
    EXPECT_EQ(untimed(ended.out), std::string(INITIAL) + "  count  8  -  -  ok\n");
}

struct ReadTimeRow : NamedRow {
    std::function<void(RedisServer&)> change;
    int status;
    std::string err;
};

class ReadWatchTime : public ReadWatch, public ::testing::WithParamInterface<ReadTimeRow> {};

// Promised are 0.2 s, and a busy machine takes some on top.
TEST_P(ReadWatchTime, isKept) {
    constexpr int WATCHED = 6;
    const auto start = Clock::now();
    begin({"--wait", "1", "--timeout", std::to_string(WATCHED)}, 2);
    GetParam().change(server);
    const ToolRun ended = end();
    const auto taken = Clock::now() - start;
    EXPECT_EQ(ended.status, GetParam().status);
    EXPECT_EQ(ended.err, GetParam().err);
    EXPECT_EQ(untimed(ended.out), INITIAL);
    EXPECT_GE(taken, seconds(WATCHED));
    EXPECT_LT(taken, seconds(WATCHED) + std::chrono::milliseconds(2500));
}

INSTANTIATE_TEST_SUITE_P(Tool, ReadWatchTime,
                         ::testing::Values(ReadTimeRow{"serving", [](RedisServer& /*server*/) {}, 0, NO_CHANGES},
                                           ReadTimeRow{"halted", [](RedisServer& server) { server.pause(); }, 3,
                                                       std::string(LOST) + NO_CHANGES + NOT_THERE},
                                           ReadTimeRow{"gone", [](RedisServer& server) { server.kill(); }, 3,
                                                       std::string(LOST) + NO_CHANGES + NOT_THERE}),
                         rowName);

// The peer confirms the subscription and then leaves the reading of the key without an answer.
TEST_F(ReadWatch, endsInTimeThoughTheKeyCannotBeRead) {
    const std::vector<ScriptedRedis::Answer> open = {{"+OK\r\n"}, {"+PONG\r\n"}};
    ScriptedRedis peer(
        answers({open, {{"+OK\r\n"}, {"+OK\r\n"}, {"*3\r\n$10\r\npsubscribe\r\n$1\r\nx\r\n:1\r\n"}}, open}));
    const auto start = Clock::now();
    const ToolRun ended = runTool(commandLine(peer.socket(), {"--timeout", "2"}));
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(replaced(ended.err, peer.socket(), "$S"), std::string(NO_CHANGES) + NOT_THERE);
    EXPECT_LT(Clock::now() - start, seconds(6));
}

TEST_F(ReadWatch, subscribesBeforeItReads) {
    const std::vector<ScriptedRedis::Answer> open = {{"+OK\r\n"}, {"+PONG\r\n"}};
    ScriptedRedis peer(answers({open, {{"+OK\r\n"}, {"+OK\r\n"}}, open}));
    EXPECT_EQ(runTool(commandLine(peer.socket(), {"--timeout", "2"})).out, "");
    // The subscription has no answer: the key is not read.
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_THAT(peer.received()[1], ::testing::HasSubstr("PSUBSCRIBE"));
}

struct ReadEndRow : NamedRow {
    std::function<void(const ToolProcess&)> end;
    const char* typed;
};

class ReadWatchEnd : public ReadWatch, public ::testing::WithParamInterface<ReadEndRow> {};

TEST_P(ReadWatchEnd, isCleanAndSoon) {
    ToolProcess tool(commandLine(server.socket(), {"count"}));
    ASSERT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    std::this_thread::sleep_for(seconds(1));
    const auto start = Clock::now();
    GetParam().end(tool);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2500));
    const std::string screen = tool.screen();
    const std::size_t second = screen.find('\n') + 1;
    EXPECT_EQ(untimed(screen.substr(0, second)), "  count  7  -  -  ok\n");
    EXPECT_EQ(screen.substr(second), GetParam().typed + std::string("scada-sensors: 0 changes\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, ReadWatchEnd,
    ::testing::Values(ReadEndRow{"ctrl_c", [](const ToolProcess& tool) { tool.type("\x03"); }, "^C"},
                      ReadEndRow{"sigterm", [](const ToolProcess& tool) { tool.send(SIGTERM); }, ""}),
    rowName);

TEST_F(ReadWatch, endsAsReadDoesWhenThereIsNothingToWatch) {
    ToolRun ended = runTool(commandLine(server.socket(), {"nothing", "--timeout", "5"}));
    EXPECT_EQ(ended.status, 4);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, ::testing::HasSubstr("[nothing]"));
    ended = runTool(commandLine(temp / "none", {}));
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.err, ::testing::HasSubstr("There is no socket ["));
    EXPECT_EQ(runTool(commandLine(server.socket(), {"--all"})).status, 2);
    EXPECT_EQ(run({"read", "aa", "--timeout", "1"}).status, 2);
}

TEST_F(ReadWatch, failsWhenItCannotWrite) {
    const ToolRun ended = runTool(commandLine(server.socket(), {"--timeout", "20"}), "", "/dev/full");
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "scada-sensors: cannot write to standard output: No space left on device\n"
                         "scada-sensors: 0 changes\n");
}

} // namespace
