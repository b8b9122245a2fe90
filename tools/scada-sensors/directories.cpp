#include "directories.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

struct Directory {
    std::string option;
    std::string path;
};

std::string refusal(const Directory& directory, const std::string& reason) {
    return directory.option + " [" + directory.path + "] " + reason;
}

// Letters, digits, a few marks that no shell interprets, and the bytes of other scripts.
bool isPlain(char c) {
    static const std::string marks = "/._-+,:@%=";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           static_cast<unsigned char>(c) >= 0x80 || marks.find(c) != std::string::npos;
}

std::string resolved(const std::string& path, std::error_code& error) {
    const fs::path absolute = fs::absolute(path, error);
    fs::path canonical = error ? fs::path() : fs::weakly_canonical(absolute, error);
    if (error)
        return path;
    // A trailing "/" of what does not exist yet leaves an empty last component.
    if (!canonical.has_filename() && canonical.has_relative_path())
        canonical = canonical.parent_path();
    return canonical.string();
}

std::string badPath(const Directory& directory) {
    if (directory.path.empty())
        return "";
    if (directory.path.front() == '-')
        return refusal(directory, "begins with a dash, which makes it an option of the tools that work on it.");
    std::error_code error;
    resolved(directory.path, error);
    return error ? refusal(directory, "cannot be resolved: " + error.message()) : "";
}

// What the emptying of a directory asks of its path.
std::string badSpelling(const Directory& directory) {
    const std::string& path = directory.path;
    if (path.empty())
        return refusal(directory, "is empty.");
    if (!std::all_of(path.begin(), path.end(), isPlain))
        return refusal(directory, "holds a blank or a character that a shell interprets.");
    if (canonicalPath(path) == "/")
        return refusal(directory, "is the root directory.");
    return "";
}

// Existing directories are compared by identity: a second mount of the same one is no way around, one further below is.
bool isSame(const fs::path& one, const fs::path& other) {
    std::error_code error;
    return one == other || fs::equivalent(one, other, error);
}

bool isWithin(const std::string& inner, const std::string& outer) {
    const fs::path wanted = canonicalPath(outer);
    fs::path path = canonicalPath(inner);
    while (!isSame(path, wanted)) {
        if (path == path.parent_path())
            return false;
        path = path.parent_path();
    }
    return true;
}

std::string overlap(const Directory& emptied, const Directory& other) {
    if (other.path.empty())
        return "";
    const std::string name = other.option + " [" + other.path + "].";
    const bool inside = isWithin(emptied.path, other.path);
    const bool around = isWithin(other.path, emptied.path);
    if (inside && around)
        return refusal(emptied, "is the same directory as " + name);
    if (inside)
        return refusal(emptied, "lies inside " + name);
    return around ? refusal(emptied, "contains " + name) : "";
}

} // namespace

std::string canonicalPath(const std::string& path) {
    std::error_code error;
    return resolved(path, error);
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

std::string unsafeDirectories(const std::string* source) {
    const Conf& conf = Env::inst().conf();
    const Directory staging{"--staging-dir", conf.getDfnStagingDir()};
    const Directory custom{"--custom-dir", conf.getDfnCustomDir()};
    const Directory srcDir{"SRC_DIR", source == nullptr ? "" : *source};
    const Directory standard{"--default-dir", conf.getDfnDefaultDir()};
    std::vector<std::string> reasons;
    for (const Directory& directory : {staging, custom, srcDir, standard})
        reasons.push_back(badPath(directory));
    for (const Directory& directory : {staging, custom})
        reasons.push_back(badSpelling(directory));
    for (const Directory& other : {custom, srcDir, standard})
        reasons.push_back(overlap(staging, other));
    reasons.push_back(overlap(custom, standard));
    for (const std::string& reason : reasons) {
        if (!reason.empty())
            return reason;
    }
    return "";
}

} // namespace Kelvra::SCADA::Tool
