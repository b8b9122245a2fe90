#include "NamedRow.h"
#include "row_name.h"

#include <kelvra/Logger.h>
#include <kelvra/LoggerControl.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

namespace Logger = Kelvra::Logger;
namespace PrintLevel = Kelvra::Logger::PrintLevel;

/// Replaces standard error with another descriptor.
class StandardError {
public:
    explicit StandardError(int replacement) : before(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
        dup2(replacement, STDERR_FILENO);
    }
    ~StandardError() {
        dup2(before, STDERR_FILENO);
        close(before);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

private:
    int before;
};

/// Returns the text on standard error while `work` runs, one element per write; datagrams keep the writes apart.
std::vector<std::string> writesOf(const std::function<void()>& work) {
    int ends[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends));
    {
        const StandardError replaced(ends[1]);
        work();
    }
    close(ends[1]);
    std::vector<std::string> writes;
    std::vector<char> buffer(1 << 16);
    for (;;) {
        const ssize_t count = recv(ends[0], buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count <= 0)
            break;
        writes.emplace_back(buffer.data(), static_cast<std::size_t>(count));
    }
    close(ends[0]);
    return writes;
}

using Writes = std::vector<std::string>;

class StandinLogger : public testing::Test {
protected:
    void SetUp() override { Logger::setLevel(PrintLevel::TRACE_LEVEL); }
    void TearDown() override { Logger::setLevel(PrintLevel::WARNING_LEVEL); }
};

TEST(StandinLevel, isWarningAtTheStart) {
    EXPECT_EQ(PrintLevel::WARNING_LEVEL, Logger::getLevel());
}

struct LevelRow : NamedRow {
    int level;
    bool error;
    bool warning;
    bool debug;
    bool trace;
};

class StandinLevels : public testing::TestWithParam<LevelRow> {
protected:
    void SetUp() override { Logger::setLevel(GetParam().level); }
    void TearDown() override { Logger::setLevel(PrintLevel::WARNING_LEVEL); }
};

TEST_P(StandinLevels, decideWhatIsPrintable) {
    EXPECT_EQ(GetParam().level, Logger::getLevel());
    EXPECT_EQ(GetParam().error, Logger::isPrintable(PrintLevel::ERROR_LEVEL));
    EXPECT_EQ(GetParam().warning, Logger::isPrintable(PrintLevel::WARNING_LEVEL));
    EXPECT_EQ(GetParam().debug, Logger::isPrintable(PrintLevel::DEBUG_LEVEL));
    EXPECT_EQ(GetParam().trace, Logger::isPrintable(PrintLevel::TRACE_LEVEL));
    EXPECT_FALSE(Logger::isPrintable(Logger::LEVEL_OFF));
    EXPECT_FALSE(Logger::isPrintable(INT_MIN));
}

TEST_P(StandinLevels, decideWhatIsWritten) {
    const Writes writes = writesOf([] {
        Logger::printfGeneric(PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LABEL, "e");
        Logger::printfGeneric(PrintLevel::WARNING_LEVEL, PrintLevel::WARNING_LABEL, "w");
        Logger::printfGeneric(PrintLevel::DEBUG_LEVEL, PrintLevel::DEBUG_LABEL, "d");
        Logger::printfGeneric(PrintLevel::TRACE_LEVEL, PrintLevel::TRACE_LABEL, "t");
    });
    Writes expected;
    if (GetParam().error)
        expected.emplace_back("ERROR: e\n");
    if (GetParam().warning)
        expected.emplace_back("WARNING: w\n");
    if (GetParam().debug)
        expected.emplace_back("DEBUG: d\n");
    if (GetParam().trace)
        expected.emplace_back("TRACE: t\n");
    EXPECT_EQ(expected, writes);
}

INSTANTIATE_TEST_SUITE_P(Rows, StandinLevels,
                         testing::Values(LevelRow{"off", Logger::LEVEL_OFF, false, false, false, false},
                                         LevelRow{"far_below_off", INT_MIN, false, false, false, false},
                                         LevelRow{"error", 0, true, false, false, false},
                                         LevelRow{"warning", 1, true, true, false, false},
                                         LevelRow{"debug", 2, true, true, true, false},
                                         LevelRow{"trace", 3, true, true, true, true},
                                         LevelRow{"far_above_trace", INT_MAX, true, true, true, true}),
                         rowName);

struct LineRow : NamedRow {
    const char* label;
    std::string text;
    std::string expected;
};

class StandinLine : public testing::TestWithParam<LineRow> {
protected:
    void SetUp() override { Logger::setLevel(PrintLevel::TRACE_LEVEL); }
    void TearDown() override { Logger::setLevel(PrintLevel::WARNING_LEVEL); }
};

TEST_P(StandinLine, isWrittenAtOnce) {
    const LineRow& row = GetParam();
    EXPECT_EQ(Writes{row.expected},
              writesOf([&row] { Logger::printfGeneric(PrintLevel::ERROR_LEVEL, row.label, "%s", row.text.c_str()); }));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, StandinLine,
    testing::Values(
        LineRow{"plain", "ERROR", "[MAP] text", "ERROR: [MAP] text\n"}, LineRow{"empty", "ERROR", "", "ERROR: \n"},
        LineRow{"no_label", nullptr, "text", ": text\n"}, LineRow{"hosts_label", "NOTE", "text", "NOTE: text\n"},
        LineRow{"control_in_label", "A\nB", "text", "A\\nB: text\n"},
        LineRow{"line_break", "ERROR", "a\nERROR: b\n", "ERROR: a\\nERROR: b\\n\n"},
        LineRow{"carriage_return", "ERROR", "a\rb", "ERROR: a\\rb\n"},
        LineRow{"tab", "ERROR", "a\tb", "ERROR: a\\tb\n"}, LineRow{"escape", "ERROR", "\x1b[2J", "ERROR: \\x1b[2J\n"},
        LineRow{"lowest", "ERROR", "\x01", "ERROR: \\x01\n"}, LineRow{"delete", "ERROR", "\x7f", "ERROR: \\x7f\n"},
        LineRow{"backslash_kept", "ERROR", "a\\b", "ERROR: a\\b\n"},
        LineRow{"percent_kept", "ERROR", "%s%n", "ERROR: %s%n\n"},
        LineRow{"utf8_kept", "ERROR", "\xc3\xa0", "ERROR: \xc3\xa0\n"},
        LineRow{"other_scripts_kept", "ERROR", "\u05d0\u4e2d\U0001f321", "ERROR: \u05d0\u4e2d\U0001f321\n"},
        LineRow{"not_utf8", "ERROR",
                "a\xff"
                "b",
                "ERROR: a\\xffb\n"},
        LineRow{"cut_character", "ERROR", "a\xc3", "ERROR: a\\xc3\n"},
        LineRow{"overlong", "ERROR", "\xe0\x80\xaf", "ERROR: \\xe0\\x80\\xaf\n"},
        LineRow{"half_of_pair", "ERROR", "\xed\xa0\x80", "ERROR: \\xed\\xa0\\x80\n"},
        LineRow{"above_unicode", "ERROR", "\xf4\x90\x80\x80", "ERROR: \\xf4\\x90\\x80\\x80\n"},
        LineRow{"c1_control", "ERROR",
                "\xc2\x9b"
                "2J",
                "ERROR: \\xc2\\x9b2J\n"},
        LineRow{"arabic_mark", "ERROR", "\u061c", "ERROR: \\xd8\\x9c\n"},
        LineRow{"left_to_right_mark", "ERROR", "\u200e", "ERROR: \\xe2\\x80\\x8e\n"},
        LineRow{"right_to_left_mark", "ERROR", "\u200f", "ERROR: \\xe2\\x80\\x8f\n"},
        LineRow{"first_embedding", "ERROR", "\u202a", "ERROR: \\xe2\\x80\\xaa\n"},
        LineRow{"last_override", "ERROR", "\u202e", "ERROR: \\xe2\\x80\\xae\n"},
        LineRow{"first_isolate", "ERROR", "\u2066", "ERROR: \\xe2\\x81\\xa6\n"},
        LineRow{"last_isolate", "ERROR", "\u2069", "ERROR: \\xe2\\x81\\xa9\n"},
        LineRow{"line_separator", "ERROR", "\u2028", "ERROR: \\xe2\\x80\\xa8\n"},
        LineRow{"paragraph_separator", "ERROR", "\u2029", "ERROR: \\xe2\\x80\\xa9\n"},
        LineRow{"beside_them_kept", "ERROR", "\u00a0\u061d\u2010\u2027\u202f\u2065\u206a",
                "ERROR: \u00a0\u061d\u2010\u2027\u202f\u2065\u206a\n"},
        LineRow{"long", "ERROR", std::string(20000, 'x'), "ERROR: " + std::string(20000, 'x') + "\n"}),
    rowName);

TEST_F(StandinLogger, formatsItsArguments) {
    EXPECT_EQ(Writes{"DEBUG: [DB ] text -7 1.50 100%\n"}, writesOf([] {
                  Logger::printfGeneric(PrintLevel::DEBUG_LEVEL, PrintLevel::DEBUG_LABEL, "[DB ] %s %d %.2f 100%%",
                                        "text", -7, 1.5);
              }));
}

TEST_F(StandinLogger, keepsErrno) {
    int after = 0;
    writesOf([&after] {
        errno = ENOTDIR;
        Logger::printfGeneric(PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LABEL, "%s", "text");
        after = errno;
    });
    EXPECT_EQ(ENOTDIR, after);
}

TEST_F(StandinLogger, dropsWhatCannotBeWritten) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    {
        const StandardError replaced(full);
        errno = ENOTDIR;
        Logger::printfGeneric(PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LABEL, "lost");
        EXPECT_EQ(ENOTDIR, errno);
    }
    close(full);
    EXPECT_EQ(Writes{"ERROR: kept\n"},
              writesOf([] { Logger::printfGeneric(PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LABEL, "kept"); }));
}

std::string readToEnd(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t count = read(fd, buffer, sizeof buffer); count > 0; count = read(fd, buffer, sizeof buffer))
        text.append(buffer, static_cast<std::size_t>(count));
    return text;
}

constexpr int LINES_OF_EACH = 20;
constexpr std::size_t LONGER_THAN_A_PIPE_TAKES_AT_ONCE = 10000;
const char WRITERS[] = {'a', 'b', 'c', 'd'};

void logFromEveryWriter() {
    std::vector<std::thread> threads;
    for (const char letter : WRITERS)
        threads.emplace_back([letter] {
            const std::string message(LONGER_THAN_A_PIPE_TAKES_AT_ONCE, letter);
            for (int line = 0; line < LINES_OF_EACH; ++line)
                Logger::printfGeneric(PrintLevel::ERROR_LEVEL, "L", "%s", message.c_str());
        });
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(StandinLogger, keepsLongLinesOfSeveralThreadsWhole) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    std::string text;
    std::thread reader([&text, &ends] { text = readToEnd(ends[0]); });
    {
        const StandardError replaced(ends[1]);
        logFromEveryWriter();
    }
    close(ends[1]);
    reader.join();
    close(ends[0]);
    std::multiset<std::string> expected;
    for (const char letter : WRITERS)
        for (int line = 0; line < LINES_OF_EACH; ++line)
            expected.insert("L: " + std::string(LONGER_THAN_A_PIPE_TAKES_AT_ONCE, letter));
    std::multiset<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.insert(line);
    EXPECT_TRUE(expected == lines) << lines.size() << " lines";
}

} // namespace
