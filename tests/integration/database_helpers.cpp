#include "database_helpers.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace Kelvra::SCADA::Test {

namespace {

constexpr std::chrono::seconds LIMIT(10);

} // namespace

Watch::Watch(const std::string& socket, unsigned char number) {
    subscriber.setup(socket, number);
}

Watch::~Watch() {
    stop();
}

void Watch::start() {
    runner = std::thread([this] { result = subscriber.loop(receive, this); });
}

int Watch::stop() {
    const auto start = std::chrono::steady_clock::now();
    subscriber.stop();
    const int loopResult = join();
    lastStopTime = since(start);
    return loopResult;
}

int Watch::join() {
    if (runner.joinable())
        runner.join();
    return result;
}

bool Watch::waitFor(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex);
    return arrival.wait_for(lock, LIMIT, [&] { return texts.size() >= count; });
}

bool Watch::waitFor(const std::string& wanted) {
    std::unique_lock<std::mutex> lock(mutex);
    return arrival.wait_for(lock, LIMIT, [&] { return std::find(texts.begin(), texts.end(), wanted) != texts.end(); });
}

std::vector<std::string> Watch::messages() {
    const std::lock_guard<std::mutex> lock(mutex);
    return texts;
}

void Watch::receive(redisReply* reply, void* self) {
    auto* const watch = static_cast<Watch*>(self);
    {
        const std::lock_guard<std::mutex> lock(watch->mutex);
        watch->texts.push_back(text(reply));
        watch->arrival.notify_all();
    }
    if (watch->onMessage)
        watch->onMessage();
}

int runChild(const std::function<bool()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        bool held = false;
        try {
            held = body();
        } catch (const std::exception& failure) {
            holds(false, failure.what());
        }
        _exit(held ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

bool holds(bool condition, const char* what) {
    if (!condition)
        std::fprintf(stderr, "does not hold in the child: %s\n", what);
    return condition;
}

std::vector<std::string> openDescriptors() {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (!gone)
            all.push_back(entry.path().filename().string() + " " + target.string());
    }
    std::sort(all.begin(), all.end());
    return all;
}

} // namespace Kelvra::SCADA::Test
