#pragma once

#include "install/PrivateDirectory.h"

#include <memory>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// Gives the library a new directory inside the configured staging directory during an installation, because the
/// library empties its staging directory. REQUIRES: the lock is held.
class PrivateStaging {
public:
    /// Makes the configured directory if it is missing and removes the leftovers of killed installations from it.
    /// Throws std::runtime_error if no directory can be made.
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
