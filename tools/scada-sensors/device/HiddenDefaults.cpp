#include "device/HiddenDefaults.h"

#include "device/GenerationPaths.h"
#include "device/image.h"
#include "device/paths.h"
#include "text/Descriptor.h"
#include "text/digest.h"
#include "text/directory_entries.h"
#include "text/text.h"

#include <fcntl.h>

#include <cstddef>
#include <cstdint>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

// Long enough that no two names are equal by chance.
constexpr std::size_t NAME_DIGITS = 16;
constexpr std::size_t CONTENT_DIGITS = 32;

std::string prefixOf(const std::string& name) {
    return digestOf(name).substr(0, NAME_DIGITS) + "-";
}

} // namespace

std::string hiddenEntry(const std::string& name, const InstalledFiles& installed) {
    return prefixOf(name) + contentHash(installed).substr(0, CONTENT_DIGITS);
}

const HiddenDefaults::Kept& HiddenDefaults::kept() const {
    if (known)
        return *known;
    known.emplace();
    if (custom.empty())
        return *known;
    known->dir = GenerationPaths(canonicalPath(custom)).hidden;
    const Descriptor opened{open(known->dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!opened.isOpen())
        return *known;
    try {
        for (const DirectoryEntry& entry : entriesOf(opened.number(), SIZE_MAX))
            known->entries.insert(entry.name);
    } catch (const std::system_error&) {
        known->entries.clear(); // treated as if there were none
    }
    return *known;
}

const std::map<std::string, HistoryChange>& HiddenDefaults::installations() const {
    if (lastInstallations)
        return *lastInstallations;
    lastInstallations.emplace();
    if (custom.empty())
        return *lastInstallations;
    for (const HistoryEntry& entry : readHistory(GenerationPaths(canonicalPath(custom)).history)) {
        for (const HistoryChange& change : entry.changes) {
            if (change.change == "installed")
                lastInstallations->insert_or_assign(change.name, change);
        }
    }
    return *lastInstallations;
}

InstalledFiles HiddenDefaults::filesOf(const std::string& name, const InstalledFiles* present) const {
    return present == nullptr ? installedFiles(custom, name) : *present;
}

bool HiddenDefaults::hidNothing(const std::string& name, const InstalledFiles* present) const {
    const auto last = installations().find(name);
    return last != installations().end() && last->second.hides.empty() &&
           last->second.content == contentHash(filesOf(name, present));
}

// Reads the custom definition only if something is kept for its name.
std::string HiddenDefaults::directoryOf(const std::string& name, const InstalledFiles* present) const {
    const std::set<std::string>& entries = kept().entries;
    if (entries.empty())
        return "";
    const std::string prefix = prefixOf(name);
    const auto first = entries.lower_bound(prefix);
    if (first == entries.end() || !startsWith(*first, prefix))
        return "";
    const std::string entry = hiddenEntry(name, filesOf(name, present));
    const std::string dir = kept().dir + "/" + entry;
    // The tool has kept nothing behind a link.
    const std::string file = definitionFile(dir, name);
    const std::string expected = definitionFile(canonicalPath(kept().dir) + "/" + entry, name);
    const bool isLinked = isImage() ? inImage(file) != file : canonicalPath(file) != expected;
    return entries.count(entry) == 0 || isLinked ? "" : dir;
}

} // namespace Kelvra::SCADA::Tool
