#include "install/import_blockers.h"

#include "device/InstalledFiles.h"
#include "device/paths.h"
#include "text/filled.h"
#include "text/library_texts.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

std::string directoryOf(const std::string& file) {
    return file.substr(0, file.rfind('/'));
}

// In a sticky directory only the owner of a file, the owner of the directory or root can replace it.
bool mayReplace(const std::string& file, const std::string& directory) {
    struct stat ofFile {};
    struct stat ofDirectory {};
    if (geteuid() == 0 || stat(file.c_str(), &ofFile) != 0 || stat(directory.c_str(), &ofDirectory) != 0)
        return true;
    return (ofDirectory.st_mode & S_ISVTX) == 0 || ofFile.st_uid == geteuid() || ofDirectory.st_uid == geteuid();
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

ImportBlockers::ImportBlockers() : custom(Env::inst().conf().getDfnCustomDir()) {}

const ImportBlockers::Level& ImportBlockers::levelAt(const std::string& path) {
    const auto known = levels.find(path);
    if (known != levels.end())
        return known->second;
    Level level;
    std::error_code error;
    const fs::file_status own = fs::symlink_status(path, error);
    level.link = fs::is_symlink(own);
    level.reachable = level.link ? fs::is_directory(path, error) : fs::is_directory(own);
    level.blocked = !level.reachable && (fs::exists(own) || !isWritable(nearestExisting(path)));
    level.unreadable = level.reachable && !isReadable(path);
    level.writable = level.reachable && isWritable(path);
    return levels.emplace(path, level).first->second;
}

// A write follows a link; the listing of the storage does not.
Findings ImportBlockers::onTheWay(const std::string& name, bool* reachable) {
    Findings findings;
    *reachable = true;
    for (std::size_t end = 0; end != std::string::npos && *reachable; end = name.find('/', end + 1)) {
        const std::string path = end == 0 ? custom : custom + "/" + name.substr(0, end);
        const Level& level = levelAt(path);
        *reachable = level.reachable;
        if (level.blocked)
            findings.push_back(
                {Rules::INSTALL_DIRECTORY_BLOCKED, {path}, filled(LibraryText::DIRECTORY_NOT_MADE, {name}), name});
        // An entry that cannot be listed does not read back.
        if (level.unreadable)
            findings.push_back(
                {Rules::INSTALL_DIRECTORY_BLOCKED, {path}, filled(LibraryText::FILE_NOT_COPIED, {name}), name});
        if (level.reachable && end != 0 && level.link)
            findings.push_back(
                {Rules::INSTALL_BEHIND_LINK, {path}, filled(LibraryText::FILE_NOT_COPIED, {name}), name});
    }
    return findings;
}

// A missing file can be written if its directory can; a regular file is written in place.
bool ImportBlockers::takesDocument(const std::string& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status))
        return levelAt(directoryOf(file)).writable;
    return fs::is_regular_file(status) && isWritable(file);
}

// A file that may not be written is replaced by a copy, but not through a link that leads nowhere.
bool ImportBlockers::takesDecoder(const std::string& file) {
    std::error_code error;
    const fs::file_status own = fs::symlink_status(file, error);
    const bool writable = levelAt(directoryOf(file)).writable;
    if (!fs::exists(own))
        return writable;
    if (!fs::is_regular_file(fs::is_symlink(own) ? fs::status(file, error) : own))
        return false;
    return isWritable(file) || (writable && mayReplace(file, directoryOf(file)));
}

Findings ImportBlockers::of(const std::string& name) {
    bool reachable = false;
    Findings findings = onTheWay(name, &reachable);
    if (!reachable)
        return findings;
    const std::string file = definitionFile(custom, name);
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
