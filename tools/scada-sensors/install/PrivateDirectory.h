#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// A new directory with a name of its own that nobody else may enter. It is removed, with all that is in it, at the end
/// of this object's life.
class PrivateDirectory {
public:
    /// Throws std::runtime_error when it cannot be made.
    PrivateDirectory(const std::string& parent, const std::string& prefix);
    ~PrivateDirectory();
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& path() const { return dir; }

private:
    std::string dir;
};

} // namespace Kelvra::SCADA::Tool
