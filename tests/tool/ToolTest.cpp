#include "ToolTest.h"

#include "findings.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>

namespace Kelvra::SCADA::Test {

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

std::string duktapeRunnerIn(const TempDir& directory) {
    std::string program = directory / "codec-runner-duktape";
    chmod(directory.path().c_str(), 0755);
    std::filesystem::copy_file(SCADA_DUKTAPE_RUNNER, program);
#if defined(SCADA_EMULATOR)
    std::string script = directory / "codec-runner-emulated";
    writeFile(script, "#!/bin/sh\nexec " + replaced(SCADA_EMULATOR, ";", " ") + " " + program + "\n");
    chmod(script.c_str(), 0755);
    return script;
#else
    return program;
#endif
}

Json::Value envelope(int status) {
    constexpr std::array<const char*, 8> CODES = {"done",      "failed",  "usage", "no-database",
                                                  "not-found", "refused", "busy",  "interrupted"};
    Json::Value members(Json::objectValue);
    members["format_version"] = 2;
    members["status"] = status == 0 ? "success" : "fail";
    members["code"] = CODES.at(static_cast<std::size_t>(status));
    return members;
}

std::string refusal(std::size_t errors) {
    return "scada-sensors: the installation is refused: " + std::to_string(errors) +
           (errors == 1 ? " error" : " errors") + "; nothing has been changed\n";
}

ToolTest::ToolTest() : standard(temp / "default"), custom(temp / "custom") {
    // For a tool that was built with the leak sanitizer.
    setenv("LSAN_OPTIONS", "print_suppressions=0:suppressions=" SCADA_LSAN_SUPPRESSIONS, 1);
    makeDir(temp / "default");
    makeDir(temp / "custom");
}

ToolRun ToolTest::run(std::vector<std::string> arguments, const std::string& stdoutPath) const {
    const auto has = [&arguments](const std::string& option) {
        return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
    };
    const std::vector<std::vector<std::string>> options = {{"--default-dir", temp / "default"},
                                                           {"--custom-dir", temp / "custom"},
                                                           {"--staging-dir", temp / "staging"},
                                                           {"--map", temp / "list.json"},
                                                           {"--codec-runner", ""},
                                                           {"--log-level", "off"}};
    for (const auto& option : options) {
        if (!has(option[0]))
            arguments.insert(arguments.begin(), option.begin(), option.end());
    }
    ToolRun result = runTool(arguments, "", stdoutPath);
    result.out = replaced(result.out, temp.path(), "$T");
    result.err = replaced(result.err, temp.path(), "$T");
    return result;
}

void ToolTest::expectRun(const std::string& command, const RunRow& row) const {
    std::vector<std::string> arguments = {command};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, withRemedies(row.out));
    EXPECT_EQ(result.err, withRemedies(row.err));
}

void ToolTest::writeList(const std::vector<std::string>& elements) const {
    std::string text;
    for (const std::string& element : elements)
        text += (text.empty() ? "[\n" : ",\n") + element;
    writeFile(temp / "list.json", text.empty() ? "[]" : text + "\n]\n");
}

} // namespace Kelvra::SCADA::Test
