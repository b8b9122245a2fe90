#include "RunnerProcess.h"

#include "exit_status_of.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace Kelvra::SCADA::Test {

namespace {

struct Pipe {
    int read = -1, write = -1;
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        read = ends[0];
        write = ends[1];
    }
};

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Passes on only the variables that an emulator needs.
std::vector<std::string> surroundings() {
    std::vector<std::string> variables = {"TZ=UTC", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"};
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (std::strncmp(*variable, "QEMU_", 5) == 0)
            variables.emplace_back(*variable);
    return variables;
}

[[noreturn]] void become(char* const* words, char* const* variables, int in, int out, int err) {
    if (dup2(in, STDIN_FILENO) >= 0 && dup2(out, STDOUT_FILENO) >= 0 && dup2(err, STDERR_FILENO) >= 0 &&
        chdir("/") == 0)
        execve(words[0], words, variables);
    _exit(127);
}

} // namespace

std::vector<std::string> runnerCommand() {
    const char* command = std::getenv("SCADA_TEST_CODEC_RUNNER");
    std::istringstream words(command == nullptr ? "" : command);
    std::vector<std::string> result;
    for (std::string word; words >> word;)
        result.push_back(word);
    return result;
}

std::string runnerName() {
    const std::vector<std::string> command = runnerCommand();
    std::string name = command.empty() ? "none" : command.back().substr(command.back().rfind('/') + 1);
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

RunnerProcess::RunnerProcess() {
    std::vector<std::string> command = runnerCommand();
    if (command.empty())
        throw std::runtime_error("SCADA_TEST_CODEC_RUNNER names no runner");
    std::vector<std::string> variables = surroundings();
    const std::vector<char*> words = pointersTo(command);
    const std::vector<char*> environment = pointersTo(variables);
    std::signal(SIGPIPE, SIG_IGN);
    const Pipe in;
    const Pipe out;
    const Pipe err;
    child = fork();
    if (child == 0)
        become(words.data(), environment.data(), in.read, out.write, err.write);
    close(in.read);
    close(out.write);
    close(err.write);
    input = in.write;
    output = out.read;
    error = err.read;
}

RunnerProcess::~RunnerProcess() {
    if (status < 0) {
        kill();
        wait();
    }
    endInput();
    close(output);
    close(error);
}

bool RunnerProcess::send(const std::string& line) const {
    const std::string text = line + "\n";
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(input, text.data() + done, text.size() - done);
        if (count < 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

void RunnerProcess::endInput() {
    if (input >= 0)
        close(input);
    input = -1;
}

bool RunnerProcess::readMore(double seconds) {
    pollfd wanted{output, POLLIN, 0};
    if (poll(&wanted, 1, static_cast<int>(seconds * 1000)) <= 0)
        return false;
    std::array<char, 16384> buffer{};
    const ssize_t count = read(output, buffer.data(), buffer.size());
    if (count > 0)
        pending.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

std::optional<std::string> RunnerProcess::nextLine(double seconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (pending.find('\n') == std::string::npos)
        if (!readMore(std::max(0.0, std::chrono::duration<double>(end - Clock::now()).count())))
            return std::nullopt;
    const std::size_t length = pending.find('\n');
    std::string line = pending.substr(0, length);
    pending.erase(0, length + 1);
    return line;
}

void RunnerProcess::kill() const {
    ::kill(child, SIGKILL);
}

int RunnerProcess::wait() {
    int state = 0;
    if (status < 0 && waitpid(child, &state, 0) == child)
        status = exitStatusOf(state);
    return status;
}

std::string RunnerProcess::errors() const {
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 1; count > 0;) {
        count = read(error, buffer.data(), buffer.size());
        text.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return text;
}

Json::Value jsonOf(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["strictRoot"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value document;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &document, &errors))
        return {};
    return document;
}

std::string lineOf(const Json::Value& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, document);
}

std::string firstLine(const std::string& decoder, const std::string& calls, const std::string& limits) {
    Json::Value request;
    request["version"] = 1;
    request["decoder"] = decoder;
    request["file"] = "decoder.js";
    request["limits"] = jsonOf(limits);
    request["calls"] = jsonOf(calls);
    return lineOf(request);
}

} // namespace Kelvra::SCADA::Test
