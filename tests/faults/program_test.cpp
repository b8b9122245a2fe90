// A program that the library runs fails, does half of its work, cannot be started, or does not end.

#include "FaultTest.h"
#include "files.h"

#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;

struct BadProgram {
    const char* fault;
    Case row;
};

void PrintTo(const BadProgram& bad, std::ostream* out) {
    *out << bad.fault << " " << nameOf(bad.row);
}

// A rollback and the emptying of the storage run none of the library's programs on it.
std::vector<Case> casesWithPrograms() {
    std::vector<Case> cases;
    for (const Case& row : everyCase()) {
        if (row.operation.name != std::string("rollback") && row.operation.name != std::string("removal_of_all"))
            cases.push_back(row);
    }
    return cases;
}

std::vector<BadProgram> badPrograms(const std::vector<const char*>& faults) {
    std::vector<BadProgram> rows;
    for (const char* fault : faults) {
        for (const Case& row : casesWithPrograms())
            rows.push_back({fault, row});
    }
    return rows;
}

std::string programName(const ::testing::TestParamInfo<BadProgram>& info) {
    std::string name = info.param.fault + ("_" + nameOf(info.param.row));
    for (char& c : name)
        c = c == '-' ? '_' : c;
    return name;
}

class Program : public FaultTest, public ::testing::WithParamInterface<BadProgram> {
protected:
    void SetUp() override { prepare(GetParam().row.operation, GetParam().row.way); }

    static void print(const Phases& phases) {
        for (const auto& [phase, count] : phases)
            std::printf("%s, %s: %s: %d\n", GetParam().fault, nameOf(GetParam().row).c_str(), phase.c_str(), count);
    }
};

TEST_P(Program, leavesOldOrNew) {
    const std::size_t programs = programsAmong(stepsOfOperation());
    ASSERT_GT(programs, 0U);
    Phases phases;
    for (std::size_t number = 1; number <= programs; ++number) {
        SCOPED_TRACE(number);
        reset();
        const ToolRun result = runOperation(faultAt(GetParam().fault, static_cast<long>(number)));
        if (result.status == 0) {
            ++phases["new"];
            EXPECT_TRUE(isNew()) << result.out << result.err;
        } else {
            EXPECT_EQ(result.status, 1) << result.out << result.err;
            ++phases[expectNothingTorn(result)];
        }
        expectNextInstallation();
        ASSERT_FALSE(HasFailure()) << result.status << " " << result.out << result.err;
    }
    print(phases);
}

INSTANTIATE_TEST_SUITE_P(Tool, Program, ::testing::ValuesIn(badPrograms({"fail", "not-started", "half"})), programName);

class HangingProgram : public Program {
protected:
    /// Waits for the program that hangs, and returns its process.
    pid_t hanging(RunningTool* tool) const {
        for (int left = 2000; left > 0 && !tool->hasEnded(); --left) {
            if (std::filesystem::exists(temp / "log")) {
                const std::string log = readFile(temp / "log");
                const std::size_t at = log.find("hangs ");
                if (at != std::string::npos && log.back() == '\n')
                    return std::stoi(log.substr(at + 6));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return 0;
    }

    static bool endsSoon(RunningTool* tool) {
        for (int left = 1000; left > 0 && !tool->hasEnded(); --left)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return tool->hasEnded();
    }

    /// Returns whether the program ends by itself; in any case it is ended.
    static bool isGone(pid_t program) {
        for (int left = 200; left > 0; --left) {
            if (waitpid(program, nullptr, WNOHANG) == program || kill(program, 0) != 0)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        kill(program, SIGKILL);
        return false;
    }
};

TEST_P(HangingProgram, isGoneWithTheToolAfterControlC) {
    const std::size_t programs = programsAmong(stepsOfOperation());
    ASSERT_GT(programs, 0U);
    for (std::size_t number = 1; number <= programs; ++number) {
        SCOPED_TRACE(number);
        reset();
        removeTree(temp / "log");
        const Variables variables =
            faultAt("hang", static_cast<long>(number)) + Variables{{"SCADA_TEST_FAULT_LOG", temp / "log"}};
        RunningTool tool(commandLine(operation.arguments), environment(variables), temp.path());
        const pid_t program = hanging(&tool);
        ASSERT_GT(program, 0);
        tool.sendToGroup(SIGINT);
        EXPECT_TRUE(endsSoon(&tool));
        EXPECT_TRUE(isGone(program));
        const ToolRun result = tool.wait();
        EXPECT_EQ(result.status, 7) << result.out << result.err;
        EXPECT_NE(result.err.find("nothing has been changed"), std::string::npos) << result.err;
        EXPECT_TRUE(isOld());
        expectNextInstallation();
        ASSERT_FALSE(HasFailure());
    }
    std::printf("%s: %zu programs hung\n", nameOf(GetParam().row).c_str(), programs);
}

INSTANTIATE_TEST_SUITE_P(Tool, HangingProgram, ::testing::ValuesIn(badPrograms({"hang"})), programName);

} // namespace
