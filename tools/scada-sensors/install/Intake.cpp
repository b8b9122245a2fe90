#include "install/Intake.h"

#include "device/paths.h"
#include "install/ArchiveIntake.h"
#include "install/CopyBuilder.h"
#include "install/untrusted_directories.h"
#include "text/Descriptor.h"
#include "text/directory_entries.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr int NOT_FOLLOWED = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
constexpr const char* STANDARD_INPUT = "-";
constexpr const char* COPY_PREFIX = "scada-source-";

fs::file_type typeOf(mode_t mode) {
    if (S_ISREG(mode))
        return fs::file_type::regular;
    if (S_ISDIR(mode))
        return fs::file_type::directory;
    return S_ISLNK(mode) ? fs::file_type::symlink : fs::file_type::unknown;
}

/// Copies as much of a file as it contained when it was opened. Holes stay holes.
class FileCopy {
public:
    FileCopy(CopyBuilder* copyBuilder, int source, int target, const struct stat& status)
        : builder(copyBuilder), in(source), out(target), end(status.st_size), changed(status.st_mtim),
          sparse(status.st_blocks * S_BLKSIZE < status.st_size) {}

    /// Returns the system's reason if the file cannot be read, and nothing on success.
    std::string run() {
        for (off_t at = nextData(0); at < end;) {
            const auto wanted = static_cast<std::size_t>(std::min<off_t>(end - at, CHUNK));
            const ssize_t count = pread(in, chunk.data(), wanted, at);
            if (count < 0 && errno != EINTR)
                return reasonOf(errno);
            if (count == 0)
                break;
            if (count < 0)
                continue;
            builder->write(out, chunk.data(), static_cast<std::size_t>(count), at);
            at = nextData(at + count);
        }
        if (hasChanged())
            return filled("it was changed while it was read");
        return sparse && ftruncate(out, end) != 0 ? reasonOf(errno) : "";
    }

private:
    bool hasChanged() const {
        struct stat now {};
        return fstat(in, &now) != 0 || now.st_size != end || now.st_mtim.tv_sec != changed.tv_sec ||
               now.st_mtim.tv_nsec != changed.tv_nsec;
    }

    off_t nextData(off_t at) const {
        if (!sparse)
            return at;
        const off_t data = lseek(in, at, SEEK_DATA);
        if (data < 0)
            return errno == ENXIO ? end : at;
        return data;
    }

    CopyBuilder* builder;
    int in;
    int out;
    off_t end;
    struct timespec changed;
    bool sparse;
    std::array<char, CHUNK> chunk;
};

/// Reads a directory from the outside in, each entry relative to its open directory.
class Walk {
public:
    explicit Walk(CopyBuilder* copyBuilder) : builder(copyBuilder) {}

    void run(int root) {
        takeEntries(root, "");
        builder->finish();
        // A directory that may not be read in the source must look the same to the library in the copy.
        for (const auto& [relative, mode] : closed)
            chmod(builder->pathOf(relative).c_str(), mode);
    }

private:
    void takeEntries(int directory, const std::string& relative) {
        if (faccessat(directory, ".", X_OK, AT_EACCESS) != 0)
            closed[relative] = S_IRUSR;
        std::vector<DirectoryEntry> entries;
        try {
            entries = entriesOf(directory, builder->entriesLeft() + 1);
        } catch (const std::system_error& e) {
            failed(relative, e.code().value());
        }
        builder->admitsEntries(entries.size());
        for (const DirectoryEntry& entry : entries) {
            const std::string path = relative.empty() ? entry.name : relative + "/" + entry.name;
            if (!builder->admitsPath(path))
                return;
            takeEntry(directory, entry, path);
            if (builder->isFull())
                return;
        }
    }

    void takeEntry(int directory, const DirectoryEntry& entry, const std::string& relative) {
        struct stat status {};
        unsigned char type = entry.type;
        if (type == DT_UNKNOWN && fstatat(directory, entry.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
            type = IFTODT(status.st_mode);
        if (type == DT_LNK)
            takeLink(directory, entry.name, relative);
        else if (type == DT_DIR)
            takeDirectory(directory, entry.name, relative);
        else if (type == DT_REG || type == DT_UNKNOWN)
            takeFile(directory, entry.name, relative);
        else
            builder->addSpecial(relative, {fs::file_type::unknown, fs::file_type::unknown});
    }

    void takeDirectory(int parent, const std::string& name, const std::string& relative) {
        const Descriptor directory{openat(parent, name.c_str(), NOT_FOLLOWED | O_DIRECTORY)};
        const int error = errno;
        builder->makeDirectory(relative);
        if (directory.isOpen()) {
            takeEntries(directory.number(), relative);
            return;
        }
        failed(relative, error);
        if (error == EACCES)
            closed[relative] = 0;
    }

    void takeLink(int directory, const std::string& name, const std::string& relative) {
        std::array<char, PATH_MAX> target;
        const ssize_t length = readlinkat(directory, name.c_str(), target.data(), target.size());
        if (length < 0) {
            failed(relative, errno);
            return;
        }
        struct stat status {};
        const bool stands = fstatat(directory, name.c_str(), &status, 0) == 0;
        builder->addLink(relative, std::string(target.data(), static_cast<std::size_t>(length)),
                         {fs::file_type::symlink, stands ? typeOf(status.st_mode) : fs::file_type::not_found});
    }

    void takeFile(int directory, const std::string& name, const std::string& relative) {
        const Descriptor file{openat(directory, name.c_str(), NOT_FOLLOWED)};
        struct stat status {};
        if (!file.isOpen() || fstat(file.number(), &status) != 0) {
            failed(relative, errno);
            return;
        }
        // The entry may have been replaced since it was listed.
        if (!S_ISREG(status.st_mode)) {
            builder->addSpecial(relative, {typeOf(status.st_mode), typeOf(status.st_mode)});
            return;
        }
        if (!builder->admitsFile(relative, static_cast<std::uint64_t>(status.st_size)))
            return;
        const Descriptor target = builder->makeFile(relative, status.st_mode);
        const std::string reason =
            target.isOpen() ? FileCopy(builder, file.number(), target.number(), status).run() : reasonOf(errno);
        if (!reason.empty())
            builder->addFailure(relative, reason);
        builder->endFile(relative);
    }

    // A file that may not be read in the source gets a copy that may not be read either, so that the file's own rule
    // reports it. A privileged user could read that copy as an empty file, so it is removed.
    void failed(const std::string& relative, int error) {
        builder->addFailure(relative, error);
        const std::string path = builder->pathOf(relative);
        if (error == EACCES && builder->makeFile(relative, 0).isOpen() && isReadable(path))
            unlink(path.c_str());
    }

    CopyBuilder* builder;
    std::map<std::string, mode_t> closed;
};

constexpr const char* MEMORY = "/dev/shm";
constexpr const char* DISK = "/tmp";

bool isInMemory(const std::string& directory) {
    struct statfs status {};
    return statfs(directory.c_str(), &status) == 0 && status.f_type == TMPFS_MAGIC;
}

// Somebody who can exchange the copy could install files that were never checked.
bool isUsable(const std::string& directory) {
    return isWritable(directory) && untrustedDirectory("TMPDIR", directory).empty();
}

// All three commands use the place of temporary files: a check needs no permission to write beside the device's
// directories, and the next run or start of the device removes the copies of killed runs. Many small files cost several
// times less in memory, if it has room for far more than a source may have.
std::string placeOfCopies(const IntakeLimits& limits) {
    constexpr std::uint64_t SHARE = 8;
    const char* chosen = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe)
    if (chosen != nullptr && *chosen != '\0' && isUsable(chosen))
        return canonicalPath(chosen);
    std::error_code error;
    if (isInMemory(MEMORY) && isUsable(MEMORY) && fs::space(MEMORY, error).available / SHARE > limits.source && !error)
        return MEMORY;
    return DISK;
}

} // namespace

Intake::Intake(const std::string& source, const IntakeLimits& limits) : directory(placeOfCopies(limits), COPY_PREFIX) {
    taken.source = source == STANDARD_INPUT ? "standard input" : source;
    taken.dir = directory.path() + "/source";
    CopyBuilder builder(limits, &taken, &found, &failures);
    builder.makeDirectory("");
    const Descriptor opened{source == STANDARD_INPUT ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                                     : open(source.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (!opened.isOpen() || fstat(opened.number(), &status) != 0)
        builder.addFailure("", errno);
    else if (S_ISREG(status.st_mode) || (source == STANDARD_INPUT && !S_ISDIR(status.st_mode)))
        takeArchive(opened.number(), &builder);
    else if (S_ISDIR(status.st_mode) && source != STANDARD_INPUT)
        Walk(&builder).run(opened.number());
    else
        builder.stop(Rules::SOURCE_NOT_A_DIRECTORY, filled(LibraryText::SOURCE_NOT_A_DIRECTORY));
}

void Intake::takeArchive(int descriptor, CopyBuilder* builder) {
    taken.archive = true;
    ArchiveIntake(descriptor, builder).run();
    builder->finish();
}

void removeLeftCopies() {
    const char* chosen = std::getenv("TMPDIR"); // NOLINT(concurrency-mt-unsafe)
    for (const std::string& directory :
         {std::string(chosen == nullptr ? "" : chosen), std::string(MEMORY), std::string(DISK)}) {
        if (!directory.empty())
            removeLeftovers(directory, COPY_PREFIX);
    }
}

bool isArchive(const std::string& source) {
    std::error_code error;
    return source == STANDARD_INPUT || fs::is_regular_file(source, error);
}

Findings Intake::unreadable(const Findings& findings) const {
    std::set<std::string> told;
    for (const Finding& finding : findings)
        told.insert(finding.place.file);
    Findings more;
    for (const auto& [relative, reason] : failures) {
        if (more.size() > MOST_FINDINGS)
            break;
        const std::string path = relative.empty() ? taken.dir : taken.dir + "/" + relative;
        if (told.count(path) == 0)
            more.push_back({Rules::SOURCE_UNREADABLE, {path}, filled("The entry cannot be read: %s", {reason})});
    }
    return more;
}

} // namespace Kelvra::SCADA::Tool
