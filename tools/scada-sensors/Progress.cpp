#include "Progress.h"

#include "Storages.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::chrono::milliseconds INTERVAL{200};
constexpr const char* CLEAR_LINE = "\r\x1b[K";

// No time for a file that is not there.
timespec changeOf(const std::string& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? status.st_mtim : timespec{};
}

bool isSame(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

} // namespace

Progress::Progress(const std::set<std::string>& names) {
    if (isatty(STDERR_FILENO) == 0)
        return;
    const Conf& conf = Env::inst().conf();
    for (const std::string& name : names) {
        stagedFiles.insert(definitionFile(conf.getDfnStagingDir(), name));
        const std::string file = definitionFile(conf.getDfnCustomDir(), name);
        customFiles[file] = changeOf(file);
    }
    watcher = std::thread([this] { watch(); });
}

Progress::~Progress() {
    if (!watcher.joinable())
        return;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    stopped.notify_one();
    watcher.join();
    (void)std::fputs(CLEAR_LINE, stderr);
}

void Progress::watch() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopped.wait_for(lock, INTERVAL, [this] { return stopping; }))
        show();
}

void Progress::show() const {
    const auto staged = std::count_if(stagedFiles.begin(), stagedFiles.end(),
                                      [](const std::string& file) { return !isSame(changeOf(file), timespec{}); });
    const auto installed = std::count_if(customFiles.begin(), customFiles.end(),
                                         [](const auto& file) { return !isSame(changeOf(file.first), file.second); });
    (void)std::fprintf(stderr, "%s%lld of %llu checked, %lld installed", CLEAR_LINE, static_cast<long long>(staged),
                       static_cast<unsigned long long>(stagedFiles.size()), static_cast<long long>(installed));
    (void)std::fflush(stderr);
}

} // namespace Kelvra::SCADA::Tool
