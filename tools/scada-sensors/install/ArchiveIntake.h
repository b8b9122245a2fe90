#pragma once

#include "check/Finding.h"
#include "install/ArchiveStream.h"
#include "install/CopyBuilder.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

struct archive;
struct archive_entry;

namespace Kelvra::SCADA::Tool {

/// Unpacks an archive into the copy of a source, entry by entry while it reads. The copy gets directories and regular
/// files only, so that no entry can lead out of it.
class ArchiveIntake {
public:
    /// Reads `descriptor` from its present position.
    ArchiveIntake(int descriptor, CopyBuilder* copyBuilder);

    /// Reads to the end, or to the first reason to refuse the archive.
    void run();

private:
    static ssize_t readChunk(archive* reader, void* self, const void** data);

    void takeEntries(archive* reader);
    bool readOn();
    bool endsAsTar(std::uint64_t end);
    bool endsAsZip();
    bool isWhole(archive* reader);
    void takeEntry(archive* reader, archive_entry* entry);
    void takeKind(archive* reader, archive_entry* entry, const std::string& relative);
    void takeFile(archive* reader, archive_entry* entry, const std::string& relative);
    void takeHardLink(const std::string& relative, const std::string& target);
    bool takeContent(archive* reader, int file, std::uint64_t limit, std::uint64_t* size);
    bool makeParents(const std::string& relative);
    void noteTop(const std::string& relative, bool directory);
    void refuse(const std::string& text);

    ArchiveStream stream;
    CopyBuilder* builder;
    std::uint64_t entries = 0;
    std::uint64_t unpacked = 0; ///< bytes of the files, including those that are not kept
    std::string lastParent;
    bool first = true;
};

} // namespace Kelvra::SCADA::Tool
