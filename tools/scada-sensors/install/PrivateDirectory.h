#pragma once

#include "text/Descriptor.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A new directory with a name of its own that nobody else may enter. It is removed, with all that is in it, at the end
/// of this object's life. It is locked meanwhile, so that what a killed process has left can be told from it.
class PrivateDirectory {
public:
    /// Removes what killed processes have left of the same kind, and makes the directory. Throws std::runtime_error
    /// when it cannot be made.
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

/// Removes the private directories in `parent` that killed processes have left.
void removeLeftovers(const std::string& parent, const std::string& prefix);

/// Returns the private directories in `parent` that killed processes have left.
std::vector<std::string> leftoversIn(const std::string& parent, const std::string& prefix);

} // namespace Kelvra::SCADA::Tool
