#include "install/Progress.h"

#include "device/paths.h"

#include <scada/Env.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::chrono::milliseconds INTERVAL{200};

// Returns no time for a missing file.
timespec changeOf(const std::string& file) {
    struct stat status {};
    return stat(file.c_str(), &status) == 0 ? status.st_mtim : timespec{};
}

bool isSame(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

} // namespace

Progress::Progress(const std::set<std::string>& names, Report report) : tell(std::move(report)) {
    const Conf& conf = Env::inst().conf();
    for (const std::string& name : names) {
        stagedFiles.insert(definitionFile(conf.getDfnStagingDir(), name));
        const std::string file = definitionFile(conf.getDfnCustomDir(), name);
        customFiles[file] = changeOf(file);
    }
    watcher = std::thread([this] { watch(); });
}

Progress::~Progress() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        stopping = true;
    }
    stopped.notify_one();
    watcher.join();
}

void Progress::watch() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!stopped.wait_for(lock, INTERVAL, [this] { return stopping; }))
        tell(counts());
}

ProgressCounts Progress::counts() const {
    const auto staged = std::count_if(stagedFiles.begin(), stagedFiles.end(),
                                      [](const std::string& file) { return !isSame(changeOf(file), timespec{}); });
    const auto installed = std::count_if(customFiles.begin(), customFiles.end(),
                                         [](const auto& file) { return !isSame(changeOf(file.first), file.second); });
    return {stagedFiles.size(), static_cast<std::size_t>(staged), static_cast<std::size_t>(installed)};
}

} // namespace Kelvra::SCADA::Tool
