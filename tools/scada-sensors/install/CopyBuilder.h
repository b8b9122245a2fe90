#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "install/IntakeLimits.h"
#include "text/Descriptor.h"

#include <sys/types.h>

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

    /// Counts an entry. Returns false when there are too many of them, or directories too deep.
    bool admitsEntry(const std::string& relative);
    /// Counts a file. Returns false when it, or all together, exceeds a limit.
    bool admitsFile(const std::string& relative, std::uint64_t size);
    /// Whether a limit of the source as a whole has been reached, so that nothing more is to be read.
    bool isFull() const { return full; }

    void makeDirectory(const std::string& relative) const;
    /// Returns the new file, open for writing. Not open where its path is too long.
    Descriptor makeFile(const std::string& relative, mode_t mode) const;
    /// Notes a link, to be followed when all entries are known.
    void addLink(const std::string& relative, const std::string& target, const EntryKind& kind);
    /// Gives each link to a file of the source the content of that file, and each that leads outside an empty one.
    void followLinks() const;

    std::string pathOf(const std::string& relative) const { return copy->dir + "/" + relative; }

private:
    void followLink(const std::string& relative) const;
    void refuse(const Rule& rule, const std::string& relative, const std::string& text);
    void stop(const Rule& rule, const std::string& text);

    const IntakeLimits limits;
    SourceCopy* copy;
    Findings* found;
    std::map<std::string, std::string> links;
    std::size_t entries = 0;
    std::size_t definitions = 0;
    std::uint64_t bytes = 0;
    bool full = false;
};

} // namespace Kelvra::SCADA::Tool
