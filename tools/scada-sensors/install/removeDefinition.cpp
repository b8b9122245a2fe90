#include "install/removeDefinition.h"

#include "device/paths.h"
#include "install/InstalledFiles.h"
#include "text/text.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <unistd.h>

#include <cerrno>

namespace Kelvra::SCADA::Tool {

namespace {

// Returns the decoder of a definition that is removed with it, or nothing: one outside the storage stays.
std::string ownDecoder(const std::string& dir, const std::string& name) {
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

// Goes up from a resolved directory as far as nothing is left. The storage itself stays.
void removeEmptyDirectories(const std::string& root, std::string directory) {
    while (startsWith(directory, root + "/") && rmdir(directory.c_str()) == 0)
        directory = directoryAbove(directory);
}

} // namespace

bool removeDefinition(const std::string& name, std::string* error) {
    const std::string& dir = Env::inst().conf().getDfnCustomDir();
    const std::string file = definitionFile(dir, name);
    const std::string decoder = ownDecoder(dir, name);
    const std::string root = canonicalPath(dir);
    const std::string ofDefinition = canonicalPath(directoryAbove(file));
    const std::string ofDecoder = decoder.empty() ? "" : canonicalPath(directoryAbove(decoder));
    try {
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
