// A device's support library, written only from the contract headers. Where the contract leaves a choice, it differs
// from our stand-in, so that any reliance on the stand-in fails.

#include <kelvra/Logger.h>
#include <kelvra/System.h>
#include <kelvra/Text.h>

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvra {

namespace Logger {

namespace PrintLevel {
// In the opposite order, and none of them 0 or -1.
int ERROR_LEVEL = 40;
int WARNING_LEVEL = 30;
int DEBUG_LEVEL = 20;
int TRACE_LEVEL = 10;

const char* ERROR_LABEL = "<3>";
const char* WARNING_LABEL = "<4>";
const char* DEBUG_LABEL = "<6>";
const char* TRACE_LABEL = "<7>";
} // namespace PrintLevel

bool isPrintable(int level) {
    return level >= PrintLevel::TRACE_LEVEL;
}

// Messages of every level go to a file, or nowhere if there is none, but never to standard error.
// NOLINTNEXTLINE(cert-dcl50-cpp): the signature is given
void printfGeneric(int level, const char* label, const char* format, ...) {
    const char* name = std::getenv("DEVICE_LOG");
    std::FILE* file = name != nullptr ? std::fopen(name, "ae") : nullptr;
    if (file == nullptr)
        return;
    std::va_list values;
    va_start(values, format);
    std::fprintf(file, "%s level=%d ", label, level);
    std::vfprintf(file, format, values);
    std::fputc('\n', file);
    va_end(values);
    std::fclose(file);
}

} // namespace Logger

namespace Text {

namespace {

template <typename Number> bool parseNumber(Number& out, const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    out = static_cast<Number>(value);
    return !text.empty() && end == text.c_str() + text.size() && errno == 0 &&
           value >= std::numeric_limits<Number>::min() && value <= std::numeric_limits<Number>::max();
}

} // namespace

// Here only the space is a blank.
std::string trim(const std::string& text) {
    const std::string::size_type first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string toLowerCase(const std::string& text) {
    std::string lowered;
    for (const char c : text)
        lowered += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lowered;
}

bool parse(int& out, const std::string& text) {
    return parseNumber(out, text);
}

bool parse(unsigned int& out, const std::string& text) {
    return parseNumber(out, text);
}

} // namespace Text

namespace System {

namespace {

pid_t start(std::vector<std::string> words, int outputEnd) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outputEnd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outputEnd, STDERR_FILENO);
    pid_t child = -1;
    const int fault = posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return fault == 0 ? child : -1;
}

void readAll(int from, std::string& output) {
    char part[512];
    while (true) {
        const ssize_t count = read(from, part, sizeof part);
        if (count > 0)
            output.append(part, static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return;
    }
}

// The result has no meaning, because the contract does not let anybody rely on it.
int run(const std::vector<std::string>& words, std::string& output) {
    output.clear();
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return 0;
    const pid_t child = start(words, ends[1]);
    close(ends[1]);
    readAll(ends[0], output);
    close(ends[0]);
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return 0;
}

} // namespace

int cmd(const std::string& commandLine, std::string& output) {
    return run({"/bin/sh", "-c", commandLine}, output);
}

int execute(const std::string& program, const std::vector<std::string>& arguments, std::string& output) {
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run(words, output);
}

} // namespace System

} // namespace Kelvra
