// Compares the peak memory of the decoders' runner, for the decoders of the sample definitions and all their examples,
// with that of a program that does nothing.

#include "ratios.h"

#include <json/reader.h>
#include <json/writer.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
namespace fs = std::filesystem;

std::string textOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(file), {}};
}

Json::Value bytesOf(const Json::Value& bytes) {
    if (bytes.isArray())
        return bytes;
    std::string digits;
    for (const char c : bytes.asString()) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0)
            digits += c;
    }
    Json::Value list(Json::arrayValue);
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
        list.append(std::stoi(digits.substr(at, 2), nullptr, 16));
    return list;
}

// The decoder of a definition with all its examples in one request, or nothing for other files.
std::string requestFor(const fs::path& file) {
    Json::Value document;
    std::ifstream(file) >> document;
    if (!document.isObject() || !document["decoder"].isString())
        return "";
    Json::Value request(Json::objectValue);
    request["version"] = 1;
    request["decoder"] = textOf(file.parent_path() / document["decoder"].asString());
    request["calls"] = Json::arrayValue;
    for (const Json::Value& example : document["examples"]) {
        Json::Value& call = request["calls"].append(Json::objectValue);
        call["fPort"] = example["input"]["fPort"];
        call["bytes"] = bytesOf(example["input"]["bytes"]);
    }
    Json::StreamWriterBuilder oneLine;
    oneLine["indentation"] = "";
    return Json::writeString(oneLine, request) + "\n";
}

/// A program that waits for input on a pipe.
class Waiting {
public:
    explicit Waiting(const char* program) {
        std::array<int, 2> in{};
        std::array<int, 2> out{};
        if (pipe(in.data()) != 0 || pipe(out.data()) != 0 || (child = fork()) < 0)
            throw std::runtime_error("cannot start a program");
        if (child == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            for (const int end : {in[0], in[1], out[0], out[1]})
                close(end);
            execl(program, program, nullptr);
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input = in[1];
        output = out[0];
    }
    ~Waiting() {
        close(input);
        close(output);
        waitpid(child, nullptr, 0);
    }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    std::string ask(const std::string& line) const {
        for (std::size_t sent = 0; sent < line.size();) {
            const ssize_t count = write(input, line.data() + sent, line.size() - sent);
            if (count <= 0)
                throw std::runtime_error("the runner does not read");
            sent += static_cast<std::size_t>(count);
        }
        std::string answer;
        for (char byte = 0; byte != '\n'; answer += byte) {
            if (read(output, &byte, 1) != 1)
                throw std::runtime_error("the runner does not answer");
        }
        return answer;
    }

    /// Returns the most memory that it has had, in KiB, since it was executed: what a parent counts for its child would
    /// begin with the parent's own.
    double peak() const {
        std::ifstream status("/proc/" + std::to_string(child) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("VmHWM:", 0) == 0)
                return std::stod(line.substr(line.find(':') + 1));
        }
        throw std::runtime_error("the peak of a program is not known");
    }

private:
    pid_t child = -1;
    int input = -1;
    int output = -1;
};

// An empty program cannot be asked whether it has come as far as to its input.
double peakOfEmpty() {
    double most = 0;
    for (int turn = 0; turn < 5; ++turn) {
        const Waiting empty(SCADA_EMPTY_PROGRAM);
        usleep(100000);
        most = std::max(most, empty.peak());
    }
    return most;
}

void measure() {
    double most = 0;
    std::string largest;
    int decoders = 0;
    for (const auto& entry : fs::recursive_directory_iterator(SCADA_SAMPLES)) {
        const std::string request = entry.path().extension() == ".json" ? requestFor(entry.path()) : "";
        if (request.empty())
            continue;
        const Waiting runner(SCADA_DUKTAPE_RUNNER);
        if (runner.ask(request).find(R"("loaded":true)") == std::string::npos)
            throw std::runtime_error(entry.path().string() + " is not loaded");
        ++decoders;
        if (runner.peak() <= most)
            continue;
        most = runner.peak();
        largest = entry.path().filename().string();
    }
    if (decoders == 0)
        throw std::runtime_error("there are no samples");
    const double empty = peakOfEmpty();
    std::printf("peak of the runner with %d decoders: %.0f KiB (%s), of an empty program %.0f KiB\n", decoders, most,
                largest.c_str(), empty);
    Bench::printRatio("runner-peak-kib-beyond-an-empty-program", most - empty, 2048);
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("runner_bench", measure);
}
