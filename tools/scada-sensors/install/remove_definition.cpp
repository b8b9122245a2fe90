#include "install/remove_definition.h"

#include "device/InstalledFiles.h"
#include "device/paths.h"
#include "text/text.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace Kelvra::SCADA::Tool {

namespace {

bool isRealDirectory(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Whether a name has the three parts of a listed one and does not lead out of the storage.
bool hasThreeParts(const std::string& name) {
    const auto leadsNowhere = [](const std::string& part) { return part.empty() || part == "." || part == ".."; };
    const std::size_t first = name.find('/');
    const std::size_t last = name.rfind('/');
    return std::count(name.begin(), name.end(), '/') == 2 && !leadsNowhere(name.substr(0, first)) &&
           !leadsNowhere(name.substr(first + 1, last - first - 1));
}

// Returns the decoder that is removed together with a definition, or nothing: a decoder outside the storage stays.
std::string ownDecoder(const std::string& dir, const std::string& name) {
    // Opening a FIFO would wait.
    if (hasSpecialFile(dir, name))
        return installedDecoder(dir, name);
    DefinitionSpec spec;
    try {
        DefinitionsStorage{dir}.getSpec(name, &spec, nullptr);
    } catch (const Json::Exception&) {
        return installedDecoder(dir, name);
    }
    const bool isInside = startsWith(canonicalPath(spec.decoderPath), canonicalPath(dir) + "/");
    return spec.decoderPath.empty() || !isInside ? "" : spec.decoderPath;
}

bool isRemoved(const std::string& file) {
    return file.empty() || unlink(file.c_str()) == 0 || errno == ENOENT;
}

std::string directoryAbove(const std::string& file) {
    return file.substr(0, file.rfind('/'));
}

// Goes up from a resolved directory as long as directories are empty. The storage itself stays.
void removeEmptyDirectories(const std::string& root, std::string directory) {
    while (startsWith(directory, root + "/") && rmdir(directory.c_str()) == 0)
        directory = directoryAbove(directory);
}

} // namespace

bool hasSpecialFile(const std::string& dir, const std::string& name) {
    struct stat status {};
    const std::string file = definitionFile(dir, name);
    return hasThreeParts(name) && isRealDirectory(dir + "/" + name.substr(0, name.find('/'))) &&
           isRealDirectory(directoryAbove(file)) && lstat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode) &&
           !S_ISDIR(status.st_mode);
}

bool removeDefinition(const std::string& name, std::string* error) {
    const std::string& dir = Env::inst().conf().getDfnCustomDir();
    const std::string file = definitionFile(dir, name);
    const std::string decoder = ownDecoder(dir, name);
    const std::string root = canonicalPath(dir);
    const std::string ofDefinition = canonicalPath(directoryAbove(file));
    const std::string ofDecoder = decoder.empty() ? "" : canonicalPath(directoryAbove(decoder));
    try {
        if (!hasSpecialFile(dir, name))
            DefinitionsDeployment().deleteOne(name, error);
    } catch (const Json::Exception& e) {
        *error = e.what();
    }
    if (!isRemoved(decoder) || !isRemoved(file))
        return false;
    removeEmptyDirectories(root, ofDefinition);
    removeEmptyDirectories(root, ofDecoder);
    return true;
}

} // namespace Kelvra::SCADA::Tool
