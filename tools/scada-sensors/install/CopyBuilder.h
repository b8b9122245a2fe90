#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "install/IntakeLimits.h"
#include "text/Descriptor.h"

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether a file of this relative path is listed as a definition.
bool isDefinitionPath(const std::string& relative);

/// Makes the copy of a source, entry by entry, and holds it to the limits. Paths are relative to the source.
class CopyBuilder {
public:
    CopyBuilder(const IntakeLimits& allowed, SourceCopy* target, Findings* refusals)
        : limits(allowed), copy(target), found(refusals) {}

    /// Counts entries. Returns false when there are too many of them.
    bool admitsEntries(std::size_t count);
    /// Returns false when a path has too many directories.
    bool admitsPath(const std::string& relative);
    /// Counts a file. Returns false when it, or all together, exceeds a limit. A file that no definition can be gets an
    /// empty one in its place.
    bool admitsFile(const std::string& relative, std::uint64_t size);
    /// Returns how many more entries are admitted.
    std::size_t entriesLeft() const { return limits.entries() - std::min(entries, limits.entries()); }
    /// Whether a limit of the source as a whole has been reached, so that nothing more is to be read.
    bool isFull() const { return full; }

    void makeDirectory(const std::string& relative) const;
    /// Returns the new file, open for writing. Not open where its path is too long.
    Descriptor makeFile(const std::string& relative, mode_t mode) const;
    /// Counts and notes a link, to be followed when all entries are known.
    void addLink(const std::string& relative, const std::string& target, const EntryKind& kind);
    /// Gives each link to a file of the source the content of that file, and each that leads outside an empty one.
    void followLinks() const;

    std::string pathOf(const std::string& relative) const { return copy->dir + "/" + relative; }

private:
    std::uint64_t limitOf(const std::string& relative) const;
    void addOversized(const std::string& relative, std::uint64_t size);
    void followLink(const std::string& relative) const;
    void refuse(const Rule& rule, const std::string& relative, const std::string& text);
    void stop(const Rule& rule, const std::string& text);

    const IntakeLimits limits;
    SourceCopy* copy;
    Findings* found;
    std::map<std::string, std::string> links;
    std::size_t linkBytes = 0;
    std::size_t entries = 0;
    std::size_t definitions = 0;
    std::uint64_t bytes = 0;
    bool full = false;
};

} // namespace Kelvra::SCADA::Tool
