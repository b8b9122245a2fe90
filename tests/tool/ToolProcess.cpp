#include "ToolProcess.h"

#include "exit_status_of.h"

#include "run_tool.h"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace Kelvra::SCADA::Test {

namespace {

void apply(const std::vector<std::pair<const char*, const char*>>& environment) {
    for (const auto& [name, value] : environment) {
        if (value == nullptr)
            unsetenv(name); // NOLINT(concurrency-mt-unsafe)
        else
            setenv(name, value, 1); // NOLINT(concurrency-mt-unsafe)
    }
}

} // namespace

ToolProcess::ToolProcess(const std::vector<std::string>& arguments, const Terminal& wanted) {
    std::vector<std::string> words = toolCommand(arguments);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    winsize size{};
    size.ws_col = wanted.columns;
    child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        apply(wanted.environment);
        execv(pointers[0], pointers.data());
        _exit(127);
    }
    if (child < 0)
        throw std::runtime_error("cannot run " + words.front());
}

ToolProcess::~ToolProcess() {
    if (!hasEnded()) {
        kill();
        wait();
    }
    close(terminal);
}

void ToolProcess::type(const std::string& text) const {
    if (write(terminal, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("cannot type");
}

bool ToolProcess::collect(int options) {
    int state = 0;
    if (status >= 0)
        return true;
    if (waitpid(child, &state, options) != child)
        return false;
    status = exitStatusOf(state);
    return true;
}

bool ToolProcess::hasEnded() {
    return collect(WNOHANG);
}

void ToolProcess::kill() const {
    send(SIGKILL);
}

void ToolProcess::send(int signal) const {
    ::kill(child, signal);
}

int ToolProcess::wait() {
    collect(0);
    return status;
}

std::string ToolProcess::screen() const {
    std::string text;
    std::array<char, 4096> buffer{};
    // The end of the last process on the terminal is reported as an error.
    for (ssize_t count = 1; count > 0;) {
        count = read(terminal, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < count; ++at) {
            const char c = buffer[static_cast<std::size_t>(at)];
            if (c == '\n' && !text.empty() && text.back() == '\r')
                text.pop_back();
            text += c;
        }
    }
    return text;
}

void pauseBriefly() {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

} // namespace Kelvra::SCADA::Test
