#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

// Copies of directory trees with owner, group, mode, labels and extended attributes. Symbolic links are copied and
// never followed. The lock file of a directory and the "lost+found" of a mount are neither copied nor changed. Each
// function throws std::runtime_error with the path and the reason on failure. None protects itself against others who
// change the trees: the directories are safe, and the lock is held.

/// Whether a file system, such as FAT, has one owner and one mode for all its files.
bool hasNoOwners(const std::string& path);

/// Whether a copy of the directory would be empty.
bool hasNothingToCopy(const std::string& directory);

/// Makes `target` a copy of the directory `source` with second names of the same files. Files that cannot have a second
/// name are copied.
void linkTree(const std::string& source, const std::string& target);

/// Makes an empty directory `target` with the owner, mode and attributes of the directory `source`.
void makeEmptyLike(const std::string& source, const std::string& target);

/// Brings the directory `target` to the state of `source`. Each file that differs is replaced in one step, so that a
/// reader finds either the old or the new one, complete.
void mirrorTree(const std::string& source, const std::string& target);

/// Copies a regular file to a new one that only its user may read.
void copyContent(const std::string& source, const std::string& target);

/// Gives `target` the owner, group, mode, labels and extended attributes of `source`. A file system without owners
/// keeps none.
void keepWhatCanBeKept(const std::string& source, const std::string& target);

/// Makes a directory, which may exist already.
void makeDirectory(const std::string& path);

/// Gives an entry another name in the same file system.
void moveEntry(const std::string& from, const std::string& to);

/// Writes a file that does not exist yet. The caller must write it to the disk.
void writeNewFile(const std::string& file, const std::string& text);

/// Writes a file under its own name in one step, so that a power cut leaves the old content or the new one.
void writeDurably(const std::string& file, const std::string& text);

/// Writes everything in the directory's file system to the disk.
void syncFileSystem(const std::string& directory);

/// Writes the entries of a directory to the disk.
void syncDirectory(const std::string& directory);

} // namespace Kelvra::SCADA::Tool
