#include "processes.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <stdexcept>

namespace Kelvra::SCADA::Bench {

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
