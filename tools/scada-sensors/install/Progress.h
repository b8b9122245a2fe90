#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include <ctime>

namespace Kelvra::SCADA::Tool {

/// The progress of an installation.
struct ProgressCounts {
    std::size_t total;
    std::size_t staged;
    std::size_t installed;
};

/// Reports the progress of an installation several times a second, as seen in the directories: an installation is one
/// call of the library, which reports nothing while it runs.
class Progress {
public:
    using Report = std::function<void(const ProgressCounts&)>;

    /// Calls `report` on a separate thread until this object is destroyed.
    Progress(const std::set<std::string>& names, Report report);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void watch();
    ProgressCounts counts() const;

    Report tell;
    std::set<std::string> stagedFiles;
    std::map<std::string, timespec> customFiles; ///< with the time of the last change before the installation
    std::mutex mutex;
    std::condition_variable stopped;
    bool stopping = false;
    std::thread watcher;
};

} // namespace Kelvra::SCADA::Tool
