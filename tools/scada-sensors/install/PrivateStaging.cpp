#include "install/PrivateStaging.h"

#include "text/removeTree.h"
#include "text/text.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace fs = std::filesystem;

namespace {

const std::string PREFIX = "scada-install-"; // NOLINT(cert-err58-cpp)
constexpr std::size_t SUFFIX_LENGTH = 6;

// By name, owner and mode together: the staging directory may have other files.
bool isLeftover(const fs::path& path) {
    const std::string name = path.filename().string();
    if (!startsWith(name, PREFIX) || name.size() != PREFIX.size() + SUFFIX_LENGTH)
        return false;
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & ACCESSPERMS) == S_IRWXU;
}

} // namespace

std::vector<std::string> leftoversIn(const std::string& staging) {
    std::vector<std::string> found;
    std::error_code error;
    for (fs::directory_iterator at(staging, error); !error && at != fs::directory_iterator(); at.increment(error)) {
        if (isLeftover(at->path()))
            found.push_back(at->path().string());
    }
    return found;
}

PrivateStaging::PrivateStaging() : configured(Env::inst().conf().getDfnStagingDir()) {
    std::error_code error;
    fs::create_directories(configured, error);
    for (const std::string& leftover : leftoversIn(configured))
        removeTree(leftover);
    directory = std::make_unique<PrivateDirectory>(configured, PREFIX);
    Env::inst().conf().setDfnStagingDir(directory->path());
}

PrivateStaging::~PrivateStaging() {
    Env::inst().conf().setDfnStagingDir(configured);
}

} // namespace Kelvra::SCADA::Tool
