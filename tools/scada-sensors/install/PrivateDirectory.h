#pragma once

#include "text/Descriptor.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A new directory with a unique name that nobody else may enter. It is removed with its content at the end of this
/// object's life. Until then it is locked, so that leftovers of killed processes can be told from it.
class PrivateDirectory {
public:
    /// Removes leftovers of the same kind from killed processes, and makes the directory. Throws std::runtime_error if
    /// it cannot be made.
    PrivateDirectory(const std::string& parent, const std::string& prefix);
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& path() const { return dir; }

private:
    bool make(const std::string& pattern);

    std::string dir;
    Descriptor held;
};

/// Removes the private directories in `parent` that killed processes have left behind.
void removeLeftovers(const std::string& parent, const std::string& prefix);

/// Returns the private directories in `parent` that killed processes have left behind.
std::vector<std::string> leftoversIn(const std::string& parent, const std::string& prefix);

} // namespace Kelvra::SCADA::Tool
