#include "JsonText.h"
#include "inspect.h"

#include <kelvra/Text.h>
#include <scada/DefinitionsStorage.h>
#include <scada/FsNode.h>

#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* SUFFIX = ".json";
constexpr int DEFINITION_DEPTH = 2;

bool endsInSuffix(const std::string& name) {
    const std::string suffix = SUFFIX;
    return name.size() >= suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// ".JSON", ".json.bak" and the like.
bool hasSuffixSomewhere(const std::string& name) {
    return Text::toLowerCase(name).find(SUFFIX) != std::string::npos;
}

bool readsAsDefinition(const std::string& file) {
    const JsonText json(file);
    return json.root().isObject() && json.root()[DefinitionsStorage::JSON_PROPERTIES_SECTION].isObject();
}

class TreeInspection {
public:
    TreeInspection(const std::string& rootDir, const std::set<std::string>& listedNames,
                   const std::set<std::string>& decoderPaths)
        : root(rootDir), names(listedNames), decoders(decoderPaths) {}

    Faults run() {
        inspectDirectory("", 0, "");
        return found;
    }

private:
    // `depth` counts the directories between the root and the entries of `relative`; `link` is the symbolic link that
    // leads there, if any.
    void inspectDirectory(const std::string& relative, int depth, const std::string& link) {
        std::set<std::string> entries;
        std::error_code error;
        for (fs::directory_iterator at(pathOf(relative), error); !error && at != fs::directory_iterator();
             at.increment(error))
            entries.insert(at->path().filename().string());
        if (error)
            add(relative, "The directory cannot be read: " + error.message());
        const std::string prefix = relative.empty() ? "" : relative + "/";
        for (const std::string& entry : entries)
            inspectEntry(prefix + entry, depth, link);
    }

    void inspectEntry(const std::string& relative, int depth, const std::string& outerLink) {
        std::error_code error;
        const fs::file_status own = fs::symlink_status(pathOf(relative), error);
        if (!fs::status_known(own)) {
            add(relative, "The entry cannot be examined: " + error.message());
            return;
        }
        const std::string link = outerLink.empty() && fs::is_symlink(own) ? relative : outerLink;
        // A link that leads nowhere is judged by its name.
        const fs::file_status target = fs::status(pathOf(relative), error);
        // Beyond a link only what would be listed without it is of interest, which also ends every loop of links.
        if (fs::is_directory(target) && (link.empty() || depth < DEFINITION_DEPTH))
            inspectDirectory(relative, depth + 1, link);
        if (!fs::is_directory(target) || (depth == DEFINITION_DEPTH && endsInSuffix(relative)))
            inspectFile(relative, depth, link, target);
    }

    // Adds each reason why a file that looks like a definition is not listed.
    void inspectFile(const std::string& relative, int depth, const std::string& link, const fs::file_status& target) {
        if (isListed(relative) || isDecoder(relative))
            return;
        const bool regular = fs::is_regular_file(target);
        const std::string name = fs::path(relative).filename().string();
        const bool looksLikeOne =
            hasSuffixSomewhere(name) || (depth == DEFINITION_DEPTH && regular && readsAsDefinition(pathOf(relative)));
        if (!looksLikeOne)
            return;
        if (!link.empty())
            add(relative, "Not listed: it lies behind the symbolic link [" + link + "].");
        if (depth != DEFINITION_DEPTH)
            add(relative, "Not listed: a definition lies exactly two directories below its storage.");
        if (!endsInSuffix(name))
            add(relative, "Not listed: its name does not end in [.json].");
        if (!regular)
            add(relative, "Not listed: it is not a regular file.");
    }

    bool isListed(const std::string& relative) const {
        return endsInSuffix(relative) &&
               names.count(relative.substr(0, relative.size() - std::string(SUFFIX).size())) != 0;
    }

    bool isDecoder(const std::string& relative) const {
        std::string resolved;
        return FsNode(pathOf(relative)).realPath(&resolved) && decoders.count(resolved) != 0;
    }

    std::string pathOf(const std::string& relative) const { return root + "/" + relative; }

    void add(const std::string& relative, const std::string& text) {
        found.push_back({relative.empty() ? root : pathOf(relative), text});
    }

    const std::string& root;
    const std::set<std::string>& names;
    const std::set<std::string>& decoders;
    Faults found;
};

} // namespace

Faults inspectTree(const std::string& dir, const std::set<std::string>& names, const std::set<std::string>& decoders) {
    return TreeInspection(dir, names, decoders).run();
}

} // namespace Kelvra::SCADA::Tool
