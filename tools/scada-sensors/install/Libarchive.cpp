#include "install/Libarchive.h"

#include "text/filled.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* ARCHIVES = "libarchive.so.13";
constexpr const char* ZLIB = "libz.so.1";

std::runtime_error failure(const char* name) {
    const char* reason = dlerror(); // NOLINT(concurrency-mt-unsafe)
    return std::runtime_error(filled("archives cannot be used: %s", {reason == nullptr ? name : reason}));
}

class Loader {
public:
    explicit Loader(const char* file) : library(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
        if (library == nullptr)
            throw failure(file);
    }

    template <typename Function> void operator()(const char* name, Function* function) const {
        *function = reinterpret_cast<Function>(dlsym(library, name));
        if (*function == nullptr)
            throw failure(name);
    }

private:
    void* library;
};

void loadReading(const Loader& load, Libarchive* loaded) {
    load("archive_read_new", &loaded->archive_read_new);
    load("archive_read_free", &loaded->archive_read_free);
    load("archive_read_support_format_tar", &loaded->archive_read_support_format_tar);
    load("archive_read_support_format_zip_streamable", &loaded->archive_read_support_format_zip_streamable);
    load("archive_read_open", &loaded->archive_read_open);
    load("archive_read_next_header", &loaded->archive_read_next_header);
    load("archive_read_data_block", &loaded->archive_read_data_block);
    load("archive_format", &loaded->archive_format);
    load("archive_read_header_position", &loaded->archive_read_header_position);
    load("archive_error_string", &loaded->archive_error_string);
    load("archive_set_error", &loaded->archive_set_error);
    load("archive_entry_pathname", &loaded->archive_entry_pathname);
    load("archive_entry_pathname_utf8", &loaded->archive_entry_pathname_utf8);
    load("archive_entry_is_encrypted", &loaded->archive_entry_is_encrypted);
    load("archive_entry_filetype", &loaded->archive_entry_filetype);
    load("archive_entry_hardlink", &loaded->archive_entry_hardlink);
    load("archive_entry_symlink", &loaded->archive_entry_symlink);
    load("archive_entry_size", &loaded->archive_entry_size);
    load("archive_entry_size_is_set", &loaded->archive_entry_size_is_set);
}

void loadWriting(const Loader& load, Libarchive* loaded) {
    load("archive_write_new", &loaded->archive_write_new);
    load("archive_write_free", &loaded->archive_write_free);
    load("archive_write_set_format_pax_restricted", &loaded->archive_write_set_format_pax_restricted);
    load("archive_write_add_filter_gzip", &loaded->archive_write_add_filter_gzip);
    load("archive_write_set_options", &loaded->archive_write_set_options);
    load("archive_write_set_bytes_in_last_block", &loaded->archive_write_set_bytes_in_last_block);
    load("archive_write_open_fd", &loaded->archive_write_open_fd);
    load("archive_write_header", &loaded->archive_write_header);
    load("archive_write_data", &loaded->archive_write_data);
    load("archive_write_close", &loaded->archive_write_close);
    load("archive_entry_new", &loaded->archive_entry_new);
    load("archive_entry_free", &loaded->archive_entry_free);
    load("archive_entry_set_pathname", &loaded->archive_entry_set_pathname);
    load("archive_entry_set_filetype", &loaded->archive_entry_set_filetype);
    load("archive_entry_set_perm", &loaded->archive_entry_set_perm);
    load("archive_entry_set_size", &loaded->archive_entry_set_size);
    load("archive_entry_set_mtime", &loaded->archive_entry_set_mtime);
    load("archive_entry_set_symlink", &loaded->archive_entry_set_symlink);
}

void loadUnpacking(const Loader& load, Libarchive* loaded) {
    load("inflateInit2_", &loaded->inflateInit2_);
    load("inflateReset", &loaded->inflateReset);
    load("inflate", &loaded->inflate);
    load("inflateEnd", &loaded->inflateEnd);
}

Libarchive loadAll() {
    const Loader load(ARCHIVES);
    Libarchive loaded;
    loadUnpacking(Loader(ZLIB), &loaded);
    loadReading(load, &loaded);
    loadWriting(load, &loaded);
    return loaded;
}

} // namespace

const Libarchive& libarchive() {
    static const Libarchive loaded = loadAll();
    return loaded;
}

} // namespace Kelvra::SCADA::Tool
