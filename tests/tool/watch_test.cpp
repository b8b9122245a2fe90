#include "RedisServer.h"
#include "ToolProcess.h"
#include "ToolTest.h"
#include "jsonText.h"
#include "rowName.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::MatchesRegex;
using Clock = std::chrono::steady_clock;

constexpr const char* TIME = "20[0-9][0-9]-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9][.][0-9][0-9][0-9]Z";

class Watch : public ToolTest {
protected:
    std::vector<std::string> commandLine(const std::vector<std::string>& options) const {
        std::vector<std::string> words = {"--socket", server.socket(), "--log-level", "off", "watch"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    bool isSubscribed() const { return server.run({"PUBSUB", "NUMPAT"}) == "(integer 1)"; }

    // Runs the watch to its end while `change` changes keys, from when it is subscribed on.
    ToolRun watch(const std::vector<std::string>& options, const std::function<void()>& change) const {
        auto result = std::async(std::launch::async, [this, &options] { return runTool(commandLine(options)); });
        EXPECT_TRUE(becomesTrue([this] { return isSubscribed(); }));
        change();
        return result.get();
    }

    RedisServer server;
};

TEST_F(Watch, aLineForEachChange) {
    const ToolRun result = watch({"--count", "3", "--timeout", "60"}, [this] {
        server.run({"HSET", "lora@aa", "temperature", "1"});
        server.run({"HSET", "other", "x", "1"}, 3);
        server.run({"EXPIRE", "lora@aa", "100"});
        server.run({"SET", "a:b \x1b[2J", "1"});
        server.run({"SET", "late", "1"});
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "scada-sensors: 3 changes\n");
    EXPECT_THAT(result.out, MatchesRegex(std::string(TIME) + "  2  lora@aa  hset\n" + TIME + "  2  lora@aa  expire\n" +
                                         TIME + "  2  a:b \\\\x1b\\[2J  set\n"));
}

TEST_F(Watch, anObjectForEachChange) {
    const ToolRun result = watch({"--json", "--count", "2", "--db", "15"}, [this] {
        server.run({"HSET", "a:b\n", "x", "1"}, 15);
        server.run({"DEL", "a:b\n"}, 15);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "scada-sensors: 2 changes\n");
    std::istringstream lines(result.out);
    std::string line;
    for (const char* event : {"hset", "del"}) {
        ASSERT_TRUE(std::getline(lines, line));
        Json::Value answer = parsed(line);
        EXPECT_THAT(answer["result"]["time"].asString(), MatchesRegex(TIME));
        answer["result"].removeMember("time");
        Json::Value expected = envelope(0);
        expected["result"] = parsed(R"({"database": 15, "key": "a:b\n"})");
        expected["result"]["event"] = event;
        EXPECT_EQ(answer, expected);
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(Watch, aLineIsWrittenAtOnce) {
    const std::string out = temp / "out";
    auto toFile = std::async(std::launch::async, [&] { return runTool(commandLine({"--count", "2"}), "", out); });
    ASSERT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    server.run({"SET", "k", "1"});
    EXPECT_TRUE(becomesTrue([&] { return !readFile(out).empty(); }));
    EXPECT_THAT(readFile(out), MatchesRegex(std::string(TIME) + "  2  k  set\n"));
    server.run({"SET", "k", "1"});
    EXPECT_EQ(toFile.get().status, 0);
}

TEST_F(Watch, endsWhenItsTimeIsUp) {
    const auto start = Clock::now();
    const ToolRun result = runTool(commandLine({"--timeout", "1"}));
    const auto taken = Clock::now() - start;
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: 0 changes\n");
    EXPECT_GE(taken, std::chrono::seconds(1));
    EXPECT_LT(taken, std::chrono::seconds(10));
}

TEST_F(Watch, survivesRestartsOfTheServer) {
    const std::string out = temp / "out";
    auto result = std::async(std::launch::async, [&] {
        return runTool(commandLine({"--count", "2", "--timeout", "60"}), "", out);
    });
    ASSERT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    server.run({"SET", "before", "1"});
    // A server that is killed takes with it what it has not yet sent.
    EXPECT_TRUE(becomesTrue([&] { return !readFile(out).empty(); }));
    server.restart();
    EXPECT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    server.run({"SET", "after", "1"});
    const ToolRun ended = result.get();
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "scada-sensors: 2 changes\n");
    EXPECT_THAT(readFile(out), MatchesRegex(std::string(TIME) + "  2  before  set\n" + TIME + "  2  after  set\n"));
}

TEST_F(Watch, failsWhenItCannotWrite) {
    auto result = std::async(std::launch::async, [this] { return runTool(commandLine({}), "", "/dev/full"); });
    ASSERT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    server.run({"SET", "k", "1"});
    const ToolRun ended = result.get();
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err, "scada-sensors: cannot write to standard output: No space left on device\n"
                         "scada-sensors: 1 change\n");
}

struct EndRow {
    const char* name;
    bool isServerGone;
    std::function<void(const ToolProcess&)> end;
    const char* typed; ///< what the terminal shows of it
};

class WatchEnd : public Watch, public ::testing::WithParamInterface<EndRow> {};

TEST_P(WatchEnd, isCleanAndSoon) {
    ToolProcess tool(commandLine({}));
    ASSERT_TRUE(becomesTrue([this] { return isSubscribed(); }));
    if (GetParam().isServerGone)
        server.kill();
    const auto start = Clock::now();
    GetParam().end(tool);
    EXPECT_EQ(tool.wait(), 0);
    // A second and what a busy machine takes on top.
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(2500));
    EXPECT_EQ(tool.screen(), GetParam().typed + std::string("scada-sensors: 0 changes\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, WatchEnd,
    ::testing::Values(EndRow{"ctrl_c", false, [](const ToolProcess& tool) { tool.type("\x03"); }, "^C"},
                      EndRow{"sigint", false, [](const ToolProcess& tool) { tool.send(SIGINT); }, ""},
                      EndRow{"sigterm", false, [](const ToolProcess& tool) { tool.send(SIGTERM); }, ""},
                      EndRow{"sigterm_without_server", true, [](const ToolProcess& tool) { tool.send(SIGTERM); }, ""}),
    rowName);

} // namespace
