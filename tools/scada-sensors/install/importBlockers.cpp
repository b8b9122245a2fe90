#include "install/importBlockers.h"

#include "device/paths.h"
#include "install/InstalledFiles.h"
#include "text/filled.h"
#include "text/libraryTexts.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// A link is followed when it is written to and not when the storage is listed.
Findings blockersOnTheWay(const std::string& name, bool* reachable) {
    const std::string custom = Env::inst().conf().getDfnCustomDir();
    Findings findings;
    *reachable = true;
    std::error_code error;
    for (std::size_t end = 0; end != std::string::npos && *reachable; end = name.find('/', end + 1)) {
        const std::string level = end == 0 ? custom : custom + "/" + name.substr(0, end);
        const bool stands = fs::exists(fs::symlink_status(level, error));
        *reachable = fs::is_directory(fs::status(level, error));
        if (!*reachable && (stands || !isWritable(nearestExisting(level))))
            findings.push_back(
                {Rules::INSTALL_DIRECTORY_BLOCKED, {level}, filled(LibraryText::DIRECTORY_NOT_MADE, {name}), name});
        // What cannot be listed does not read back.
        if (*reachable && !isReadable(level))
            findings.push_back(
                {Rules::INSTALL_DIRECTORY_BLOCKED, {level}, filled(LibraryText::FILE_NOT_COPIED, {name}), name});
        if (*reachable && end != 0 && fs::is_symlink(fs::symlink_status(level, error)))
            findings.push_back(
                {Rules::INSTALL_BEHIND_LINK, {level}, filled(LibraryText::FILE_NOT_COPIED, {name}), name});
    }
    return findings;
}

// What is not there can be written where its directory can; a regular file is written in place.
bool takesDocument(const std::string& file) {
    std::error_code error;
    if (!fs::exists(file, error))
        return isWritable(fs::path(file).parent_path().string());
    return fs::is_regular_file(file, error) && isWritable(file);
}

// In a sticky directory a file is replaced by its owner, the directory's owner or root alone.
bool mayReplace(const std::string& file, const std::string& directory) {
    struct stat ofFile {};
    struct stat ofDirectory {};
    if (geteuid() == 0 || stat(file.c_str(), &ofFile) != 0 || stat(directory.c_str(), &ofDirectory) != 0)
        return true;
    return (ofDirectory.st_mode & S_ISVTX) == 0 || ofFile.st_uid == geteuid() || ofDirectory.st_uid == geteuid();
}

// A copy is made in place of a file that may not be written, but not through a link that leads nowhere.
bool takesDecoder(const std::string& file) {
    std::error_code error;
    if (fs::exists(file, error) ? !fs::is_regular_file(file, error) : fs::is_symlink(fs::symlink_status(file, error)))
        return false;
    const std::string directory = fs::path(file).parent_path().string();
    return isWritable(file) || (isWritable(directory) && mayReplace(file, directory));
}

} // namespace

Findings stagingBlockers() {
    const std::string& staging = Env::inst().conf().getDfnStagingDir();
    const std::string existing = nearestExisting(staging);
    std::error_code error;
    if (!fs::is_directory(existing, error) || !isWritable(existing))
        return {
            {Rules::INSTALL_STAGING_UNWRITABLE, {staging}, filled("The staging directory cannot be made or written.")}};
    return {};
}

Findings importBlockers(const std::string& name) {
    bool reachable = false;
    Findings findings = blockersOnTheWay(name, &reachable);
    if (!reachable)
        return findings;
    const std::string file = definitionFile(Env::inst().conf().getDfnCustomDir(), name);
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(file, error)))
        findings.push_back({Rules::INSTALL_BEHIND_LINK, {file}, filled(LibraryText::FILE_NOT_COPIED, {name}), name});
    else if (!takesDocument(file))
        findings.push_back({Rules::INSTALL_FILE_BLOCKED, {file}, filled(LibraryText::FILE_NOT_SAVED, {name}), name});
    const std::string decoder = installedDecoder(name);
    if (!takesDecoder(decoder))
        findings.push_back(
            {Rules::INSTALL_DECODER_BLOCKED, {decoder}, filled(LibraryText::DECODER_NOT_COPIED, {name}), name});
    return findings;
}

} // namespace Kelvra::SCADA::Tool
