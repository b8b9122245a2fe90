#include "text/ReplacedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr mode_t USUAL_MODE = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// Returns the path without links, or nothing with errno when nothing can be written there.
std::string placeOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0)
        return errno == ENOENT && !path.empty() && path.back() != '/' ? path : "";
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        return "";
    char* const resolved = realpath(path.c_str(), nullptr);
    std::string place = resolved == nullptr ? "" : resolved;
    free(resolved); // NOLINT(cppcoreguidelines-no-malloc)
    return place;
}

// The name of the file may be as long as names can be.
std::string temporaryFor(const std::string& place) {
    const std::size_t slash = place.rfind('/');
    return (slash == std::string::npos ? "" : place.substr(0, slash + 1)) + ".scada-XXXXXX";
}

} // namespace

ReplacedFile::ReplacedFile(const std::string& path) : place(placeOf(path)) {
    if (place.empty())
        return;
    struct stat status {};
    if (stat(place.c_str(), &status) == 0)
        former = status;
    temporary = temporaryFor(place);
    file = Descriptor{mkostemp(temporary.data(), O_CLOEXEC)};
}

ReplacedFile::~ReplacedFile() {
    if (file.isOpen() && !temporary.empty())
        unlink(temporary.c_str());
}

// Only root can keep the owner of another user's file.
int ReplacedFile::complete() {
    if (former && (former->st_uid != geteuid() || former->st_gid != getegid())) [[maybe_unused]]
        const int kept = fchown(number(), former->st_uid, former->st_gid);
    if (fchmod(number(), former ? former->st_mode & ACCESSPERMS : USUAL_MODE) != 0 || fsync(number()) != 0 ||
        rename(temporary.c_str(), place.c_str()) != 0)
        return errno;
    temporary.clear();
    return 0;
}

} // namespace Kelvra::SCADA::Tool
