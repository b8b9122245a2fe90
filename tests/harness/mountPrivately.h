#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Makes the directory and mounts a tmpfs there that this process alone sees, and that goes with it at the latest.
/// Returns whether it is there, which takes root and a system that lets root mount.
bool mountPrivately(const std::string& place, const std::string& options);

/// Returns whether mountPrivately works here.
bool canMount();

/// A file system on which an entry answers to names other than its own, in an image file.
struct FoldingFileSystem {
    const char* name;
    const char* make;  ///< the shell command that makes it in the file $IMAGE
    const char* mount; ///< and mounts it at $PLACE, for the user nobody to write to
    const char* mark;  ///< and prepares its empty directory $PLACE/names
};

void PrintTo(const FoldingFileSystem& kind, std::ostream* out);

/// Makes it in the file `image` and mounts it at `place`, where it has the directory "names", seen by this process
/// and its children alone. Unmount it when done: a program that serves it goes only then. Returns whether it is there.
bool mountFolding(const FoldingFileSystem& kind, const std::string& image, const std::string& place);

/// Returns those that can be mounted here, which depends on the kernel.
std::vector<FoldingFileSystem> mountableFolding();

/// Returns the rows where something can be mounted, else none: cases that cannot run do not exist, rather than pass.
template <typename Row> std::vector<Row> whereMountable(const std::vector<Row>& rows) {
    return canMount() ? rows : std::vector<Row>();
}

} // namespace Kelvra::SCADA::Test
