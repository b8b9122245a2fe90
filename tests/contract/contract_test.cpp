#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "host_state.h"
#include "row_name.h"

#include <kelvra/Logger.h>
#include <kelvra/System.h>
#include <kelvra/Text.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Kelvra::SCADA::Test::makeDir;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::readFile;
using Kelvra::SCADA::Test::rowName;
using Kelvra::SCADA::Test::TempDir;
using Kelvra::SCADA::Test::treeOf;
using Kelvra::SCADA::Test::writeFile;
using Kelvra::System::cmd;
using Kelvra::System::execute;

namespace Logger = Kelvra::Logger;
namespace Text = Kelvra::Text;

void onThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int index = 0; index < count; ++index)
        threads.emplace_back(work, index);
    for (std::thread& thread : threads)
        thread.join();
}

struct TextRow : NamedRow {
    const char* input;
    const char* expected;
};

class Trim : public testing::TestWithParam<TextRow> {};

TEST_P(Trim, removesOuterBlanks) {
    EXPECT_EQ(GetParam().expected, Text::trim(GetParam().input));
}

INSTANTIATE_TEST_SUITE_P(Rows, Trim,
                         testing::Values(TextRow{"empty", "", ""}, TextRow{"only_blanks", "   ", ""},
                                         TextRow{"nothing_to_trim", "decoder.js", "decoder.js"},
                                         TextRow{"leading", "  a", "a"}, TextRow{"trailing", "a  ", "a"},
                                         TextRow{"both", " a ", "a"}, TextRow{"inner_kept", " a  b ", "a  b"},
                                         TextRow{"utf8_kept", " \xc3\xa0 ", "\xc3\xa0"}),
                         rowName);

class ToLowerCase : public testing::TestWithParam<TextRow> {};

TEST_P(ToLowerCase, lowersLetters) {
    EXPECT_EQ(GetParam().expected, Text::toLowerCase(GetParam().input));
}

INSTANTIATE_TEST_SUITE_P(Rows, ToLowerCase,
                         testing::Values(TextRow{"empty", "", ""}, TextRow{"lower_kept", "abc", "abc"},
                                         TextRow{"upper", "ABCXYZ", "abcxyz"},
                                         TextRow{"identifier", "02A1F00000021F2A", "02a1f00000021f2a"},
                                         TextRow{"others_kept", " @[`{-_.:/0189", " @[`{-_.:/0189"}),
                         rowName);

template <typename Number> struct ParseRow : NamedRow {
    const char* input;
    bool accepted;
    Number expected;
};

template <typename Number> void expectParsed(const ParseRow<Number>& row) {
    Number value = 77;
    ASSERT_EQ(row.accepted, Text::parse(value, row.input));
    if (row.accepted) {
        EXPECT_EQ(row.expected, value);
    }
}

using IntRow = ParseRow<int>;
using UnsignedRow = ParseRow<unsigned int>;

class ParseInt : public testing::TestWithParam<IntRow> {};

TEST_P(ParseInt, readsTheWholeText) {
    expectParsed(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseInt,
                         testing::Values(IntRow{"zero", "0", true, 0}, IntRow{"positive", "42", true, 42},
                                         IntRow{"negative", "-42", true, -42},
                                         IntRow{"largest", "2147483647", true, 2147483647},
                                         IntRow{"smallest", "-2147483648", true, -2147483647 - 1},
                                         IntRow{"too_large", "2147483648", false, 0},
                                         IntRow{"too_small", "-2147483649", false, 0},
                                         IntRow{"far_too_large", "99999999999999999999999", false, 0},
                                         IntRow{"empty", "", false, 0}, IntRow{"word", "abc", false, 0},
                                         IntRow{"word_after", "12abc", false, 0}, IntRow{"fraction", "1.5", false, 0}),
                         rowName);

class ParseUnsigned : public testing::TestWithParam<UnsignedRow> {};

TEST_P(ParseUnsigned, readsTheWholeText) {
    expectParsed(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Rows, ParseUnsigned,
                         testing::Values(UnsignedRow{"zero", "0", true, 0}, UnsignedRow{"positive", "42", true, 42},
                                         UnsignedRow{"largest", "4294967295", true, 4294967295U},
                                         UnsignedRow{"too_large", "4294967296", false, 0},
                                         UnsignedRow{"far_too_large", "99999999999999999999999", false, 0},
                                         UnsignedRow{"negative", "-42", false, 0}, UnsignedRow{"empty", "", false, 0},
                                         UnsignedRow{"word", "abc", false, 0},
                                         UnsignedRow{"word_after", "12abc", false, 0},
                                         UnsignedRow{"fraction", "1.5", false, 0}),
                         rowName);

TEST(LoggerContract, labelsAreTexts) {
    EXPECT_NE(nullptr, Logger::PrintLevel::ERROR_LABEL);
    EXPECT_NE(nullptr, Logger::PrintLevel::WARNING_LABEL);
    EXPECT_NE(nullptr, Logger::PrintLevel::DEBUG_LABEL);
    EXPECT_NE(nullptr, Logger::PrintLevel::TRACE_LABEL);
}

void logAtEveryLevel(int number) {
    struct Kind {
        int level;
        const char* label;
    };
    for (const Kind& kind : {Kind{Logger::PrintLevel::ERROR_LEVEL, Logger::PrintLevel::ERROR_LABEL},
                             Kind{Logger::PrintLevel::WARNING_LEVEL, Logger::PrintLevel::WARNING_LABEL},
                             Kind{Logger::PrintLevel::DEBUG_LEVEL, Logger::PrintLevel::DEBUG_LABEL},
                             Kind{Logger::PrintLevel::TRACE_LEVEL, Logger::PrintLevel::TRACE_LABEL}}) {
        if (Logger::isPrintable(kind.level))
            Logger::printfGeneric(kind.level, kind.label, "[MAP] contract [%s] -> [%d]", "text", number);
        Logger::printfGeneric(kind.level, kind.label, "[MAP] contract, no argument");
    }
}

TEST(LoggerContract, survivesMessagesOfEveryLevelFromSeveralThreads) {
    onThreads(4, logAtEveryLevel);
}

// The provider decides what to do with a message: the only thing visible from here is a crash.
TEST(LoggerContract, survivesALongMessage) {
    const std::string text(10000, 'x');
    Logger::printfGeneric(Logger::PrintLevel::TRACE_LEVEL, Logger::PrintLevel::TRACE_LABEL, "[MAP] %s", text.c_str());
}

struct ArgumentRow : NamedRow {
    const char* argument;
};

class ExecuteArgument : public testing::TestWithParam<ArgumentRow> {};

TEST_P(ExecuteArgument, arrivesVerbatim) {
    const std::string argument = GetParam().argument;
    std::string output;
    execute("printf", {"[%s][%s]", argument, "next"}, output);
    EXPECT_EQ("[" + argument + "][next]", output);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ExecuteArgument,
    testing::Values(ArgumentRow{"plain", "plain"}, ArgumentRow{"empty", ""}, ArgumentRow{"blanks", "  a  b  "},
                    ArgumentRow{"single_quote", "it's"}, ArgumentRow{"double_quote", "a \"b\""},
                    ArgumentRow{"asterisk", "/*"}, ArgumentRow{"question_mark", "/?"}, ArgumentRow{"brackets", "[a-z]"},
                    ArgumentRow{"newline", "a\nb\n"}, ArgumentRow{"tab", "\t"}, ArgumentRow{"dollar", "$HOME ${HOME}"},
                    ArgumentRow{"backquotes", "`id` $(id)"}, ArgumentRow{"backslash", "a\\nb\\"},
                    ArgumentRow{"semicolon", "; exit 1 #"}, ArgumentRow{"redirection", "> /dev/full"},
                    ArgumentRow{"leading_dash", "-n"}, ArgumentRow{"tilde", "~"}, ArgumentRow{"percent", "%s%d"},
                    ArgumentRow{"utf8", "\xc3\xa0\xe2\x82\xac"}, ArgumentRow{"not_utf8", "\xff\x80"}),
    rowName);

/// The states of a host in which programs must run as usual.
enum class Host { PLAIN, CHILD_SIGNAL_IGNORED, REAPER, SIGNALS_BLOCKED };

struct HostRow : NamedRow {
    Host host;
};

class Programs : public testing::TestWithParam<HostRow> {
protected:
    void SetUp() override {
        switch (GetParam().host) {
        case Host::PLAIN:
            break;
        case Host::CHILD_SIGNAL_IGNORED:
            ignoring = std::make_unique<SignalAction>(SIGCHLD, SIG_IGN);
            break;
        case Host::REAPER:
            reaper = std::make_unique<ChildReaper>();
            break;
        case Host::SIGNALS_BLOCKED:
            blocked = std::make_unique<AllSignalsBlocked>();
            break;
        }
    }

    TempDir dir;
    std::string output = "before";

private:
    std::unique_ptr<SignalAction> ignoring;
    std::unique_ptr<ChildReaper> reaper;
    std::unique_ptr<AllSignalsBlocked> blocked;
};

TEST_P(Programs, systemToolsAreFoundByPath) {
    execute("mkdir", {"-p", dir / "a/b"}, output);
    EXPECT_EQ((std::set<std::string>{"a", "a/b"}), treeOf(dir.path()));
    writeFile(dir / "a/file", "text");
    execute("cp", {"-f", dir / "a/file", dir / "a/b/copy"}, output);
    EXPECT_EQ("text", readFile(dir / "a/b/copy"));
    execute("rm", {"-f", dir / "a/file"}, output);
    EXPECT_EQ((std::set<std::string>{"a", "a/b", "a/b/copy"}), treeOf(dir.path()));
}

TEST_P(Programs, shellExpandsWildcards) {
    writeFile(dir / "one", "");
    writeFile(dir / "two words", "");
    writeFile(dir / "three/four", "");
    writeFile(dir / ".hidden", "");
    cmd("rm -rf " + dir.path() + "/*", output);
    EXPECT_EQ((std::set<std::string>{".hidden"}), treeOf(dir.path()));
}

TEST_P(Programs, outputIsCaptured) {
    execute("printf", {"from a program"}, output);
    EXPECT_EQ("from a program", output);
    cmd("printf 'from a shell'; printf ' line'", output);
    EXPECT_EQ("from a shell line", output);
}

TEST_P(Programs, manyBytesOfOutputAreTaken) {
    cmd("head -c 1048576 /dev/zero | tr '\\0' x", output);
    EXPECT_TRUE(output == std::string(1048576, 'x')) << output.size() << " bytes";
    execute("head", {"-c", "1048576", "/dev/zero"}, output);
    EXPECT_TRUE(output == std::string(1048576, '\0')) << output.size() << " bytes";
}

TEST_P(Programs, haveEndedWhenTheCallReturns) {
    execute("sh", {"-c", "sleep 0.1; : > \"$1\"", "sh", dir / "executed"}, output);
    EXPECT_EQ((std::set<std::string>{"executed"}), treeOf(dir.path()));
    cmd("sleep 0.1; : > " + dir / "shell", output);
    EXPECT_EQ((std::set<std::string>{"executed", "shell"}), treeOf(dir.path()));
}

TEST_P(Programs, haveEndedEvenWhenTheyCloseTheirOutputBefore) {
    execute("sh", {"-c", "exec >&- 2>&-; sleep 0.1; : > \"$1\"", "sh", dir / "executed"}, output);
    EXPECT_EQ((std::set<std::string>{"executed"}), treeOf(dir.path()));
    cmd("exec >&- 2>&-; sleep 0.1; : > " + dir / "shell", output);
    EXPECT_EQ((std::set<std::string>{"executed", "shell"}), treeOf(dir.path()));
}

TEST_P(Programs, runFromSeveralThreadsAtOnce) {
    makeDir(dir / "made");
    onThreads(4, [this](int index) {
        for (int turn = 0; turn < 8; ++turn) {
            const std::string name = std::to_string(index) + "-" + std::to_string(turn);
            std::string printed;
            execute("printf", {"%s", name}, printed);
            EXPECT_EQ(name, printed);
            cmd("mkdir " + dir / ("made/" + name) + " && printf " + name, printed);
            EXPECT_EQ(name, printed);
        }
    });
    EXPECT_EQ(32U, treeOf(dir / "made").size());
}

TEST_P(Programs, thatFailToStartAreSurvived) {
    execute(dir / "no-such-program", {"argument"}, output);
    cmd(dir / "no-such-program", output);
    execute("printf", {"still works"}, output);
    EXPECT_EQ("still works", output);
}

INSTANTIATE_TEST_SUITE_P(Hosts, Programs,
                         testing::Values(HostRow{"plain", Host::PLAIN},
                                         HostRow{"child_signal_ignored", Host::CHILD_SIGNAL_IGNORED},
                                         HostRow{"another_thread_reaps_all", Host::REAPER},
                                         HostRow{"signals_blocked", Host::SIGNALS_BLOCKED}),
                         rowName);

} // namespace
