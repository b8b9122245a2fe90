#include "definitions/listing.h"

#include "fs/directory.h"

#include <scada/FsNode.h>

#include <cstdint>
#include <list>

namespace Kelvra::SCADA {

namespace {

constexpr std::uint8_t LEVELS = 2;
constexpr const char* ANY_NAME = "*";
constexpr const char* DEFINITION_FILE = "*.json";
constexpr std::size_t SUFFIX_LENGTH = 5;

void collectNames(const std::string& dir, const std::string& relPath, std::uint8_t depth,
                  std::set<std::string>* names) {
    std::list<std::string> entries;
    FsNode node(dir + "/" + relPath);
    if (depth == 0) {
        node.list(&entries, DEFINITION_FILE, FsNode::MODE_FILE);
        for (const std::string& entry : entries) {
            const std::string file = relPath + "/" + entry;
            names->insert(file.substr(0, file.size() - SUFFIX_LENGTH));
        }
        return;
    }
    node.list(&entries, ANY_NAME, FsNode::MODE_DIR);
    for (const std::string& entry : entries)
        collectNames(dir, relPath.empty() ? entry : relPath + "/" + entry, static_cast<std::uint8_t>(depth - 1), names);
}

// Whether a listing descends into a directory of this name.
bool isDescended(const std::string& name) {
    return !name.empty() && name != "." && name != "..";
}

} // namespace

void collectNames(const std::string& dir, std::set<std::string>* names) {
    collectNames(dir, "", LEVELS, names);
}

// Makes on each level the test that the listing makes for this one entry, with the same paths and therefore the same
// lengths. Tests the file first, because for most names that are not listed it does not exist.
bool isListed(const std::string& dir, const std::string& name) {
    const std::string::size_type first = name.find('/');
    const std::string::size_type second = first == std::string::npos ? first : name.find('/', first + 1);
    if (second == std::string::npos || name.find('/', second + 1) != std::string::npos)
        return false;
    const std::string source = name.substr(0, first);
    const std::string model = name.substr(first + 1, second - first - 1);
    if (name.find('\0') != std::string::npos || !isDescended(source) || !isDescended(model))
        return false;
    const std::string file = name.substr(second + 1) + ".json";
    const std::string root = dir + "/";
    const std::string directory = root + name.substr(0, second);
    return isEntryAccepted(directory, file.c_str(), DEFINITION_FILE, acceptedTypes(FsNode::MODE_FILE)) &&
           hasEntryNamed(root, source, Links::FOLLOW) && hasEntryNamed(root + "/" + source, model, Links::NOFOLLOW) &&
           hasEntryNamed(directory, file, Links::NOFOLLOW);
}

} // namespace Kelvra::SCADA
