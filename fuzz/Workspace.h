#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kelvra::SCADA::Fuzz {

/// A private directory in memory, where there is one, for the life of the process.
class Workspace {
public:
    Workspace();
    ~Workspace();
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    std::string operator/(const std::string& relative) const { return root + "/" + relative; }

private:
    std::string root;
};

/// Writes the file anew, making its parent directories.
void writeFile(const std::string& path, const std::uint8_t* bytes, std::size_t size);

/// Ends the process, which is a finding, when `condition` does not hold.
void require(bool condition, const char* what);

} // namespace Kelvra::SCADA::Fuzz
