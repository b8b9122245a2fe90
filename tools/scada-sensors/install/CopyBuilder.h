#pragma once

#include "check/Finding.h"
#include "check/SourceCopy.h"
#include "install/IntakeLimits.h"
#include "text/Descriptor.h"
#include "text/JsonWeight.h"

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// Makes the copy of a source, entry by entry, and enforces the limits. Paths are relative to the source.
class CopyBuilder {
public:
    /// `failures` gets the entries that could not be copied, with the reasons.
    CopyBuilder(const IntakeLimits& allowed, SourceCopy* target, Findings* refusals,
                std::map<std::string, std::string>* failures)
        : limits(allowed), copy(target), found(refusals), unreadable(failures) {}

    /// Counts entries. Returns false if there are too many of them.
    bool admitsEntries(std::size_t count);
    /// Returns false if a path has too many directories.
    bool admitsPath(const std::string& relative);
    /// Counts a file. Returns false if it, or all files together, exceed a limit. A file that cannot be a definition is
    /// then replaced by an empty one.
    bool admitsFile(const std::string& relative, std::uint64_t size);
    /// Counts bytes of files. Returns false if there are too many.
    bool admitsBytes(std::uint64_t count);
    /// Returns false if the packed files of a source cannot have so many bytes.
    bool admitsStream(std::uint64_t size);
    /// Returns how many more entries are admitted.
    std::size_t entriesLeft() const { return limits.entries() - std::min(entries, limits.entries()); }
    /// Returns how many bytes a file may have.
    std::uint64_t limitOf(const std::string& relative) const;
    /// Whether to read nothing more.
    bool isFull() const { return full; }
    /// Refuses the whole source.
    void stop(const Rule& rule, const std::string& text);

    /// The one directory that contains everything in an archive, if any: the layout of the source begins there.
    const std::string& top() const { return outermost; }
    void setTop(const std::string& directory) { outermost = directory; }

    /// Returns whether the directory has been made and did not exist before.
    bool makeDirectory(const std::string& relative) const;
    /// Returns the new file, open for writing. It is not open if its path is too long.
    Descriptor makeFile(const std::string& relative, mode_t mode);
    /// Writes the next part of a file that makeFile() has returned. Throws std::runtime_error if that is impossible.
    void write(int file, const char* data, std::size_t size, off_t offset);
    /// Judges the definition that has been written; does nothing for another file.
    void endFile(const std::string& relative);
    void removeFile(const std::string& relative) const;
    bool hasEntry(const std::string& relative) const;
    /// Gives a file of the source another name. Returns whether that file exists.
    bool addHardLink(const std::string& relative, const std::string& target);
    void addOversized(const std::string& relative, std::uint64_t size);
    /// Counts and notes a link, which is followed when all entries are known.
    void addLink(const std::string& relative, const std::string& target, const EntryKind& kind);
    /// Counts and notes an entry that is neither a file nor a directory.
    void addSpecial(const std::string& relative, const EntryKind& kind);
    bool isSpecial(const std::string& relative) const { return copy->special.count(relative) != 0; }
    void addFailure(const std::string& relative, int error) { addFailure(relative, reasonOf(error)); }
    void addFailure(const std::string& relative, const std::string& reason);

    /// Gives each link to a file of the source that file's content, and each link that leads outside an empty file.
    /// Without refusals, the copy then begins in the outermost directory.
    void finish();

    std::string pathOf(const std::string& relative) const { return copy->dir + "/" + relative; }

private:
    bool keeps(std::size_t count);
    bool isDefinition(const std::string& relative) const;
    void refuse(const Rule& rule, const std::string& relative, const std::string& text);
    void followLink(const std::string& relative);
    void shareFile(const std::string& relative, const std::string& target) const;
    void enterTop();
    void judgeDefinitions();
    void judgeDefinition(const std::string& relative);

    const IntakeLimits limits;
    SourceCopy* copy;
    Findings* found;
    std::map<std::string, std::string>* unreadable;
    std::map<std::string, std::string> links;
    std::string outermost;
    JsonWeight weight;
    bool weighing = false; ///< whether the file being written is a definition
    std::size_t kept = 0;  ///< bytes of the names and targets that are kept
    std::size_t entries = 0;
    std::size_t definitions = 0;
    std::uint64_t bytes = 0;
    bool full = false;
};

} // namespace Kelvra::SCADA::Tool
