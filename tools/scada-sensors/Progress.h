#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include <ctime>

namespace Kelvra::SCADA::Tool {

/// Shows on a terminal at standard error how far an installation has come, as the directories tell it: an installation
/// is one call of the library and reports nothing while it runs. Elsewhere it does nothing.
class Progress {
public:
    explicit Progress(const std::set<std::string>& names);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

private:
    void watch();
    void show() const;

    std::set<std::string> stagedFiles;
    std::map<std::string, timespec> customFiles; ///< with the time of the last change before the installation
    std::mutex mutex;
    std::condition_variable stopped;
    bool stopping = false;
    std::thread watcher;
};

} // namespace Kelvra::SCADA::Tool
