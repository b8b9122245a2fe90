#include "install/export_archive.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "device/paths.h"
#include "install/Libarchive.h"
#include "text/Descriptor.h"
#include "text/ReplacedFile.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr mode_t ARCHIVED_MODE = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

struct Free {
    void operator()(archive* writer) const { libarchive().archive_write_free(writer); }
    void operator()(archive_entry* entry) const { libarchive().archive_entry_free(entry); }
};

[[noreturn]] void failToRead(const std::string& path, const std::string& reason) {
    throw std::runtime_error(filled("cannot read [%s]: %s", {path, reason}));
}

/// Leaves out everything that would differ from one export to the next: times, owners and the modes of the files.
class ArchiveWriter {
public:
    ArchiveWriter(int descriptor, std::string name)
        : lib(libarchive()), out(lib.archive_write_new()), target(std::move(name)) {
        fstat(descriptor, &written);
        const bool isOpen = lib.archive_write_set_format_pax_restricted(out.get()) == ARCHIVE_OK &&
                            lib.archive_write_add_filter_gzip(out.get()) == ARCHIVE_OK &&
                            lib.archive_write_set_options(out.get(), "gzip:!timestamp") == ARCHIVE_OK &&
                            lib.archive_write_set_bytes_in_last_block(out.get(), 1) == ARCHIVE_OK &&
                            lib.archive_write_open_fd(out.get(), descriptor) == ARCHIVE_OK;
        if (!isOpen)
            fail();
    }

    /// Whether a path is that of the archive itself.
    bool isTarget(const std::string& path) const {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0 && status.st_ino == written.st_ino && status.st_dev == written.st_dev;
    }

    void addFile(const std::string& path, const std::string& name) const {
        std::string failure;
        const Descriptor in = openRegularFile(path, &failure);
        struct stat status {};
        if (!in.isOpen() || fstat(in.number(), &status) != 0)
            failToRead(path, failure);
        addHeader(name, AE_IFREG, status.st_size, "");
        std::array<char, CHUNK> chunk;
        for (off_t left = status.st_size; left > 0;) {
            const ssize_t count = read(in.number(), chunk.data(), chunk.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                failToRead(path, reasonOf(count == 0 ? ESTALE : errno));
            if (lib.archive_write_data(out.get(), chunk.data(), static_cast<std::size_t>(count)) < 0)
                fail();
            left -= count;
        }
    }

    void addLink(const std::string& path, const std::string& name) const {
        std::error_code error;
        const fs::path linked = fs::read_symlink(path, error);
        if (error)
            failToRead(path, error.message());
        addHeader(name, AE_IFLNK, 0, linked.string());
    }

    void finish() const {
        if (lib.archive_write_close(out.get()) != ARCHIVE_OK)
            fail();
    }

private:
    void addHeader(const std::string& name, unsigned int type, off_t size, const std::string& link) const {
        const std::unique_ptr<archive_entry, Free> entry(lib.archive_entry_new());
        lib.archive_entry_set_pathname(entry.get(), name.c_str());
        lib.archive_entry_set_filetype(entry.get(), type);
        lib.archive_entry_set_perm(entry.get(), ARCHIVED_MODE);
        lib.archive_entry_set_size(entry.get(), size);
        lib.archive_entry_set_mtime(entry.get(), 0, 0);
        if (!link.empty())
            lib.archive_entry_set_symlink(entry.get(), link.c_str());
        if (lib.archive_write_header(out.get(), entry.get()) < ARCHIVE_WARN)
            fail();
    }

    [[noreturn]] void fail() const {
        const char* const reason = lib.archive_error_string(out.get());
        throw std::runtime_error(
            filled("cannot write the archive [%s]: %s", {target, reason == nullptr ? "" : reason}));
    }

    const Libarchive& lib;
    std::unique_ptr<archive, Free> out;
    std::string target;
    struct stat written {};
};

// `root` stays the same directory when another generation replaces it.
void addStorage(const ArchiveWriter& writer, const std::string& root) {
    const std::string& custom = Env::inst().conf().getDfnCustomDir();
    std::set<std::string> names;
    std::error_code error;
    for (fs::recursive_directory_iterator at(root, error); !error && at != fs::recursive_directory_iterator();
         at.increment(error)) {
        names.insert(at->path().string().substr(root.size()));
        if (at.depth() == 0 && at->path().filename() == LOST_AND_FOUND && isMountRoot(custom))
            at.disable_recursion_pending();
    }
    if (error)
        failToRead(custom, error.message());
    for (const std::string& name : names) {
        if (startsWith(name + "/", std::string("/") + EXPORTED_LIST + "/"))
            throw std::runtime_error(
                filled("[%s] has the name that the list gets in an archive; move it away", {custom + name}));
        const fs::file_status status = fs::symlink_status(root + name, error);
        const bool ours = name == GenerationPaths::MARK || name == std::string("/") + LOCK_INSIDE;
        if (fs::is_regular_file(status) && !ours && !writer.isTarget(root + name))
            writer.addFile(root + name, name.substr(1));
        else if (fs::is_symlink(status))
            writer.addLink(root + name, name.substr(1));
    }
}

void writeTo(int descriptor, const std::string& name) {
    const Conf& conf = Env::inst().conf();
    const ArchiveWriter writer(descriptor, name);
    const Descriptor storage{open(conf.getDfnCustomDir().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (storage.isOpen())
        addStorage(writer, "/proc/self/fd/" + std::to_string(storage.number()));
    else if (errno != ENOENT)
        failToRead(conf.getDfnCustomDir(), reasonOf(errno));
    // A link that leads nowhere is a list that cannot be read, not none.
    struct stat list {};
    if (lstat(conf.getSensorMapFile().c_str(), &list) == 0)
        writer.addFile(conf.getSensorMapFile(), EXPORTED_LIST);
    // An operation may have begun to write in place meanwhile.
    if (isInterrupted(GenerationPaths::ofDevice()))
        throw std::runtime_error(filled("the custom storage was changed while it was read; export it again"));
    writer.finish();
}

// A device or a FIFO is written to and not replaced.
void writeToSpecial(const std::string& file) {
    const Descriptor out{open(file.c_str(), O_WRONLY | O_CLOEXEC)};
    if (!out.isOpen())
        throw std::runtime_error(filled("cannot write the archive [%s]: %s", {file, reasonOf(errno)}));
    writeTo(out.number(), file);
}

} // namespace

void exportArchive(const std::string& name, const std::function<void()>& begin) {
    if (name == "-") {
        writeTo(STDOUT_FILENO, "standard output");
        return;
    }
    struct stat former {};
    if (stat(name.c_str(), &former) == 0 && !S_ISREG(former.st_mode)) {
        writeToSpecial(name);
        return;
    }
    begin();
    ReplacedFile out(name);
    if (!out.isOpen())
        throw std::runtime_error(filled("cannot write the archive [%s]: %s", {name, reasonOf(errno)}));
    writeTo(out.number(), name);
    if (const int error = out.complete(); error != 0)
        throw std::runtime_error(filled("cannot write the archive [%s]: %s", {name, reasonOf(error)}));
}

} // namespace Kelvra::SCADA::Tool
