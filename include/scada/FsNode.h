#pragma once

#include <scada/export.h>

#include <list>
#include <string>

namespace Kelvra {
namespace SCADA {

/// One path, and the file-system steps that the library is made of. Looking is done with system calls, changing by
/// running mkdir, cp and rm; whether a change succeeded is judged by looking again, never by what the tool reported.
/// Nothing is cached, logged or thrown for a file-system failure (allocation failures pass through). Any thread may
/// call; the object holds nothing but the path, which is neither checked nor normalised.
class SCADA_EXPORT FsNode {
public:
    /// What a path is, and a bit set of wanted kinds for list().
    enum Mode {
        MODE_NONE = 0, ///< missing or out of reach; every failure of stat counts alike
        MODE_DIR = 1,  ///< the S_IFDIR bit is set: a directory, but also a block device or a socket
        MODE_FILE = 2, ///< the S_IFREG bit is set and S_IFDIR is not
        MODE_OTHER = 4 ///< exists, neither bit set: a FIFO or a character device
    };

    /// Takes a copy of `nodePath`, which may be empty: such a path does not exist. Also converts implicitly.
    FsNode(const std::string& nodePath);

    /// Returns what the path is, symbolic links being followed.
    Mode getMode();

    /// Resolves the path to a canonical absolute one. On success returns true and replaces `*out` unless `out` is null.
    /// On failure returns false and leaves `*out` untouched.
    bool realPath(std::string* out);

    /// Replaces `*out` by the names (not paths) of the directory's entries that match the fnmatch `pattern` and whose
    /// own type, links not followed, lies within `kinds`, in the directory's order. The test is bit-wise: a symbolic
    /// link needs MODE_FILE and MODE_OTHER, a socket MODE_DIR and MODE_FILE, a block device MODE_DIR and MODE_OTHER.
    /// Names with a leading dot are names like any other; "." and ".." are skipped. A directory that cannot be opened
    /// leaves `*out` empty. A null `out`: nothing is done.
    void list(std::list<std::string>* out, const std::string& pattern, Mode kinds);

    /// Copies the regular file `src` with cp. Returns whether `dst` is a regular file afterwards, which it also is when
    /// the copy failed over an older one. On a `src` that is no regular file returns false and runs nothing.
    static bool copyFile(const std::string& src, const std::string& dst);

    /// Creates the directory with its parents unless it is there. Returns whether it is a directory afterwards.
    static bool ensureDirExists(const std::string& path);

    /// Creates the directory unless it is there, then empties it through the shell. Returns false only when it is no
    /// directory. Entries with a leading dot stay. REQUIRES: `path` has no blank and no character that a shell
    /// interprets, because it is put into the command line "rm -rf PATH/*" unquoted.
    static bool ensureCleanDir(const std::string& path);

    /// Removes a regular file, or a symbolic link to one. Returns whether the path is gone; true when it was not there,
    /// as for a dangling link, which stays. On a directory or another kind returns false and runs nothing.
    static bool rmFile(const std::string& path);

private:
    std::string path;
};

} // namespace SCADA
} // namespace Kelvra
