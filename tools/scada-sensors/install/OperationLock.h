#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Keeps out every other installation and removal on the same directories while it lives. The lock files are beside the
/// staging and the custom directory, and also inside a mounted custom directory, and they stay. Only their owner may
/// open them, because anyone who may open a file or a directory may lock it. The system frees the locks of a killed
/// holder.
class OperationLock {
public:
    /// Makes the lock files and their directories if they are missing.
    OperationLock();
    ~OperationLock();
    OperationLock(const OperationLock&) = delete;
    OperationLock& operator=(const OperationLock&) = delete;

    /// Returns why the lock is not held, or nothing.
    const std::string& failure() const { return reason; }
    /// Returns why an operation would have to wait now, or nothing. Makes no file.
    static std::string holder();

    /// Whether it is not held because another operation holds the lock.
    bool isBusy() const { return busy; }

private:
    bool takeFile(const std::string& file);

    std::vector<int> descriptors;
    std::string reason;
    bool busy = false;
};

} // namespace Kelvra::SCADA::Tool
