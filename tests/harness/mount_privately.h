#pragma once

#include "NamedRow.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Test {

/// Makes the directory and mounts a tmpfs there, visible only to this process and gone with it at the latest. Returns
/// whether it succeeded, which requires root and a system that lets root mount.
bool mountPrivately(const std::string& place, const std::string& options);

/// Returns whether mountPrivately works here.
bool canMount();

/// A file system in an image file, on which a name may reach an entry of another name.
struct FoldingFileSystem : NamedRow {
    const char* make;  ///< the shell command that makes it in the file $IMAGE
    const char* mount; ///< the command that mounts it at $PLACE, writable for the user nobody
    const char* mark;  ///< the command that prepares its empty directory $PLACE/names
};

/// Makes it in the file `image` and mounts it at `place`, where it has the directory "names", visible only to this
/// process and its children. Unmount it when done: a program that serves it ends only then. Returns whether it
/// succeeded.
bool mountFolding(const FoldingFileSystem& kind, const std::string& image, const std::string& place);

/// Returns the file systems that can be mounted here, which depends on the kernel.
std::vector<FoldingFileSystem> mountableFolding();

/// Returns the rows if something can be mounted, otherwise none: a case that cannot run does not exist, so it never
/// passes without running.
template <typename Row> std::vector<Row> whereMountable(const std::vector<Row>& rows) {
    return canMount() ? rows : std::vector<Row>();
}

} // namespace Kelvra::SCADA::Test
