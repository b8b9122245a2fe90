// The state of the process that the tool's caller gives it, and how the tool corrects it.

#include "NamedRow.h"
#include "ToolTest.h"
#include "row_name.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <map>

namespace {

using namespace Kelvra::SCADA::Test;

/// The environment of the runs.
class Variables {
public:
    explicit Variables(const std::map<std::string, std::string>& values) {
        for (const auto& [name, value] : values) {
            const char* const former = std::getenv(name.c_str());
            before[name] = former == nullptr ? "" : former;
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    ~Variables() {
        for (const auto& [name, value] : before) {
            if (value.empty())
                unsetenv(name.c_str());
            else
                setenv(name.c_str(), value.c_str(), 1);
        }
    }
    Variables(const Variables&) = delete;
    Variables& operator=(const Variables&) = delete;

private:
    std::map<std::string, std::string> before;
};

class StartUp : public ToolTest {
protected:
    StartUp() : source(temp / "source") {
        addDefinition(standard, "lora/demo/th1");
        addDefinition(source, "lora/demo/th2");
    }

    void addProgram(const std::string& name, const std::string& lines) const {
        writeFile(temp / ("bin/" + name), "#!/bin/sh\n" + lines);
        chmod((temp / ("bin/" + name)).c_str(), 0755);
    }

    StorageBuilder source;
};

TEST_F(StartUp, programsOfTheCallersPathAreNotRun) {
    for (const char* name : {"cp", "mkdir", "rm", "sh"})
        addProgram(name, "echo " + std::string(name) + " >> " + (temp / "hijacked") + "\nexit 1\n");
    const Variables variables({{"PATH", temp / "bin"}});
    EXPECT_EQ(run({"install", temp / "source"}).out, "installed lora/demo/th2\n");
    EXPECT_EQ(treeOf(temp / "staging"), std::set<std::string>{});
    EXPECT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
    EXPECT_FALSE(std::filesystem::exists(temp / "hijacked")) << readFile(temp / "hijacked");
}

TEST_F(StartUp, shellsAreToldNothing) {
    addProgram("cp", "env > " + (temp / "environment") + "\nexec /bin/cp \"$@\"\n");
    const Variables variables({{"LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR},
                               {"SCADA_TEST_PROGRAMS", temp / "bin"},
                               {"ENV", "obeyed"},
                               {"BASH_ENV", "obeyed"},
                               {"IFS", "obeyed"},
                               {"CDPATH", "obeyed"},
                               {"SHELLOPTS", "obeyed"},
                               {"BASHOPTS", "obeyed"},
                               {"BASH_FUNC_rm%%", "() { obeyed; }"},
                               {"TOLD", "kept"}});
    EXPECT_EQ(run({"install", temp / "source"}).status, 0);
    const std::string environment = readFile(temp / "environment");
    EXPECT_EQ(environment.find("obeyed"), std::string::npos) << environment;
    EXPECT_NE(environment.find("PATH=/usr/sbin:/usr/bin:/sbin:/bin\n"), std::string::npos) << environment;
    EXPECT_NE(environment.find("TOLD=kept\n"), std::string::npos) << environment;
}

// Returns the words with which a shell runs the tool.
std::string shellWords(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& word : toolCommand(arguments))
        line += " '" + word + "'";
    return line;
}

TEST_F(StartUp, aReaderThatHasGoneIsAnError) {
    const std::string line = "(sleep 0.2;" + shellWords({"--default-dir", temp / "default", "list"}) + " 2> " +
                             (temp / "err") + "; echo $? > " + (temp / "status") + ") | true";
    ASSERT_EQ(std::system(line.c_str()), 0);
    EXPECT_EQ(readFile(temp / "status"), "1\n");
    EXPECT_EQ(readFile(temp / "err"), "scada-sensors: cannot write to standard output: Broken pipe\n");
}

struct FullRow : NamedRow {
    const char* limit;
    const char* output;
    const char* reason;
};

class Full : public StartUp, public ::testing::WithParamInterface<FullRow> {
protected:
    Full() { writeList({GOOD_SENSOR}); }
};

TEST_P(Full, outputIsAnError) {
    for (const char* command : {"list", "sensors", "--help", "--version", "check"}) {
        std::string line = GetParam().limit + shellWords({"--default-dir", temp / "default", "--custom-dir",
                                                          temp / "custom", "--map", temp / "list.json", command});
        line += " > " + replaced(GetParam().output, "$T", temp.path()) + " 2> " + (temp / "err.fifo");
        // The messages go through a FIFO, whose size no limit can restrict.
        line = "mkfifo " + (temp / "err.fifo") + "; cat " + (temp / "err.fifo") + " > " + (temp / "err") + " & (" +
               line + "); status=$?; wait; rm " + (temp / "err.fifo") + "; exit $status";
        EXPECT_EQ(std::system(line.c_str()), 1 << 8) << command;
        EXPECT_EQ(readFile(temp / "err"),
                  std::string("scada-sensors: cannot write to standard output: ") + GetParam().reason + "\n")
            << command;
    }
}

INSTANTIATE_TEST_SUITE_P(Tool, Full,
                         ::testing::Values(FullRow{"file_size", "ulimit -f 0;", "$T/out", "File too large"},
                                           FullRow{"device", "", "/dev/full", "No space left on device"}),
                         rowName);

TEST_F(StartUp, anInstallationBeyondTheFileSizeLimitSaysSo) {
    const auto before = snapshot(temp / "custom");
    const std::string line = "(ulimit -f 0;" +
                             shellWords({"--default-dir", temp / "default", "--custom-dir", temp / "custom",
                                         "--staging-dir", temp / "staging", "install", temp / "source"}) +
                             ") 2>&1 | cat > " + (temp / "out");
    ASSERT_EQ(std::system(line.c_str()), 0);
    EXPECT_EQ(readFile(temp / "out"), "scada-sensors: cannot copy the source: File too large\n");
    EXPECT_EQ(snapshot(temp / "custom"), before);
}

} // namespace
