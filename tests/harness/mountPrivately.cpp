#include "mountPrivately.h"

#include "TempDir.h"
#include "files.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvra::SCADA::Test {

bool mountPrivately(const std::string& place, const std::string& options) {
    makeDir(place);
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

bool canMount() {
    const TempDir dir;
    const pid_t child = fork();
    if (child == 0)
        _exit(mountPrivately(dir / "place", "size=64k") ? 0 : 1);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

} // namespace Kelvra::SCADA::Test
