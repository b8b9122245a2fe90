#pragma once

#include "check/Finding.h"
#include "device/DefinitionDirectory.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Room in a file system.
struct Room {
    std::uint64_t bytes = 0;
    std::uint64_t inodes = 0;

    Room& operator+=(const Room& more);
};

/// The room that an installation needs in the staging directory, beside the custom storage and in it.
class SpaceNeeds {
public:
    /// Adds a definition of the source and the document that would be written for it, if any.
    void add(const Definition& definition, const std::optional<std::string>& document);

    /// Returns why all of them do not fit together, or nothing.
    Findings shortage() const;

private:
    void addFile(std::uint64_t size, const std::string& replaced);
    Room inStaging() const;
    Room inNextGeneration(const std::string& custom) const;
    Room inCustom(const std::string& custom) const;

    Room written;
    std::uint64_t growth = 0;          ///< the room beyond that of the replaced files
    std::uint64_t largestReplaced = 0; ///< the largest file that exists twice while it is replaced
    std::set<std::string> directories;
};

} // namespace Kelvra::SCADA::Tool
