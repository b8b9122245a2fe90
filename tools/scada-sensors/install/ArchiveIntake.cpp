#include "install/ArchiveIntake.h"

#include "install/Libarchive.h"
#include "text/filled.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <filesystem>
#include <memory>
#include <optional>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

struct FreeArchive {
    void operator()(archive* reader) const { libarchive().archive_read_free(reader); }
};

/// Makes names in other scripts readable, whatever the caller's locale.
class Utf8Locale {
public:
    Utf8Locale() : utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (utf8 != nullptr)
            former = uselocale(utf8);
    }
    ~Utf8Locale() {
        if (utf8 == nullptr)
            return;
        uselocale(former);
        freelocale(utf8);
    }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
    locale_t utf8;
    locale_t former = nullptr;
};

std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}

std::string archiveReason(archive* reader) {
    const std::string reason = textOf(libarchive().archive_error_string(reader));
    return reason.empty() ? filled("it is damaged or incomplete") : reason;
}

// Returns the path without "." and repeated "/"; nothing if it leads out of the archive.
std::optional<std::string> relativePath(const std::string& path) {
    if (path.empty() || path.front() == '/' || path.size() >= PATH_MAX)
        return std::nullopt;
    std::string relative;
    for (const fs::path& part : fs::path(path)) {
        if (part == "..")
            return std::nullopt;
        if (!part.empty() && part != ".")
            relative += (relative.empty() ? "" : "/") + part.string();
    }
    return relative;
}

} // namespace

ArchiveIntake::ArchiveIntake(int descriptor, CopyBuilder* copyBuilder) : stream(descriptor), builder(copyBuilder) {}

void ArchiveIntake::run() {
    const Utf8Locale locale;
    const std::unique_ptr<archive, FreeArchive> reader(libarchive().archive_read_new());
    if (!reader)
        throw std::bad_alloc();
    libarchive().archive_read_support_format_tar(reader.get());
    // It needs no list of all entries, which could have any length.
    libarchive().archive_read_support_format_zip_streamable(reader.get());
    if (libarchive().archive_read_open(reader.get(), this, nullptr, readChunk, nullptr) == ARCHIVE_OK)
        takeEntries(reader.get());
    else if (!builder->isFull())
        refuse(filled("The archive cannot be read: %s", {archiveReason(reader.get())}));
}

ssize_t ArchiveIntake::readChunk(archive* reader, void* self, const void** data) {
    ArchiveIntake& intake = *static_cast<ArchiveIntake*>(self);
    const std::string_view bytes = intake.stream.next();
    *data = bytes.data();
    if (!intake.stream.failure().empty())
        libarchive().archive_set_error(reader, EIO, "%s", intake.stream.failure().c_str());
    const bool failed = !intake.stream.failure().empty() || !intake.builder->admitsStream(intake.stream.size());
    return failed ? -1 : static_cast<ssize_t>(bytes.size());
}

// Reads on after the point where the library has seen the end. Returns false if nothing more comes.
bool ArchiveIntake::readOn() {
    return builder->admitsStream(stream.size()) && !stream.next().empty();
}

bool ArchiveIntake::endsAsTar(std::uint64_t end) {
    bool zero = stream.position() > end && stream.isZeroFrom(end);
    while (zero && readOn())
        zero = stream.isZeroFrom(end);
    return zero;
}

bool ArchiveIntake::endsAsZip() {
    while (readOn()) {
    }
    const int listed = stream.entriesOfZip();
    constexpr int MANY = 65535;
    return listed == MANY ? entries >= MANY : listed >= 0 && static_cast<std::uint64_t>(listed) == entries;
}

// The library accepts a tar that was cut between two entries as complete, and skips the directory of a zip.
bool ArchiveIntake::isWhole(archive* reader) {
    const int format = libarchive().archive_format(reader) & ARCHIVE_FORMAT_BASE_MASK;
    const bool whole = format == ARCHIVE_FORMAT_TAR
                           ? endsAsTar(static_cast<std::uint64_t>(libarchive().archive_read_header_position(reader)))
                           : endsAsZip();
    return whole && stream.failure().empty();
}

void ArchiveIntake::takeEntries(archive* reader) {
    archive_entry* entry = nullptr;
    for (;;) {
        const int status = libarchive().archive_read_next_header(reader, &entry);
        // Reading on to the end can also exceed a limit, which is reported already.
        if (builder->isFull() || (status == ARCHIVE_EOF && isWhole(reader)) || builder->isFull())
            return;
        if (status == ARCHIVE_EOF || status < ARCHIVE_WARN) {
            refuse(filled("The archive cannot be read: %s", {archiveReason(reader)}));
            return;
        }
        ++entries;
        if (!builder->admitsEntries(1))
            return;
        takeEntry(reader, entry);
        if (builder->isFull())
            return;
    }
}

void ArchiveIntake::takeEntry(archive* reader, archive_entry* entry) {
    const char* name = libarchive().archive_entry_pathname(entry);
    const std::string path = textOf(name != nullptr ? name : libarchive().archive_entry_pathname_utf8(entry));
    const std::optional<std::string> relative = relativePath(path);
    if (libarchive().archive_entry_is_encrypted(entry) != 0) {
        refuse(filled("The archive is encrypted."));
    } else if (!relative) {
        refuse(filled("The archive has a path that leads out of it, or that is not a path: [%s]",
                      {path.substr(0, NAME_MAX)}));
    } else if (!relative->empty() && builder->admitsPath(*relative)) {
        noteTop(*relative, libarchive().archive_entry_filetype(entry) == AE_IFDIR);
        if (makeParents(*relative))
            takeKind(reader, entry, *relative);
    }
    // Entries that nobody asked for are read too, within the limits: they could have any length.
    std::uint64_t size = 0;
    if (!builder->isFull())
        takeContent(reader, -1, 0, &size);
}

void ArchiveIntake::takeKind(archive* reader, archive_entry* entry, const std::string& relative) {
    const std::string hardLink = textOf(libarchive().archive_entry_hardlink(entry));
    const auto type = libarchive().archive_entry_filetype(entry);
    const bool plain = type == AE_IFREG || type == AE_IFDIR || !hardLink.empty();
    if (plain ? builder->isSpecial(relative) : builder->hasEntry(relative)) {
        builder->addFailure(relative, EEXIST);
        return;
    }
    if (!hardLink.empty()) {
        takeHardLink(relative, hardLink);
        return;
    }
    switch (type) {
    case AE_IFREG:
        takeFile(reader, entry, relative);
        break;
    case AE_IFDIR:
        builder->makeDirectory(relative);
        break;
    case AE_IFLNK:
        builder->addLink(relative, textOf(libarchive().archive_entry_symlink(entry)),
                         {fs::file_type::symlink, fs::file_type::none});
        break;
    default:
        builder->addSpecial(relative, {fs::file_type::unknown, fs::file_type::unknown});
        break;
    }
}

void ArchiveIntake::takeFile(archive* reader, archive_entry* entry, const std::string& relative) {
    const bool known = libarchive().archive_entry_size_is_set(entry) != 0;
    std::uint64_t size =
        known ? static_cast<std::uint64_t>(std::max<la_int64_t>(libarchive().archive_entry_size(entry), 0)) : 0;
    // As with other tools, the last of several files with the same name counts.
    builder->removeFile(relative);
    const bool admitted = builder->admitsFile(relative, size);
    if (builder->isFull())
        return;
    const Descriptor file = admitted ? builder->makeFile(relative, S_IRUSR | S_IWUSR) : Descriptor();
    if (admitted && !file.isOpen())
        builder->addFailure(relative, errno);
    std::uint64_t end = 0;
    const bool taken = takeContent(reader, file.number(), builder->limitOf(relative), &end);
    builder->endFile(relative);
    if (!taken || !file.isOpen())
        return;
    if (end > builder->limitOf(relative)) {
        builder->removeFile(relative);
        builder->addOversized(relative, end);
        return;
    }
    if (!known)
        builder->admitsBytes(end);
    else if (end < size && ftruncate(file.number(), static_cast<off_t>(size)) != 0)
        builder->addFailure(relative, errno);
}

// Reads the content even if it is not kept: content that is skipped unread could have any length. `*size` becomes the
// position where its last byte ends. Returns false if the archive is refused.
bool ArchiveIntake::takeContent(archive* reader, int file, std::uint64_t limit, std::uint64_t* size) {
    const void* data = nullptr;
    std::size_t count = 0;
    la_int64_t offset = 0;
    for (;;) {
        const int status = libarchive().archive_read_data_block(reader, &data, &count, &offset);
        if (builder->isFull())
            return false;
        if (status == ARCHIVE_EOF)
            return true;
        // A warning reports a checksum or a size that does not match the content.
        if (status != ARCHIVE_OK) {
            refuse(filled("The archive cannot be read: %s", {archiveReason(reader)}));
            return false;
        }
        unpacked += count;
        if (!builder->admitsStream(unpacked))
            return false;
        *size = std::max(*size, static_cast<std::uint64_t>(offset) + count);
        if (file >= 0 && *size <= limit)
            builder->write(file, static_cast<const char*>(data), count, offset);
    }
}

void ArchiveIntake::takeHardLink(const std::string& relative, const std::string& target) {
    const std::optional<std::string> path = relativePath(target);
    if (!path || !builder->addHardLink(relative, *path))
        builder->addFailure(relative, ENOENT);
}

// Returns false if the entry cannot be at its path.
bool ArchiveIntake::makeParents(const std::string& relative) {
    const std::size_t length = relative.rfind('/');
    const std::string parent = length == std::string::npos ? "" : relative.substr(0, length);
    if (parent == lastParent)
        return true;
    for (std::size_t end = relative.find('/'); end != std::string::npos; end = relative.find('/', end + 1)) {
        const std::string directory = relative.substr(0, end);
        if (builder->isSpecial(directory)) {
            builder->addFailure(relative, ENOTDIR);
            return false;
        }
        if (builder->makeDirectory(directory) && !builder->admitsEntries(1))
            return false;
    }
    lastParent = parent;
    return true;
}

// Archives often have all entries in one directory.
void ArchiveIntake::noteTop(const std::string& relative, bool directory) {
    const std::string top = relative.substr(0, relative.find('/'));
    if (first)
        builder->setTop(top == "lora" ? "" : top);
    if (builder->top() != top || (top == relative && !directory))
        builder->setTop("");
    first = false;
}

void ArchiveIntake::refuse(const std::string& text) {
    builder->stop(Rules::SOURCE_BAD_ARCHIVE, text);
}

} // namespace Kelvra::SCADA::Tool
