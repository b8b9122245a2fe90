#include "device/GenerationPaths.h"

#include "device/mounts.h"
#include "device/paths.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

GenerationPaths GenerationPaths::ofDevice() {
    return GenerationPaths(canonicalPath(Env::inst().conf().getDfnCustomDir()));
}

namespace {

constexpr std::uint32_t UBIFS_MAGIC = 0x24051905; // not among the system's

// On these file systems, directories can be exchanged in one step.
constexpr std::array<std::uint32_t, 8> EXCHANGING_FILE_SYSTEMS = {
    EXT4_SUPER_MAGIC, TMPFS_MAGIC,       RAMFS_MAGIC,     UBIFS_MAGIC,
    F2FS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC, OVERLAYFS_SUPER_MAGIC};

} // namespace

// If the status of an entry cannot be read, the entry may exist.
bool isAbsent(const GenerationPaths& paths) {
    namespace fs = std::filesystem;
    std::error_code error;
    return fs::symlink_status(paths.custom, error).type() == fs::file_type::not_found &&
           fs::symlink_status(paths.base, error).type() == fs::file_type::not_found;
}

bool isInterrupted(const GenerationPaths& paths) {
    std::error_code error;
    return std::filesystem::exists(paths.journal, error);
}

bool isUnfinished(const GenerationPaths& paths) {
    std::error_code error;
    return std::filesystem::exists(paths.mark, error);
}

std::string whyNotExchangeable(const std::string& custom) {
    if (isMountRoot(custom))
        return filled("it is mounted by itself");
    std::error_code error;
    if (std::filesystem::exists(custom + "/" + LOCK_INSIDE, error))
        return filled("it has a lock file in itself, as a directory that is mounted more than once");
    struct statfs status {};
    if (statfs(nearestExisting(custom).c_str(), &status) != 0)
        return "";
    // Has 32 bits on every machine, but is signed on some.
    const auto type = static_cast<std::uint32_t>(status.f_type);
    const auto* const end = EXCHANGING_FILE_SYSTEMS.end();
    return std::find(EXCHANGING_FILE_SYSTEMS.begin(), end, type) != end
               ? ""
               : filled("its file system cannot exchange two directories");
}

} // namespace Kelvra::SCADA::Tool
