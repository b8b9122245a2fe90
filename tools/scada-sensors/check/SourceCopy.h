#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The kind of a directory entry, with links not followed and followed.
struct EntryKind {
    std::filesystem::file_type own;
    std::filesystem::file_type target;
    bool isDirectory() const { return target == std::filesystem::file_type::directory; }
    bool isRegular() const { return target == std::filesystem::file_type::regular; }
    bool isLink() const { return own == std::filesystem::file_type::symlink; }
};

/// The entries of a tree that its copy lacks or has in another form, by their relative paths.
using SpecialEntries = std::map<std::string, EntryKind>;

/// The source of an installation, and the copy that is examined and installed instead. The copy has directories and
/// regular files only.
struct SourceCopy {
    std::string source; ///< its name for the user
    std::string dir;    ///< the copy
    SpecialEntries special;
    bool archive = false;                ///< whether the source is an archive
    std::map<std::string, bool> outside; ///< symbolic links that lead out of the source; empty files in the copy

    std::map<std::string, std::string>
        oversized; ///< files that are too large, with the text of the finding; empty ones

    /// Returns the path in the source for a path in the copy; other paths are returned unchanged.
    std::string pathInSource(const std::string& path) const {
        return path.compare(0, dir.size(), dir) == 0 ? source + path.substr(dir.size()) : path;
    }
    /// Whether a path in the copy stands for a link that leads out of the source.
    bool leadsOutside(const std::string& path) const { return outside.count(relativeOf(path)) != 0; }
    /// Returns why a path in the copy stands for a file that is too large, or nothing.
    std::string oversize(const std::string& path) const {
        const auto known = oversized.find(relativeOf(path));
        return known == oversized.end() ? "" : known->second;
    }

private:
    std::string relativeOf(const std::string& path) const {
        const std::string normal = std::filesystem::path(path).lexically_normal().string();
        return normal.size() > dir.size() ? normal.substr(dir.size() + 1) : "";
    }
};

} // namespace Kelvra::SCADA::Tool
