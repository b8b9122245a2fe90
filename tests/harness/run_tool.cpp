#include "run_tool.h"

#include "exit_status_of.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace Kelvra::SCADA::Test {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, CloseFile>;

File required(std::FILE* file, const std::string& what) {
    if (file == nullptr)
        throw std::runtime_error("cannot open " + what);
    return File(file);
}

std::string contentOf(std::FILE* file) {
    std::rewind(file);
    std::string text;
    std::array<char, 4096> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file))
        text.append(buffer.data(), count);
    return text;
}

// Runs in the child. Root keeps its identity but loses the capabilities that override permissions.
[[noreturn]] void become(char* const* words, int in, int out, int err) {
    prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE, 0, 0, 0);
    prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH, 0, 0, 0);
    if (dup2(in, STDIN_FILENO) >= 0 && dup2(out, STDOUT_FILENO) >= 0 && dup2(err, STDERR_FILENO) >= 0)
        execv(words[0], words);
    _exit(127);
}

ToolRun runWords(std::vector<std::string> words, const std::string& stdinText, const std::string& stdoutPath) {
    const File in = required(std::tmpfile(), "a temporary file");
    const File out = stdoutPath.empty() ? required(std::tmpfile(), "a temporary file")
                                        : required(std::fopen(stdoutPath.c_str(), "w"), stdoutPath);
    const File err = required(std::tmpfile(), "a temporary file");
    std::fwrite(stdinText.data(), 1, stdinText.size(), in.get());
    std::rewind(in.get());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0)
        become(pointers.data(), fileno(in.get()), fileno(out.get()), fileno(err.get()));
    int state = 0;
    if (child < 0 || waitpid(child, &state, 0) != child)
        throw std::runtime_error("cannot run " + words.front());
    return {exitStatusOf(state), stdoutPath.empty() ? contentOf(out.get()) : "", contentOf(err.get())};
}

} // namespace

std::vector<std::string> toolCommand(const std::vector<std::string>& arguments) {
    std::vector<std::string> words;
#ifdef SCADA_EMULATOR
    words.emplace_back(SCADA_EMULATOR);
#endif
    words.emplace_back(SCADA_TOOL);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

ToolRun runTool(const std::vector<std::string>& arguments, const std::string& stdinText,
                const std::string& stdoutPath) {
    return runWords(toolCommand(arguments), stdinText, stdoutPath);
}

ToolRun runToolWith(const std::string& redirections, const std::vector<std::string>& arguments) {
    std::vector<std::string> words = toolCommand(arguments);
    const std::vector<std::string> shell = {"/bin/sh", "-c", R"(exec "$@" )" + redirections, "sh"};
    words.insert(words.begin(), shell.begin(), shell.end());
    return runWords(words, "", "");
}

} // namespace Kelvra::SCADA::Test
