#include "processes.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <stdexcept>

namespace Kelvra::SCADA::Bench {

namespace {

[[noreturn]] void become(char* const* words, const char* output) {
    const int out = open(output, O_WRONLY | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    if (out >= 0 && dup2(out, STDOUT_FILENO) >= 0)
        execv(words[0], words);
    _exit(127);
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

} // namespace

Cost awaited(pid_t child, const std::string& program) {
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child)
        throw std::runtime_error("cannot run " + program);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(program + " ended with the wait status " + std::to_string(status));
    return {seconds(usage.ru_utime) + seconds(usage.ru_stime), static_cast<double>(usage.ru_maxrss), usage.ru_inblock};
}

Cost run(Words words, const std::string& output) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0)
        become(pointers.data(), output.c_str());
    return awaited(child, words.front());
}

double secondsOf(const Words& line, const std::string& input) {
    Words words = line;
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(input.c_str(), O_RDONLY), STDIN_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error(line.front() + " ended with the wait status " + std::to_string(status));
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace Kelvra::SCADA::Bench
