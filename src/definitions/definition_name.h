#pragma once

#include <string>

namespace Kelvra::SCADA {

/// A path or a definition name, split at its last separator ("/" or "\"). Without a separator, both parts are the
/// whole.
struct SplitName {
    std::string directory;
    std::string stem;
};

SplitName splitName(const std::string& name);

/// Returns the path of the definition file of `name` in the storage directory `dir`.
std::string definitionPath(const std::string& dir, const std::string& name);

} // namespace Kelvra::SCADA
