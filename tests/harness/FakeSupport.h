#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Replaces the support library in this process: records the library's calls and answers them as a test wants. Programs
/// are really run, unless a fault is set; log messages only arrive here. Call reset() before each test: see
/// SupportTest.
class FakeSupport {
public:
    struct LogLine {
        int level;
        std::string label;
        std::string text; ///< formatted, never cut
    };

    /// cmd() counts as the program "sh -c" with one argument.
    struct Command {
        std::string program;
        std::vector<std::string> arguments;
    };

    enum class Fault {
        NOTHING,  ///< reports success and does nothing
        FAILURE,  ///< reports failure and does nothing
        HALF_FILE ///< cp copies the first half of the file
    };

    static FakeSupport& inst();

    /// Forgets everything: all levels are on, no fault, no hook; level and label objects have their initial values.
    void reset();

    void printable(int level, bool on);
    void allPrintable(bool on);

    /// Sets the fault of "mkdir", "cp", "rm" or "sh", for every run or for the nth from now on, counted from 1.
    void fault(const std::string& program, Fault fault, int onlyNth = 0);

    std::vector<LogLine> logs;
    std::vector<int> asked; ///< the levels given to isPrintable
    std::vector<Command> commands;

    std::function<void(int level)> onIsPrintable;
    std::function<void(std::size_t index)> beforeCommand; ///< the index is that of the command in `commands`
    std::function<void(std::size_t index)> afterCommand;

    // The contract functions call these.
    bool isPrintable(int level);
    void print(LogLine line);
    int run(const Command& command, const std::function<int()>& really);

private:
    struct Planned {
        Fault fault;
        int onlyNth;
        int runs;
    };

    FakeSupport() = default;
    std::size_t record(const Command& command);
    const Planned* faultOf(const std::string& program);

    std::mutex mutex;
    bool defaultPrintable = true;
    std::map<int, bool> printableLevels;
    std::map<std::string, Planned> faults;
};

bool operator==(const FakeSupport::LogLine& left, const FakeSupport::LogLine& right);
bool operator==(const FakeSupport::Command& left, const FakeSupport::Command& right);
std::ostream& operator<<(std::ostream& out, const FakeSupport::LogLine& line);
std::ostream& operator<<(std::ostream& out, const FakeSupport::Command& command);

/// Starts and ends every test with a fresh FakeSupport and the default configuration.
class SupportTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace Kelvra::SCADA::Test
