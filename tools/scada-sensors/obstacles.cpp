#include "obstacles.h"

#include "InstalledFiles.h"
#include "Storages.h"
#include "directories.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <filesystem>
#include <set>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// A link is followed when it is written to and not when the storage is listed.
Faults obstaclesOfDirectories(const std::string& name, bool* reachable) {
    const std::string custom = Env::inst().conf().getDfnCustomDir();
    const std::string definition = " while importing [" + name + "] definition.";
    Faults faults;
    *reachable = true;
    std::error_code error;
    for (std::size_t end = 0; end != std::string::npos && *reachable; end = name.find('/', end + 1)) {
        const std::string level = end == 0 ? custom : custom + "/" + name.substr(0, end);
        const bool stands = fs::exists(fs::symlink_status(level, error));
        *reachable = fs::is_directory(fs::status(level, error));
        if (!*reachable && (stands || !isWritable(nearestExisting(level))))
            faults.push_back({level, "Failed to create a directory" + definition});
        if (*reachable && end != 0 && fs::is_symlink(fs::symlink_status(level, error)))
            faults.push_back({level, "File copying error" + definition});
    }
    return faults;
}

// What is not there can be written where its directory can; a regular file is written in place.
bool takesDocument(const std::string& file) {
    std::error_code error;
    if (!fs::exists(file, error))
        return isWritable(fs::path(file).parent_path().string());
    return fs::is_regular_file(file, error) && isWritable(file);
}

// A copy is made in place of a file that may not be written, but not through a link that leads nowhere.
bool takesDecoder(const std::string& file) {
    std::error_code error;
    if (fs::exists(file, error) ? !fs::is_regular_file(file, error) : fs::is_symlink(fs::symlink_status(file, error)))
        return false;
    return isWritable(file) || isWritable(fs::path(file).parent_path().string());
}

} // namespace

Faults stagedObstacles() {
    const std::string& staging = Env::inst().conf().getDfnStagingDir();
    std::set<std::string> names;
    DefinitionsStorage{staging}.findNames(&names);
    Faults faults;
    for (const std::string& name : names) {
        if (name.front() != '.')
            continue;
        const Definition definition = readDefinition(staging, name);
        // What cannot be read is passed over by an import; what throws ends it.
        if (definition.valid || definition.abandoned)
            faults.push_back({definition.file,
                              "--staging-dir [" + staging + "] holds the hidden definition [" + name +
                                  "], which is not emptied and would " +
                                  (definition.valid ? "be installed too." : "stop the import: " + definition.state)});
    }
    return faults;
}

Faults obstacles(const std::string& name) {
    bool reachable = false;
    Faults faults = obstaclesOfDirectories(name, &reachable);
    if (!reachable)
        return faults;
    const std::string file = definitionFile(Env::inst().conf().getDfnCustomDir(), name);
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(file, error)))
        faults.push_back({file, "File copying error while importing [" + name + "] definition."});
    else if (!takesDocument(file))
        faults.push_back({file, "File saving error while importing [" + name + "] definition."});
    const std::string decoder = installedDecoder(name);
    if (!takesDecoder(decoder))
        faults.push_back({decoder, "File copying error while importing decoder for the [" + name + "] definition."});
    return faults;
}

} // namespace Kelvra::SCADA::Tool
