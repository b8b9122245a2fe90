#include "device/paths.h"

#include "text/text.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace fs = std::filesystem;

std::string definitionFile(const std::string& dir, const std::string& name) {
    return dir + "/" + name + ".json";
}

std::string stemOf(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

std::string importedDecoderName(const std::string& name) {
    return stemOf(name) + "-decoder";
}

std::string canonicalPath(const std::string& path, std::string* failure) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    fs::path canonical = error ? fs::path() : fs::weakly_canonical(absolute, error);
    if (error) {
        if (failure != nullptr)
            *failure = error.message();
        return path;
    }
    // A trailing "/" of a path that does not exist yet leaves an empty last component.
    if (!canonical.has_filename() && canonical.has_relative_path())
        canonical = canonical.parent_path();
    return canonical.string();
}

std::string nearestExisting(const std::string& path) {
    std::error_code error;
    fs::path existing = canonicalPath(path);
    while (!fs::exists(existing, error) && existing != existing.parent_path())
        existing = existing.parent_path();
    return existing.string();
}

bool isWritable(const std::string& path) {
    std::error_code error;
    const int mode = fs::is_directory(path, error) ? W_OK | X_OK : W_OK;
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

bool isReadable(const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

bool isOfDevice(const std::string& path) {
    std::error_code error;
    const std::string file = canonicalPath(path);
    if (!fs::exists(file, error))
        return false;
    const Conf& conf = Env::inst().conf();
    if (file == canonicalPath(conf.getSensorMapFile()))
        return true;
    const std::string custom = canonicalPath(conf.getDfnCustomDir());
    const std::array<std::string, 4> directories = {canonicalPath(conf.getDfnDefaultDir()), custom,
                                                    custom + ".generations", canonicalPath(conf.getDfnStagingDir())};
    return std::any_of(directories.begin(), directories.end(),
                       [&file](const std::string& directory) { return startsWith(file, directory + "/"); });
}

} // namespace Kelvra::SCADA::Tool
