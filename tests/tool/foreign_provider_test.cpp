#include "RedisServer.h"
#include "ToolTest.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

constexpr const char* NOTE = "scada-sensors: log levels cannot be changed: this device's support library sets them\n";

/// The tool with a device's support library, which has the contract's functions but no switch for levels.
class ForeignProvider : public ToolTest {
protected:
    ForeignProvider() {
        setenv("LD_LIBRARY_PATH", SCADA_FOREIGN_PROVIDER_DIR, 1);
        setenv("DEVICE_LOG", (temp / "log").c_str(), 1);
        addDefinition(custom, "lora/demo/th1");
        writeList({GOOD_SENSOR, "7"});
    }
    ~ForeignProvider() override {
        unsetenv("DEVICE_LOG");
        unsetenv("LD_LIBRARY_PATH");
    }
};

TEST_F(ForeignProvider, logsByItsOwnLevels) {
    const RedisServer server;
    const ToolRun result = runTool({"--socket", server.socket(), "db", "set", "key", "field", "value"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(readFile(temp / "log"), "<6> level=20 [DB ] Connected to the database\n");
}

class ForeignLevel : public ForeignProvider, public ::testing::WithParamInterface<const char*> {};

TEST_P(ForeignLevel, isNotTheTools) {
    const ToolRun result = run({"list", "--log-level", GetParam()});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("lora/demo/th1"));
    EXPECT_EQ(result.err, NOTE);
}

INSTANTIATE_TEST_SUITE_P(Tool, ForeignLevel, ::testing::Values("off", "warning", "trace"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(ForeignProvider, leavesAnswersForProgramsAsTheyAre) {
    const ToolRun plain = run({"list", "--json"});
    const ToolRun loud = run({"list", "--json", "--log-level", "debug"});
    EXPECT_EQ(loud.status, 0);
    EXPECT_EQ(loud.out, plain.out);
    EXPECT_THAT(loud.out, HasSubstr("\"name\" : \"lora/demo/th1\""));
}

} // namespace
