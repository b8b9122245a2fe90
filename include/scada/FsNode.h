#pragma once

#include <scada/export.h>

#include <list>
#include <string>

namespace Kelvra {
namespace SCADA {

/// One path, and the file-system operations that the library uses. Reads use system calls; changes run mkdir, cp and
/// rm. Success of a change is judged by the state of the file system afterwards, never by the status of the program.
/// Nothing is cached or logged, and no file-system failure throws; allocation failures pass through. Any thread may
/// call: the object holds only the path, which is neither checked nor normalised.
class SCADA_EXPORT FsNode {
public:
    /// The kind of a path; in list(), a bit set of the wanted kinds.
    enum Mode {
        MODE_NONE = 0, ///< missing or inaccessible: every failure of stat has this result
        MODE_DIR = 1,  ///< the S_IFDIR bit is set: a directory, but also a block device or a socket
        MODE_FILE = 2, ///< the S_IFREG bit is set and S_IFDIR is not
        MODE_OTHER = 4 ///< exists, with neither bit set: a FIFO or a character device
    };

    /// Copies `nodePath`. An empty path is allowed; it does not exist. Also converts implicitly.
    FsNode(const std::string& nodePath);

    /// Returns the kind of the path. Follows symbolic links.
    Mode getMode();

    /// Resolves the path to a canonical absolute one. On success returns true and replaces `*out` unless `out` is null.
    /// On failure returns false and leaves `*out` untouched.
    bool realPath(std::string* out);

    /// Replaces `*out` with the names (not paths) of the directory's entries that match the fnmatch `pattern` and whose
    /// own type (links not followed) is within `kinds`, in the directory's order. Types are tested bit by bit: a
    /// symbolic link needs MODE_FILE and MODE_OTHER, a socket MODE_DIR and MODE_FILE, a block device MODE_DIR and
    /// MODE_OTHER. Names with a leading dot are included; "." and ".." are not. If the directory cannot be opened,
    /// `*out` is empty. Does nothing if `out` is null.
    void list(std::list<std::string>* out, const std::string& pattern, Mode kinds);

    /// Copies the regular file `src` with cp. Returns whether `dst` is a regular file afterwards, which is also true if
    /// the copy failed but an older file is there. If `src` is not a regular file, returns false and runs nothing.
    static bool copyFile(const std::string& src, const std::string& dst);

    /// Creates the directory and its parents if it does not exist. Returns whether it is a directory afterwards.
    static bool ensureDirExists(const std::string& path);

    /// Creates the directory if it does not exist, then empties it through the shell. Returns false only if the path is
    /// not a directory. Entries with a leading dot stay. REQUIRES: `path` has no blank and no character that a shell
    /// interprets, because it becomes part of the command line "rm -rf PATH/*" unquoted.
    static bool ensureCleanDir(const std::string& path);

    /// Removes a regular file, or a symbolic link to one. Returns whether the path no longer exists. Returns true if it
    /// did not exist before; this includes a dangling link, which stays. For a directory or any other kind, returns
    /// false and runs nothing.
    static bool rmFile(const std::string& path);

private:
    std::string path;
};

} // namespace SCADA
} // namespace Kelvra
