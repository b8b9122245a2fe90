#pragma once

#include "TempDir.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kelvra::SCADA::Fuzz {

/// A private directory that exists as long as the process, in memory if there is such a file system.
class Workspace : public Test::TempDir {
public:
    Workspace();
};

/// Writes the file anew and makes its parent directories.
void writeFile(const std::string& path, const std::uint8_t* bytes, std::size_t size);

/// Ends the process, which counts as a finding, if `condition` is false.
void require(bool condition, const char* what);

} // namespace Kelvra::SCADA::Fuzz
