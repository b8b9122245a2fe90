#include "mount_privately.h"

#include "TempDir.h"
#include "files.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace Kelvra::SCADA::Test {

namespace {

const std::vector<FoldingFileSystem> FOLDING = {
    {"vfat", "mkfs.vfat -C $IMAGE 8192", "mount -t vfat -o loop,utf8,uid=65534,gid=65534 $IMAGE $PLACE", ":"},
    {"exfat", "truncate -s 8M $IMAGE && mkfs.exfat $IMAGE",
     "mount -i -t exfat -o loop,uid=65534,gid=65534 $IMAGE $PLACE", ":"},
    {"exfat_served", "truncate -s 8M $IMAGE && mkfs.exfat $IMAGE",
     "mount -t exfat-fuse -o loop,uid=65534,gid=65534 $IMAGE $PLACE", ":"},
    {"ext4_casefold", "truncate -s 8M $IMAGE && mkfs.ext4 -q -O casefold $IMAGE", "mount -t ext4 -o loop $IMAGE $PLACE",
     "chattr +F $PLACE/names"},
};

bool hideMounts() {
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0;
}

bool runShell(const std::string& settings, const std::string& command) {
    return std::system((settings + "PATH=$PATH:/usr/sbin:/sbin; exec >/dev/null 2>&1; " + command).c_str()) == 0;
}

// Returns whether `body` returned true in a child process, which may leave mounts behind.
template <typename Body> bool holdsInChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0)
        _exit(body() ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

} // namespace

bool mountPrivately(const std::string& place, const std::string& options) {
    makeDir(place);
    return hideMounts() && mount("tmpfs", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

bool canMount() {
    const TempDir dir;
    return holdsInChild([&] { return mountPrivately(dir / "place", "size=64k"); });
}

bool mountFolding(const FoldingFileSystem& kind, const std::string& image, const std::string& place) {
    const std::string settings = "IMAGE='" + image + "'; PLACE='" + place + "'; ";
    makeDir(place);
    if (!hideMounts() || !runShell(settings, kind.make) || !runShell(settings, kind.mount))
        return false;
    makeDir(place + "/names");
    return runShell(settings, kind.mark);
}

std::vector<FoldingFileSystem> mountableFolding() {
    std::vector<FoldingFileSystem> found;
    for (const FoldingFileSystem& kind : canMount() ? FOLDING : std::vector<FoldingFileSystem>()) {
        const TempDir dir;
        const std::string place = dir / "place";
        if (holdsInChild([&] { return mountFolding(kind, dir / "image", place) && umount(place.c_str()) == 0; }))
            found.push_back(kind);
    }
    return found;
}

} // namespace Kelvra::SCADA::Test
