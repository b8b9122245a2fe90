#include "install/kept_defaults.h"

#include "device/DefinitionDirectory.h"
#include "device/HiddenDefaults.h"
#include "device/paths.h"
#include "install/tree_copy.h"
#include "text/Descriptor.h"
#include "text/digest.h"
#include "text/directory_entries.h"
#include "text/filled.h"
#include "text/remove_tree.h"

#include <scada/Env.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace Kelvra::SCADA::Tool {

namespace {

void writeKept(const std::string& root, const std::string& relative, const std::string& text) {
    for (std::size_t end = relative.find('/'); end != std::string::npos; end = relative.find('/', end + 1))
        makeDirectory(root + "/" + relative.substr(0, end));
    // A definition may be its own decoder.
    if (access((root + "/" + relative).c_str(), F_OK) != 0)
        writeNewFile(root + "/" + relative, text);
}

std::vector<DirectoryEntry> keptEntriesIn(const std::string& directory) {
    const Descriptor opened{open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    return opened.isOpen() ? entriesOf(opened.number(), SIZE_MAX) : std::vector<DirectoryEntry>();
}

void removeKept(const std::string& entry) {
    const int error = removeTree(entry);
    if (error != 0)
        throw std::runtime_error(filled("cannot remove [%s]: %s", {entry, reasonOf(error)}));
}

bool isKeptFor(const std::string& generation, const std::string& name, const std::string& entry) {
    return hiddenEntry(name, installedFiles(generation, name)) == entry;
}

} // namespace

std::string keepDefault(const std::string& directory, const std::string& name, const InstalledFiles& installed) {
    const std::string& dir = Env::inst().conf().getDfnDefaultDir();
    std::string document;
    const std::string file = definitionFile(dir, name);
    if (!readRegularFile(file, &document).empty())
        return access(file.c_str(), F_OK) == 0 ? "unknown" : "";
    const std::string root = directory + "/" + hiddenEntry(name, installed);
    makeDirectory(root);
    writeKept(root, definitionFile("", name).substr(1), document);
    const std::string decoderPath = readDefinition(dir, name).verdict.decoderPath;
    std::string decoder;
    const bool hasDecoder = !decoderPath.empty() && readRegularFile(decoderPath, &decoder).empty();
    if (hasDecoder)
        writeKept(root, decoderPath.substr(dir.size() + 1), decoder);
    return contentHash({digestOf(document), hasDecoder ? digestOf(decoder) : ""});
}

void takeOverDefaults(const GenerationPaths& paths) {
    const std::vector<DirectoryEntry> entries = keptEntriesIn(paths.hiddenNext);
    struct stat status {};
    // Anything else of that name would keep every operation from its end, or lead elsewhere.
    if (lstat(paths.hidden.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
        removeKept(paths.hidden);
    if (!entries.empty())
        makeDirectory(paths.hidden);
    for (const DirectoryEntry& entry : entries) {
        forgetDefault(paths, entry.name);
        moveEntry(paths.hiddenNext + "/" + entry.name, paths.hidden + "/" + entry.name);
    }
    if (!entries.empty())
        syncDirectory(paths.hidden);
    removeKept(paths.hiddenNext);
    removeKept(paths.hiddenFormer);
}

void forgetDefault(const GenerationPaths& paths, const std::string& entry) {
    removeKept(paths.hiddenFormer);
    const std::string kept = paths.hidden + "/" + entry;
    struct stat status {};
    if (lstat(kept.c_str(), &status) != 0)
        return;
    moveEntry(kept, paths.hiddenFormer);
    removeKept(paths.hiddenFormer);
}

void forgetDefaults(const GenerationPaths& paths) {
    const std::vector<DirectoryEntry> entries = keptEntriesIn(paths.hidden);
    std::size_t left = entries.size();
    for (const DirectoryEntry& entry : entries) {
        const DefinitionDirectory kept(paths.hidden + "/" + entry.name);
        const bool needed =
            std::any_of(kept.names().begin(), kept.names().end(), [&paths, &entry](const std::string& name) {
                return isKeptFor(paths.custom, name, entry.name) || isKeptFor(paths.previous, name, entry.name);
            });
        if (needed)
            continue;
        removeKept(paths.hidden + "/" + entry.name);
        --left;
    }
    if (left == 0)
        removeKept(paths.hidden);
}

} // namespace Kelvra::SCADA::Tool
