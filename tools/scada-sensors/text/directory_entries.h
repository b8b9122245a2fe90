#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

struct DirectoryEntry {
    std::string name;
    unsigned char type; ///< DT_REG and the like; DT_UNKNOWN if the file system does not tell
};

/// Returns the entries of an open directory, sorted, without "." and "..", at most `most` of them. Throws
/// std::system_error if it cannot be read.
std::vector<DirectoryEntry> entriesOf(int descriptor, std::size_t most);

} // namespace Kelvra::SCADA::Tool
