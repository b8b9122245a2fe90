#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Keeps every other installation and removal on the same directories out while it lives. The lock files stand beside
/// the staging and the custom directory, and in a custom directory that is mounted, and stay. Only their owner may open
/// them: whoever may open a file, or a directory, may lock it. The system frees the locks of a holder that was killed.
class OperationLock {
public:
    /// Makes the lock files and their directories where they are missing.
    OperationLock();
    ~OperationLock();
    OperationLock(const OperationLock&) = delete;
    OperationLock& operator=(const OperationLock&) = delete;

    /// Returns why the lock is not held, or nothing.
    const std::string& failure() const { return reason; }
    /// Returns why an operation would have to wait now, or nothing. Makes no file.
    static std::string holder();

    /// Whether it is not held because another operation holds it.
    bool isBusy() const { return busy; }

private:
    bool takeFile(const std::string& file);

    std::vector<int> descriptors;
    std::string reason;
    bool busy = false;
};

} // namespace Kelvra::SCADA::Tool
