#include "install/Libarchive.h"

#include "text/filled.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>
#include <type_traits>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* FILE_NAME = "libarchive.so.13";

std::runtime_error failure() {
    const char* reason = dlerror(); // NOLINT(concurrency-mt-unsafe)
    return std::runtime_error(filled("archives cannot be read: %s", {reason == nullptr ? FILE_NAME : reason}));
}

Libarchive loadAll() {
    void* library = dlopen(FILE_NAME, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
        throw failure();
    const auto load = [library](const char* name, auto* function) {
        *function = reinterpret_cast<std::remove_pointer_t<decltype(function)>>(dlsym(library, name));
        if (*function == nullptr)
            throw failure();
    };
    Libarchive loaded;
    load("archive_read_new", &loaded.archive_read_new);
    load("archive_read_free", &loaded.archive_read_free);
    load("archive_read_support_filter_gzip", &loaded.archive_read_support_filter_gzip);
    load("archive_read_support_format_tar", &loaded.archive_read_support_format_tar);
    load("archive_read_support_format_zip_streamable", &loaded.archive_read_support_format_zip_streamable);
    load("archive_read_open", &loaded.archive_read_open);
    load("archive_read_next_header", &loaded.archive_read_next_header);
    load("archive_read_data_block", &loaded.archive_read_data_block);
    load("archive_filter_bytes", &loaded.archive_filter_bytes);
    load("archive_error_string", &loaded.archive_error_string);
    load("archive_set_error", &loaded.archive_set_error);
    load("archive_entry_pathname", &loaded.archive_entry_pathname);
    load("archive_entry_pathname_utf8", &loaded.archive_entry_pathname_utf8);
    load("archive_entry_is_encrypted", &loaded.archive_entry_is_encrypted);
    load("archive_entry_filetype", &loaded.archive_entry_filetype);
    load("archive_entry_hardlink", &loaded.archive_entry_hardlink);
    load("archive_entry_symlink", &loaded.archive_entry_symlink);
    load("archive_entry_size", &loaded.archive_entry_size);
    load("archive_entry_size_is_set", &loaded.archive_entry_size_is_set);
    return loaded;
}

} // namespace

const Libarchive& libarchive() {
    static const Libarchive loaded = loadAll();
    return loaded;
}

} // namespace Kelvra::SCADA::Tool
