#include "text/ReplacedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace Kelvra::SCADA::Tool {

namespace {

mode_t modeFor(const std::string& path) {
    struct stat former {};
    if (stat(path.c_str(), &former) == 0)
        return former.st_mode & ACCESSPERMS;
    return S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
}

} // namespace

ReplacedFile::ReplacedFile(const std::string& path)
    : place(path), temporary(path + ".XXXXXX"), mode(modeFor(path)), file(mkostemp(temporary.data(), O_CLOEXEC)) {}

ReplacedFile::~ReplacedFile() {
    if (file.isOpen() && !temporary.empty())
        unlink(temporary.c_str());
}

int ReplacedFile::complete() {
    if (fchmod(number(), mode) != 0 || fsync(number()) != 0 || rename(temporary.c_str(), place.c_str()) != 0)
        return errno;
    temporary.clear();
    return 0;
}

} // namespace Kelvra::SCADA::Tool
