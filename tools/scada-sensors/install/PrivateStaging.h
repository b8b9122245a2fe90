#pragma once

#include "install/PrivateDirectory.h"

#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Gives the library a new directory inside the configured staging directory for the time of an installation: the
/// library empties the directory that it is given. REQUIRES: the lock is held.
class PrivateStaging {
public:
    /// Makes the configured directory where it is missing and removes what killed installations have left in it. Throws
    /// std::runtime_error when no directory can be made.
    PrivateStaging();
    ~PrivateStaging();
    PrivateStaging(const PrivateStaging&) = delete;
    PrivateStaging& operator=(const PrivateStaging&) = delete;

private:
    std::string configured;
    std::unique_ptr<PrivateDirectory> directory;
};

/// Returns the directories that killed installations have left in a staging directory.
std::vector<std::string> leftoversOfInstallations(const std::string& staging);

} // namespace Kelvra::SCADA::Tool
