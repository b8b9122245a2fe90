#include "install/InstalledModes.h"

#include "device/InstalledFiles.h"
#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr mode_t FILE_MODE = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr mode_t NOT_INHERITED = S_ISUID | S_ISVTX | S_IWOTH;
constexpr mode_t ALL_BITS = 07777;

// A missing file, or one of another kind, is not an installed one; the result of the installation reports it.
struct Opened {
    Opened(const std::string& path, int flags) : file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | flags)) {
        if (!file.isOpen() || fstat(file.number(), &status) != 0)
            error = errno;
    }

    std::string correct(const std::string& path, gid_t group, mode_t mode) const {
        const bool sameGroup = status.st_gid == group || fchown(file.number(), status.st_uid, group) == 0;
        if (sameGroup && ((status.st_mode & ALL_BITS) == mode || fchmod(file.number(), mode) == 0))
            return "";
        return filled("cannot correct the group or mode of [%s]: %s", {path, reasonOf(errno)});
    }

    Descriptor file;
    struct stat status {};
    int error = 0;
};

std::string correctFile(const std::string& path) {
    const Opened opened(path, O_NOFOLLOW);
    if (opened.error != 0 || !S_ISREG(opened.status.st_mode))
        return "";
    return opened.correct(path, opened.status.st_gid, FILE_MODE);
}

} // namespace

InstalledModes::InstalledModes(const std::vector<PlannedDefinition>& definitions) {
    const std::string custom = canonicalPath(Env::inst().conf().getDfnCustomDir());
    for (const PlannedDefinition& planned : definitions) {
        files.insert(definitionFile(custom, planned.name));
        files.insert(installedDecoder(planned.name));
        std::error_code error;
        for (fs::path dir = fs::path(definitionFile(custom, planned.name)).parent_path();
             !fs::exists(dir, error) && dir != dir.parent_path(); dir = dir.parent_path())
            missingDirectories.insert(dir.string());
    }
}

std::string inheritMode(const std::string& directory, const std::string& above) {
    const Opened model(above, O_DIRECTORY);
    const Opened made(directory, O_DIRECTORY | O_NOFOLLOW);
    if (model.error != 0 || made.error != 0)
        return "";
    return made.correct(directory, model.status.st_gid, (model.status.st_mode & ALL_BITS & ~NOT_INHERITED) | S_IRWXU);
}

std::string InstalledModes::apply() const {
    std::string failure;
    const auto note = [&failure](const std::string& reason) {
        if (failure.empty())
            failure = reason;
    };
    for (const std::string& directory : missingDirectories)
        note(inheritMode(directory, fs::path(directory).parent_path().string()));
    for (const std::string& file : files)
        note(correctFile(file));
    return failure;
}

} // namespace Kelvra::SCADA::Tool
