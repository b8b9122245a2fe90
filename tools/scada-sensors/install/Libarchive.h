#pragma once

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

namespace Kelvra::SCADA::Tool {

/// The functions that the tool uses of libarchive, and of zlib, which libarchive needs, under their own names. The
/// library is loaded when the first archive is read or written: loading it and its dependencies takes longer than most
/// commands.
struct Libarchive {
    // NOLINTBEGIN(readability-identifier-naming)
    decltype(&::archive_read_new) archive_read_new = nullptr;
    decltype(&::archive_read_free) archive_read_free = nullptr;
    decltype(&::archive_read_support_format_tar) archive_read_support_format_tar = nullptr;
    decltype(&::archive_read_support_format_zip_streamable) archive_read_support_format_zip_streamable = nullptr;
    decltype(&::archive_read_open) archive_read_open = nullptr;
    decltype(&::archive_read_next_header) archive_read_next_header = nullptr;
    decltype(&::archive_read_data_block) archive_read_data_block = nullptr;
    decltype(&::archive_format) archive_format = nullptr;
    decltype(&::archive_read_header_position) archive_read_header_position = nullptr;
    decltype(&::archive_error_string) archive_error_string = nullptr;
    decltype(&::archive_set_error) archive_set_error = nullptr;
    decltype(&::archive_entry_pathname) archive_entry_pathname = nullptr;
    decltype(&::archive_entry_pathname_utf8) archive_entry_pathname_utf8 = nullptr;
    decltype(&::archive_entry_is_encrypted) archive_entry_is_encrypted = nullptr;
    decltype(&::archive_entry_filetype) archive_entry_filetype = nullptr;
    decltype(&::archive_entry_hardlink) archive_entry_hardlink = nullptr;
    decltype(&::archive_entry_symlink) archive_entry_symlink = nullptr;
    decltype(&::archive_entry_size) archive_entry_size = nullptr;
    decltype(&::archive_entry_size_is_set) archive_entry_size_is_set = nullptr;
    decltype(&::archive_write_new) archive_write_new = nullptr;
    decltype(&::archive_write_free) archive_write_free = nullptr;
    decltype(&::archive_write_set_format_pax_restricted) archive_write_set_format_pax_restricted = nullptr;
    decltype(&::archive_write_add_filter_gzip) archive_write_add_filter_gzip = nullptr;
    decltype(&::archive_write_set_options) archive_write_set_options = nullptr;
    decltype(&::archive_write_set_bytes_in_last_block) archive_write_set_bytes_in_last_block = nullptr;
    decltype(&::archive_write_open_fd) archive_write_open_fd = nullptr;
    decltype(&::archive_write_header) archive_write_header = nullptr;
    decltype(&::archive_write_data) archive_write_data = nullptr;
    decltype(&::archive_write_close) archive_write_close = nullptr;
    decltype(&::archive_entry_new) archive_entry_new = nullptr;
    decltype(&::archive_entry_free) archive_entry_free = nullptr;
    decltype(&::archive_entry_set_pathname) archive_entry_set_pathname = nullptr;
    decltype(&::archive_entry_set_filetype) archive_entry_set_filetype = nullptr;
    decltype(&::archive_entry_set_perm) archive_entry_set_perm = nullptr;
    decltype(&::archive_entry_set_size) archive_entry_set_size = nullptr;
    decltype(&::archive_entry_set_mtime) archive_entry_set_mtime = nullptr;
    decltype(&::archive_entry_set_symlink) archive_entry_set_symlink = nullptr;
    decltype(&::inflateInit2_) inflateInit2_ = nullptr;
    decltype(&::inflateReset) inflateReset = nullptr;
    decltype(&::inflate) inflate = nullptr;
    decltype(&::inflateEnd) inflateEnd = nullptr;
    // NOLINTEND(readability-identifier-naming)
};

/// Loads the library if necessary. Throws std::runtime_error if it cannot be loaded.
const Libarchive& libarchive();

} // namespace Kelvra::SCADA::Tool
