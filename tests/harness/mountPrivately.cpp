#include "mountPrivately.h"

#include "files.h"

#include <sched.h>
#include <sys/mount.h>

namespace Kelvra::SCADA::Test {

bool mountPrivately(const std::string& place, const std::string& options) {
    makeDir(place);
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

} // namespace Kelvra::SCADA::Test
