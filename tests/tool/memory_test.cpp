// The memory that the preflight of a source may take, whatever its content.

#include "NamedRow.h"
#include "ToolTest.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

#if defined(SCADA_EMULATOR)
// The memory of the emulator itself.
constexpr long MOST_KILOBYTES = 2L * 64 * 1024;
#else
constexpr long MOST_KILOBYTES = 64L * 1024;
#endif

struct HostileRow : NamedRow {
    std::function<void(const std::string& dir)> plant; ///< in the source
    const char* rule;                                  ///< the rule of the finding; empty for none
};

std::string repeatedUpTo(const std::string& part, std::size_t bytes) {
    std::string text;
    while (text.size() + part.size() <= bytes)
        text += part;
    return text;
}

/// Plants definitions with one text.
std::function<void(const std::string&)> definitions(const std::string& front, const std::string& part,
                                                    const std::string& back, std::size_t bytes = MEGABYTE - 100,
                                                    std::size_t number = 60) {
    return [=](const std::string& dir) {
        const std::string text = front + repeatedUpTo(part, bytes) + back;
        for (std::size_t left = number; left > 0; --left)
            writeFile(dir + "/lora/demo/x" + std::to_string(left) + ".json", text);
        writeFile(dir + "/lora/demo/th1.js", "");
    };
}

const std::string OPENING = R"({"decoder": "th1.js", "properties": {"p": {"x": [1)";
const std::string CLOSING = "]}}}";

/// Runs of the tool whose memory is measured.
class HostileDecoder : public ToolTest {
protected:
    /// Returns the peak memory of a run that ends with a status.
    long kilobytesOf(std::vector<std::string> arguments, int expectedStatus) const {
        arguments.insert(arguments.begin(), {"--codec-runner", runner});
        std::vector<std::string> words = toolCommand(arguments);
        std::vector<char*> pointers;
        for (std::string& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            const int out = open((temp / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (out >= 0 && dup2(out, STDOUT_FILENO) >= 0)
                execv(pointers[0], pointers.data());
            _exit(127);
        }
        int status = 0;
        struct rusage usage {};
        wait4(child, &status, 0, &usage);
        EXPECT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), expectedStatus);
        return usage.ru_maxrss;
    }

    std::string runner; ///< no decoder is run without one
};

class HostileSource : public HostileDecoder, public ::testing::WithParamInterface<HostileRow> {};

TEST_P(HostileSource, takesLittleMemory) {
    GetParam().plant(temp / "source");
    const long kilobytes = kilobytesOf({"--custom-dir", temp / "custom", "--default-dir", temp / "default",
                                        "--staging-dir", temp / "staging", "check", temp / "source"},
                                       GetParam().rule[0] == '\0' ? 0 : 1);
    EXPECT_LE(kilobytes, MOST_KILOBYTES);
    const std::string rule = GetParam().rule;
    const std::string found = readFile(temp / "out");
    if (rule.empty()) {
        EXPECT_EQ(found.substr(0, 9), "0 faults ") << found.substr(0, 1000);
    } else {
        EXPECT_NE(found.find("[" + rule + "]\n"), std::string::npos) << found.substr(0, 1000);
    }
    RecordProperty("kilobytes", static_cast<int>(kilobytes));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, HostileSource,
    ::testing::Values(
        HostileRow{"values", definitions(OPENING, ",1", CLOSING), "source/too-large"},
        HostileRow{"values_up_to_the_limit", definitions(OPENING, ",1", CLOSING, 99000, 20), ""},
        HostileRow{"objects_up_to_the_limit", definitions(OPENING, ",{\"a\":{}}", CLOSING, 110000, 20), ""},
        HostileRow{"values_behind_a_comment", definitions("{ // \"\n\"a\": [1", ",1", "]}"), "source/too-large"},
        HostileRow{"members", definitions("{", "\"a\":1,", "\"b\":1}"), "source/too-large"},
        HostileRow{"long_name", definitions("{\"properties\": {\"", "x", "\": 1}}"), "source/too-many-findings"},
        HostileRow{"long_unprintable_name", definitions("{\"properties\": {\"", "\xc2\x80", "\": 1}}"),
                   "source/too-many-findings"},
        HostileRow{"no_json", definitions("", "x", ""), "definition/syntax"},
        HostileRow{"stray_files",
                   [](const std::string& dir) {
                       for (int number = 0; number < 60; ++number)
                           writeFile(dir + "/lora/demo/y" + std::to_string(number),
                                     "[1" + repeatedUpTo(",1", MEGABYTE - 100) + "]");
                   },
                   ""},
        HostileRow{"links",
                   [](const std::string& dir) {
                       for (int number = 0; number < 2000; ++number)
                           makeLink(std::string(4000, 'x'), dir + "/link" + std::to_string(number));
                   },
                   "source/too-many"},
        HostileRow{"long_names",
                   [](const std::string& dir) {
                       for (int number = 0; number < 5000; ++number)
                           writeFile(
                               dir + "/lora/demo/x" + std::string(230, 'x') + std::to_string(number) + ".json.bak", "");
                   },
                   "source/wrong-level"}),
    rowName);

// Everything differs: each value is gone. Only the source without a definition has no difference.
TEST_P(HostileSource, takesLittleMemoryToCompare) {
    const int expectedStatus = GetParam().name == std::string("stray_files") ? 0 : 1;
    GetParam().plant(temp / "source");
    definitions(R"({"decoder": "th1.js", "properties": {)", " ", "}}", 1)(temp / "custom");
    for (const char* form : {"--json", "--quiet"}) {
        const long kilobytes = kilobytesOf({form, "--custom-dir", temp / "custom", "--default-dir", temp / "default",
                                            "--staging-dir", temp / "staging", "diff", temp / "source"},
                                           expectedStatus);
        EXPECT_LE(kilobytes, MOST_KILOBYTES) << form;
    }
}

// Each line of the findings has one long description.
TEST_F(HostileDecoder, takesLittleMemory) {
    runner = duktapeRunnerIn(temp);
    writeFile(
        temp / "source/lora/demo/th1.js",
        "function decodeUplink(i) { var d = {}; for (var n = 0; n < 4000; ++n) d['x' + n] = n; return {data: d}; }");
    writeFile(temp / "source/lora/demo/x.json",
              R"({"decoder": "th1.js", "properties": {}, "examples": [{"description": ")" + std::string(900000, 'd') +
                  R"(", "input": {"fPort": 2, "bytes": ""}, "output": {"data": {}}}]})");
    EXPECT_LE(kilobytesOf({"--custom-dir", temp / "custom", "--default-dir", temp / "default", "--staging-dir",
                           temp / "staging", "check", temp / "source"},
                          1),
              MOST_KILOBYTES);
    EXPECT_THAT(readFile(temp / "out"), ::testing::HasSubstr("[codec/undeclared]\n"));
}

// Each of many values repeats the names on its path.
TEST_F(HostileDecoder, takesLittleMemoryForManyValues) {
    runner = duktapeRunnerIn(temp);
    for (const std::string& name : {std::string("p"), std::string(240, 'p')}) {
        writeFile(temp / "custom/lora/demo/th1.js",
                  "function decodeUplink(i) { var a = []; for (var n = 0; n < 9990; ++n) a.push(0); "
                  "return {data: {" +
                      name + ": a}}; }");
        writeFile(temp / "custom/lora/demo/x.json",
                  R"({"decoder": "th1.js", "properties": {}, "examples": [{"description": "d", "input":
                      {"fPort": 2, "bytes": ""}, "output": {"data": {}}}]})");
        const std::vector<std::string> places = {"--custom-dir",   temp / "custom", "--default-dir",
                                                 temp / "default", "--map",         temp / "list.json"};
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"check"},
              {"decode", "--definition", "lora/demo/x", "--port", "1", "00"},
              {"decode", "--definition", "lora/demo/x", "--port", "1", "00", "--json"}}) {
            std::vector<std::string> arguments = places;
            arguments.insert(arguments.end(), command.begin(), command.end());
            EXPECT_LE(kilobytesOf(arguments, 1), MOST_KILOBYTES) << name << command.back();
        }
    }
}

TEST_F(ToolTest, saysThatThereIsNotEnoughMemory) {
    definitions(R"({"properties": {}, "a": ")", "x", "\"}", MEGABYTE - 100, 1)(temp / "source");
    setenv("LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR, 1);
    setenv("SCADA_TEST_LARGEST_ALLOCATION", "500000", 1);
    for (const char* command : {"check", "install"}) {
        const ToolRun result = run({command, temp / "source"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "scada-sensors: not enough memory\n");
    }
    unsetenv("SCADA_TEST_LARGEST_ALLOCATION");
    unsetenv("LD_LIBRARY_PATH");
}

} // namespace
