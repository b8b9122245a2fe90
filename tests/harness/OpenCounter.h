#pragma once

#include <map>
#include <string>

namespace Kelvra::SCADA::Test {

/// Counts how often the files of a directory tree are opened, by any process, including emulated ones. Its functions
/// throw std::runtime_error if openings may have been missed.
class OpenCounter {
public:
    /// Watches the directory `root` and all directories that exist below it. Does not follow links.
    explicit OpenCounter(const std::string& root);
    ~OpenCounter();
    OpenCounter(const OpenCounter&) = delete;
    OpenCounter& operator=(const OpenCounter&) = delete;

    /// Returns the path of each file that was opened since the last call, and how often. Directories are not counted.
    std::map<std::string, int> take();

private:
    void watch(const std::string& dir);

    int queue;
    std::map<int, std::string> directories;
};

} // namespace Kelvra::SCADA::Test
