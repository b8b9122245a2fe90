#include "check/tree_rules.h"

#include "device/image.h"
#include "device/mounts.h"
#include "text/Descriptor.h"
#include "text/JsonWeight.h"
#include "text/directory_entries.h"
#include "text/filled.h"
#include "text/json_file.h"
#include "text/text.h"

#include <scada/DefinitionsStorage.h>
#include <scada/FsNode.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* SUFFIX = ".json";
constexpr std::size_t SUFFIX_LENGTH = 5;
constexpr int DEFINITION_DEPTH = 2;
// In bytes. A longer file is not read to find out whether it is a definition.
constexpr std::uintmax_t LONGEST_DEFINITION = std::uintmax_t{1024} * 1024;
constexpr std::size_t MOST_VALUES = 50000;

// ".JSON", ".json.bak" and the like.
bool hasSuffixSomewhere(const std::string& name) {
    const std::string suffix = SUFFIX;
    const auto isSame = [](char c, char wanted) {
        return std::tolower(static_cast<unsigned char>(c)) == static_cast<unsigned char>(wanted);
    };
    return std::search(name.begin(), name.end(), suffix.begin(), suffix.end(), isSame) != name.end();
}

// A JSON object with a section of properties.
bool readsAsDefinition(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    std::string text;
    if (error || size > LONGEST_DEFINITION || !readRegularFile(file, &text).empty())
        return false;
    JsonWeight weight;
    weight.add(text.data(), text.size());
    if (weight.values() > MOST_VALUES)
        return false;
    const JsonFile json(file);
    return json.root().isObject() && json.root()[DefinitionsStorage::JSON_PROPERTIES_SECTION].isObject();
}

class TreeCheck {
public:
    TreeCheck(DefinitionDirectory& examined, const SpecialEntries& specialEntries, std::size_t mostFindings)
        : directory(examined), special(specialEntries), most(mostFindings) {
        for (const auto& [path, kind] : special)
            specialNames[fs::path(path).parent_path().string()].insert(fs::path(path).filename().string());
    }

    Findings run() {
        for (const std::string& name : directory.names())
            decoders.insert(directory.verdict(name).decoderPath);
        checkDirectory("", 0);
        return found;
    }

private:
    // `depth` counts the directories between the root and the entries of `relative`.
    void checkDirectory(const std::string& relative, int depth) {
        std::map<std::string, unsigned char> entries;
        for (const std::string& name : namesOfSpecial(relative))
            entries.emplace(name, DT_UNKNOWN);
        const Descriptor opened{open(pathOf(relative).c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC)};
        // If the directory cannot be searched, the types of its entries do not count.
        const bool searchable = opened.isOpen() && faccessat(opened.number(), ".", X_OK, AT_EACCESS) == 0;
        try {
            if (!opened.isOpen())
                throw std::system_error(errno, std::generic_category());
            for (const DirectoryEntry& entry : entriesOf(opened.number(), SIZE_MAX))
                entries.emplace(entry.name, searchable ? entry.type : static_cast<unsigned char>(DT_UNKNOWN));
        } catch (const std::system_error& e) {
            add(Rules::TREE_DIRECTORY_UNREADABLE, relative,
                filled("The directory cannot be read: %s", {reasonOf(e.code().value())}));
        }
        const std::string prefix = relative.empty() ? "" : relative + "/";
        for (const auto& [name, type] : entries)
            checkEntry(prefix + name, type, depth);
    }

    std::set<std::string> namesOfSpecial(const std::string& relative) const {
        const auto known = specialNames.find(relative);
        return known == specialNames.end() ? std::set<std::string>() : known->second;
    }

    std::optional<EntryKind> kindOf(const std::string& relative, unsigned char type) {
        const auto known = special.find(relative);
        if (known != special.end())
            return known->second;
        if (type == DT_REG)
            return EntryKind{fs::file_type::regular, fs::file_type::regular};
        if (type == DT_DIR)
            return EntryKind{fs::file_type::directory, fs::file_type::directory};
        std::error_code error;
        const std::string path = pathOf(relative);
        const fs::file_status own = fs::symlink_status(path, error);
        if (!fs::status_known(own)) {
            add(Rules::TREE_ENTRY_UNREADABLE, relative, filled("The entry cannot be examined: %s", {error.message()}));
            return std::nullopt;
        }
        // A link that leads nowhere is judged by its name.
        return EntryKind{own.type(), fs::is_symlink(own) ? fs::status(inImage(path), error).type() : own.type()};
    }

    void checkEntry(const std::string& relative, unsigned char type, int depth) {
        if (relative == LOST_AND_FOUND && isMountRoot(directory.path()))
            return;
        const std::optional<EntryKind> kind = kindOf(relative, type);
        if (!kind)
            return;
        if (kind->isDirectory() && kind->isLink()) {
            checkDirectoryLink(relative, depth);
            return;
        }
        if (kind->isDirectory())
            checkDirectory(relative, depth + 1);
        if (!kind->isDirectory() || (depth == DEFINITION_DEPTH && endsWith(relative, SUFFIX)))
            checkFile(relative, depth, *kind);
    }

    // The tree behind the link is not examined: it may be the whole system. The finding at the link itself covers its
    // content.
    void checkDirectoryLink(const std::string& relative, int depth) {
        if (depth < DEFINITION_DEPTH || endsWith(relative, SUFFIX))
            add(Rules::TREE_BEHIND_LINK, relative,
                filled("It is a symbolic link to a directory: nothing behind it is listed."));
    }

    // Adds each reason why a file that looks like a definition is not listed.
    void checkFile(const std::string& relative, int depth, const EntryKind& kind) {
        if (isListed(relative) || decoders.count(pathOf(relative)) != 0)
            return;
        const std::string name = fs::path(relative).filename().string();
        const bool mayBeDefinition = hasSuffixSomewhere(name) || (depth == DEFINITION_DEPTH && kind.isRegular());
        if (!mayBeDefinition || isDecoder(relative))
            return;
        if (!hasSuffixSomewhere(name) && !readsAsDefinition(inImage(pathOf(relative))))
            return;
        if (kind.isLink())
            add(Rules::TREE_BEHIND_LINK, relative, filled("Not listed: it is a symbolic link."));
        if (depth != DEFINITION_DEPTH)
            add(Rules::TREE_WRONG_LEVEL, relative,
                filled("Not listed: a definition must be exactly two directories below its storage."));
        if (!endsWith(name, SUFFIX))
            add(Rules::TREE_WRONG_SUFFIX, relative, filled("Not listed: its name does not end in [.json]."));
        if (!kind.isRegular())
            add(Rules::TREE_NOT_A_FILE, relative, filled("Not listed: it is not a regular file."));
    }

    bool isListed(const std::string& relative) const {
        return endsWith(relative, SUFFIX) && directory.lists(relative.substr(0, relative.size() - SUFFIX_LENGTH));
    }

    // A definition may name its decoder by a path other than this one.
    bool isDecoder(const std::string& relative) {
        std::string path;
        return FsNode(inImage(pathOf(relative))).realPath(&path) && resolvedDecoders().count(path) != 0;
    }

    const std::set<std::string>& resolvedDecoders() {
        if (resolved.empty()) {
            for (const std::string& decoder : decoders) {
                std::string path = decoder;
                FsNode(decoder).realPath(&path);
                resolved.insert(path);
            }
        }
        return resolved;
    }

    std::string pathOf(const std::string& relative) const {
        return relative.empty() ? directory.path() : directory.path() + "/" + relative;
    }

    void add(const Rule& rule, const std::string& relative, const std::string& text) {
        if (found.size() < most)
            found.push_back({rule, {pathOf(relative)}, text});
    }

    DefinitionDirectory& directory;
    const SpecialEntries& special;
    std::map<std::string, std::set<std::string>> specialNames; ///< by directory
    std::set<std::string> decoders;
    std::set<std::string> resolved;
    std::size_t most;
    Findings found;
};

} // namespace

Findings checkTree(DefinitionDirectory& directory, const SpecialEntries& special, std::size_t most) {
    return TreeCheck(directory, special, most).run();
}

} // namespace Kelvra::SCADA::Tool
