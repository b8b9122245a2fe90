#include "install/safe_directories.h"

#include "device/GenerationPaths.h"
#include "device/mounts.h"
#include "device/paths.h"
#include "install/untrusted_directories.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

struct Directory {
    std::string option;
    std::string path;
};

// Letters, digits, a few marks that no shell interprets, and the bytes of other scripts.
bool isPlain(char c) {
    static const std::string marks = "/._-+,:@%=";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           static_cast<unsigned char>(c) >= 0x80 || marks.find(c) != std::string::npos;
}

std::string badPath(const Directory& directory) {
    if (directory.path.empty())
        return "";
    if (directory.path.front() == '-')
        return filled("%s [%s] begins with a dash, which makes it an option of the programs that work on it.",
                      {directory.option, directory.path});
    std::string failure;
    canonicalPath(directory.path, &failure);
    return failure.empty() ? "" : filled("%s [%s] cannot be resolved: %s", {directory.option, directory.path, failure});
}

// Returns why a path cannot be emptied safely because of its spelling, or nothing.
std::string badSpelling(const Directory& directory) {
    const std::string& path = directory.path;
    if (path.empty())
        return filled("%s [%s] is empty.", {directory.option, directory.path});
    if (!std::all_of(path.begin(), path.end(), isPlain))
        return filled("%s [%s] contains a blank or a character that a shell interprets.",
                      {directory.option, directory.path});
    if (canonicalPath(path) == "/")
        return filled("%s [%s] is the root directory.", {directory.option, directory.path});
    return "";
}

// Existing directories are compared by identity: a second mount of the same directory is recognised; a mount below it
// is not.
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
    const bool inside = isWithin(emptied.path, other.path);
    const bool around = isWithin(other.path, emptied.path);
    const std::initializer_list<std::string> values = {emptied.option, emptied.path, other.option, other.path};
    if (inside && around)
        return filled("%s [%s] is the same directory as %s [%s].", values);
    if (inside)
        return filled("%s [%s] is inside %s [%s].", values);
    return around ? filled("%s [%s] contains %s [%s].", values) : "";
}

} // namespace

Findings unsafeDirectories(const std::string* source) {
    const Conf& conf = Env::inst().conf();
    const Directory staging{"--staging-dir", conf.getDfnStagingDir()};
    const Directory custom{"--custom-dir", conf.getDfnCustomDir()};
    const Directory srcDir{"SRC", source == nullptr ? "" : *source};
    const Directory standard{"--default-dir", conf.getDfnDefaultDir()};
    Findings findings;
    const auto add = [&findings](const Directory& directory, const std::string& text) {
        if (!text.empty())
            findings.push_back({Rules::INSTALL_UNSAFE_DIRECTORY, {directory.path}, text});
    };
    for (const Directory& directory : {staging, custom, srcDir, standard})
        add(directory, badPath(directory));
    for (const Directory& directory : {staging, custom})
        add(directory, badSpelling(directory));
    if (!findings.empty())
        return findings;
    for (const Directory& other : {custom, srcDir, standard})
        add(staging, overlap(staging, other));
    add(custom, overlap(custom, standard));
    const std::string generations = GenerationPaths(canonicalPath(custom.path)).base;
    if (isWithin(staging.path, generations))
        add(staging, filled("%s [%s] is inside %s [%s].",
                            {staging.option, staging.path, "the generations beside --custom-dir", generations}));
    const std::string mounted = mountBelow(custom.path);
    if (!mounted.empty())
        add(custom, filled("Something is mounted below %s [%s]: [%s].", {custom.option, custom.path, mounted}));
    if (!findings.empty())
        return findings;
    for (const Directory& directory : {staging, custom})
        append(untrustedDirectory(directory.option, directory.path), &findings);
    return findings;
}

} // namespace Kelvra::SCADA::Tool
