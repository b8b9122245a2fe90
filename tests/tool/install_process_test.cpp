#include "NamedRow.h"
#include "ToolProcess.h"
#include "ToolTest.h"
#include "findings.h"
#include "row_name.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <regex>

namespace {

using namespace Kelvra::SCADA::Test;

/// Replaces "cp" with one that stops before the copy to a file until it may continue, or fails there. The file is given
/// as a shell pattern, because the names of the library's working directories vary.
class SlowCopies : public ToolTest {
protected:
    SlowCopies() : path(std::getenv("PATH")), source(temp / "source") {
        for (const char* name : {"lora/demo/a", "lora/demo/b", "lora/demo/c"})
            addDefinition(source, name);
        addDefinition(custom, "lora/other/x");
        setenv("LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR, 1);
        setenv("SCADA_TEST_PROGRAMS", (temp / "bin").c_str(), 1);
    }
    ~SlowCopies() override {
        unsetenv("SCADA_TEST_PROGRAMS");
        unsetenv("LD_LIBRARY_PATH");
    }

    void stopCopiesTo(const std::string& target) const {
        // Ends with the test, not by the hangup of the terminal that ends with its tool.
        writeFile(temp / "bin/cp", "#!/bin/sh\ntrap '' HUP\ncase \"$3\" in " + (temp / target) + ")\n  echo $$ > " +
                                       (temp / "waiting.new") + "\n  mv " + (temp / "waiting.new") + " " +
                                       (temp / "waiting") + "\n  while [ -d " + temp.path() + " ] && [ ! -e " +
                                       (temp / "go") + " ]; do sleep 0.02; done\nesac\nPATH='" + path +
                                       "' exec cp \"$@\"\n");
        chmod((temp / "bin/cp").c_str(), 0755);
    }
    void failCopiesTo(const std::string& target) const {
        writeFile(temp / "bin/cp", "#!/bin/sh\ncase \"$3\" in " + (temp / target) + ") exit 1; esac\nPATH='" + path +
                                       "' exec cp \"$@\"\n");
        chmod((temp / "bin/cp").c_str(), 0755);
    }
    bool isWaiting() const {
        return becomesTrue([this] { return std::filesystem::exists(temp / "waiting"); });
    }
    void goOn() const { writeFile(temp / "go", ""); }

    std::unique_ptr<ToolProcess> start(std::vector<std::string> arguments) const {
        const std::vector<std::string> options = {"--default-dir", temp / "default", "--custom-dir",   temp / "custom",
                                                  "--staging-dir", temp / "staging", "--codec-runner", ""};
        arguments.insert(arguments.begin(), options.begin(), options.end());
        return std::make_unique<ToolProcess>(arguments);
    }
    std::unique_ptr<ToolProcess> startInstallation() const { return start({"install", temp / "source"}); }

    std::string path;
    StorageBuilder source;
};

TEST_F(SlowCopies, ofTwoInstallationsAtOnceOneIsRefused) {
    stopCopiesTo("staging/*/lora/demo/a-decoder");
    const auto one = startInstallation();
    const auto two = startInstallation();
    ASSERT_TRUE(becomesTrue([&] { return one->hasEnded() || two->hasEnded(); }));
    ToolProcess& refused = one->hasEnded() ? *one : *two;
    ToolProcess& running = one->hasEnded() ? *two : *one;
    EXPECT_EQ(refused.wait(), 6);
    const std::string screen = replaced(refused.screen(), temp.path(), "$T");
    EXPECT_TRUE(std::regex_match(
        screen, std::regex("scada-sensors: another operation is running \\(process [0-9]+, started [-0-9]+ "
                           "[:0-9]+\\); it holds the lock file \\[\\$T/custom\\.lock\\]\n")))
        << screen;
    ASSERT_TRUE(isWaiting());
    EXPECT_FALSE(running.hasEnded());
    goOn();
    EXPECT_EQ(running.wait(), 0);
}

TEST_F(SlowCopies, aKilledInstallationHoldsItsDirectoriesNoLongerThanItLives) {
    const auto isFree = [this](const char* file) {
        const int descriptor = open((temp / file).c_str(), O_RDWR | O_CLOEXEC);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        const bool taken = fcntl(descriptor, F_SETLK, &whole) == 0;
        close(descriptor);
        return taken;
    };
    stopCopiesTo("custom.generations/*/lora/demo/b-decoder");
    const auto killed = startInstallation();
    ASSERT_TRUE(isWaiting());
    EXPECT_FALSE(isFree("custom.lock"));
    EXPECT_FALSE(isFree("staging.lock"));
    killed->kill();
    killed->wait();
    const pid_t copy = std::stoi(readFile(temp / "waiting"));
    EXPECT_EQ(kill(copy, 0), 0);
    EXPECT_TRUE(becomesTrue([&] { return isFree("custom.lock") && isFree("staging.lock"); }));
    kill(copy, SIGKILL);
}

TEST_F(SlowCopies, anInstallationKilledHalfWayHasChangedNothing) {
    const auto before = snapshot(temp / "custom");
    stopCopiesTo("custom.generations/*/lora/demo/b-decoder");
    const auto killed = startInstallation();
    ASSERT_TRUE(isWaiting());
    killed->kill();
    EXPECT_EQ(killed->wait(), 128 + SIGKILL);
    kill(std::stoi(readFile(temp / "waiting")), SIGKILL);
    EXPECT_EQ(snapshot(temp / "custom"), before);
    EXPECT_NE(treeOf(temp / "staging"), std::set<std::string>{});
    EXPECT_NE(treeOf(temp / "custom.generations"), std::set<std::string>{});

    stopCopiesTo("none");
    const ToolRun again = run({"install", temp / "source"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.err, "");
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"),
              (std::set<std::string>{"a-decoder", "a.json", "b-decoder", "b.json", "c-decoder", "c.json"}));
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
    EXPECT_EQ(snapshot(temp / "custom.generations/previous"), before);
}

constexpr const char* COPY_FAILED =
    "scada-sensors: File copying error while importing decoder for the [lora/demo/b] definition.\n";

TEST_F(SlowCopies, anInstallationThatFailedHalfWayChangedNothing) {
    const auto before = snapshot(temp / "custom");
    failCopiesTo("custom.generations/*/lora/demo/b-decoder");
    const ToolRun result = run({"install", temp / "source"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "not installed lora/demo/a\nnot installed lora/demo/b\nnot installed lora/demo/c\n");
    EXPECT_EQ(result.err, COPY_FAILED + std::string("    nothing has been changed\n"));
    EXPECT_EQ(snapshot(temp / "custom"), before);
    failCopiesTo("none");
    EXPECT_EQ(run({"install", temp / "source"}).out,
              "installed lora/demo/a\ninstalled lora/demo/b\ninstalled lora/demo/c\n");
}

TEST_F(SlowCopies, anInstallationThatFailedAtItsStagingChangedNothing) {
    const auto before = snapshot(temp / "custom");
    failCopiesTo("staging/*/lora/demo/b-decoder");
    const ToolRun result = run({"install", temp / "source"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "not installed lora/demo/a\nnot installed lora/demo/b\nnot installed lora/demo/c\n");
    EXPECT_EQ(result.err, COPY_FAILED + std::string("    nothing has been changed\n"));
    EXPECT_EQ(snapshot(temp / "custom"), before);
    EXPECT_EQ(run({"install", temp / "source", "--json"}).out, R"({
  "code" : "failed",
  "error" : "File copying error while importing decoder for the [lora/demo/b] definition.",
  "format_version" : 2,
  "result" : 
  {
    "advice" : "nothing has been changed",
    "findings" : [],
    "installed" : [],
    "not_installed" : [ "lora/demo/a", "lora/demo/b", "lora/demo/c" ],
    "unchanged" : []
  },
  "status" : "fail"
}
)");
}

TEST_F(SlowCopies, aTerminalShowsProgress) {
    stopCopiesTo("custom.generations/*/lora/demo/c-decoder");
    const auto process = startInstallation();
    ASSERT_TRUE(isWaiting());
    // A progress line comes every 200 ms.
    for (int left = 50; left > 0; --left)
        pauseBriefly();
    goOn();
    EXPECT_EQ(process->wait(), 0);
    const std::string screen = process->screen();
    EXPECT_NE(screen.find("\r\x1b[K3 of 3 checked, 3 installed\r\x1b[K"), std::string::npos) << screen;
    const std::string end = "\r\x1b[Kinstalled lora/demo/a\ninstalled lora/demo/b\ninstalled lora/demo/c\n";
    ASSERT_GE(screen.size(), end.size());
    EXPECT_EQ(screen.substr(screen.size() - end.size()), end);
}

TEST_F(SlowCopies, aQuietRunShowsNoProgress) {
    stopCopiesTo("custom.generations/*/lora/demo/c-decoder");
    const auto process = start({"install", temp / "source", "-q"});
    ASSERT_TRUE(isWaiting());
    for (int left = 50; left > 0; --left)
        pauseBriefly();
    goOn();
    EXPECT_EQ(process->wait(), 0);
    EXPECT_EQ(process->screen(), "installed lora/demo/a\ninstalled lora/demo/b\ninstalled lora/demo/c\n");
}

TEST_F(SlowCopies, aPipeSeesNoProgress) {
    writeFile(temp / "bin/cp", "#!/bin/sh\nsleep 0.3\nPATH='" + path + "' exec cp \"$@\"\n");
    chmod((temp / "bin/cp").c_str(), 0755);
    const ToolRun result = run({"install", temp / "source"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "installed lora/demo/a\ninstalled lora/demo/b\ninstalled lora/demo/c\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(SlowCopies, removalOfEverythingAsksOnATerminal) {
    const auto before = snapshot(temp / "custom");
    const std::string question = "Remove 1 custom definition and everything else in [$T/custom]? [y/N] ";
    const auto refused = start({"remove", "--all"});
    refused->type("no\n");
    EXPECT_EQ(refused->wait(), 5);
    // Typed text is echoed before or after the question.
    EXPECT_EQ(replaced(replaced(refused->screen(), temp.path(), "$T"), "no\n", ""),
              question + "scada-sensors: nothing has been removed\n");
    EXPECT_EQ(snapshot(temp / "custom"), before);
    const auto confirmed = start({"remove", "--all"});
    confirmed->type("y\n");
    EXPECT_EQ(confirmed->wait(), 0);
    EXPECT_EQ(replaced(replaced(confirmed->screen(), temp.path(), "$T"), "y\n", ""),
              question + "removed lora/other/x\n");
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

// --- signals

struct SignalRow : NamedRow {
    int signal;
    bool typed; ///< with Ctrl-C, which reaches every process in the terminal's foreground
};

class Signalled : public SlowCopies, public ::testing::WithParamInterface<SignalRow> {
protected:
    Signalled() {
        makeDir(temp / "gate");
        setenv("SCADA_TEST_GATE", (temp / "gate").c_str(), 1);
    }
    ~Signalled() override { unsetenv("SCADA_TEST_GATE"); }

    bool isAtGate() const {
        return becomesTrue([this] { return std::filesystem::exists(temp / "gate/waiting"); });
    }
    void openGate() const { writeFile(temp / "gate/go", ""); }

    static std::string lastLine(const std::string& screen) {
        const std::size_t start = screen.rfind('\n', screen.size() - 2);
        return start == std::string::npos ? screen : screen.substr(start + 1);
    }
    static std::string interrupted() {
        return "scada-sensors: interrupted by SIG" + std::string(sigabbrev_np(GetParam().signal)) +
               "; nothing has been changed\n";
    }
    static void signalTo(const ToolProcess& process) {
        if (GetParam().typed)
            process.type("\x03");
        else
            process.send(GetParam().signal);
        // A harmful signal has its effect by then.
        for (int left = 10; left > 0; --left)
            pauseBriefly();
    }
    static std::string note() {
        return "scada-sensors: SIG" + std::string(sigabbrev_np(GetParam().signal)) +
               " came while files were being changed; the work has been finished\n";
    }
};

TEST_P(Signalled, anInstallationThatPutsItsGenerationInPlaceIsFinished) {
    const auto process = startInstallation();
    ASSERT_TRUE(isAtGate());
    signalTo(*process);
    signalTo(*process);
    ASSERT_FALSE(process->hasEnded());
    openGate();
    EXPECT_EQ(process->wait(), 0);
    const std::string screen = process->screen();
    EXPECT_NE(screen.find(note()), std::string::npos) << screen;
    EXPECT_NE(screen.find("installed lora/demo/a\ninstalled lora/demo/b\ninstalled lora/demo/c\n"), std::string::npos)
        << screen;
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"),
              (std::set<std::string>{"a-decoder", "a.json", "b-decoder", "b.json", "c-decoder", "c.json"}));
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
}

TEST_P(Signalled, programsAreToldTheSignal) {
    const auto process = start({"install", temp / "source", "--json", "-q"});
    ASSERT_TRUE(isAtGate());
    signalTo(*process);
    openGate();
    EXPECT_EQ(process->wait(), 0);
    const std::string screen = process->screen();
    EXPECT_NE(screen.find("\"signal\" : \"SIG" + std::string(sigabbrev_np(GetParam().signal)) + "\""),
              std::string::npos)
        << screen;
}

// A program that hangs must not prevent the tool from ending.
TEST_P(Signalled, anInstallationThatStillCopiesChangesNothing) {
    const auto before = snapshot(temp / "custom");
    for (const char* stopped : {"staging/*/lora/demo/a-decoder", "custom.generations/*/lora/demo/b-decoder"}) {
        std::filesystem::remove(temp / "waiting");
        stopCopiesTo(stopped);
        const auto process = startInstallation();
        ASSERT_TRUE(isWaiting());
        const pid_t copy = std::stoi(readFile(temp / "waiting"));
        signalTo(*process);
        EXPECT_EQ(process->wait(), 7);
        EXPECT_EQ(replaced(lastLine(process->screen()), "^C", ""), interrupted());
        EXPECT_TRUE(becomesTrue([copy] { return kill(copy, 0) != 0; }));
        EXPECT_EQ(snapshot(temp / "custom"), before);
    }
}

TEST_P(Signalled, anInstallationThatHasNotBegunChangesNothing) {
    for (int number = 0; number < 200; ++number)
        addDefinition(source, "lora/many/" + std::to_string(number));
    const auto before = snapshot(temp / "custom");
    const auto process = startInstallation();
    ASSERT_TRUE(becomesTrue([this] { return std::filesystem::exists(temp / "custom.lock"); }));
    signalTo(*process);
    EXPECT_EQ(process->wait(), 7);
    EXPECT_EQ(replaced(process->screen(), "^C", ""), interrupted());
    EXPECT_EQ(snapshot(temp / "custom"), before);
    EXPECT_FALSE(std::filesystem::exists(temp / "staging"));
    openGate();
    EXPECT_EQ(run({"remove", "lora/other/x"}).status, 0);
}

TEST_P(Signalled, aRemovalThatPutsItsGenerationInPlaceIsFinished) {
    const auto process = start({"remove", "lora/other/x"});
    ASSERT_TRUE(isAtGate());
    signalTo(*process);
    openGate();
    EXPECT_EQ(process->wait(), 0);
    const std::string screen = process->screen();
    EXPECT_NE(screen.find("removed lora/other/x\n"), std::string::npos) << screen;
    EXPECT_NE(screen.find(note()), std::string::npos) << screen;
    EXPECT_FALSE(std::filesystem::exists(temp / "custom/lora/other/x.json"));
}

INSTANTIATE_TEST_SUITE_P(Tool, Signalled,
                         ::testing::Values(SignalRow{"typed", SIGINT, true}, SignalRow{"interrupt", SIGINT, false},
                                           SignalRow{"terminate", SIGTERM, false}, SignalRow{"hangup", SIGHUP, false}),
                         rowName);

TEST_F(SlowCopies, aSignalThatTheCallerIgnoresIsNotReported) {
    stopCopiesTo("custom.generations/*/lora/demo/b-decoder");
    const auto former = std::signal(SIGHUP, SIG_IGN);
    const auto process = startInstallation();
    std::signal(SIGHUP, former);
    ASSERT_TRUE(isWaiting());
    process->send(SIGHUP);
    pauseBriefly();
    goOn();
    EXPECT_EQ(process->wait(), 0);
    EXPECT_EQ(process->screen().find("SIGHUP"), std::string::npos);
}

} // namespace
