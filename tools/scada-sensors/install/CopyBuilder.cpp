#include "install/CopyBuilder.h"

#include "device/paths.h"
#include "install/LinkPath.h"
#include "text/filled.h"
#include "text/text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr std::ptrdiff_t DEFINITION_DEPTH = 2;
constexpr std::ptrdiff_t DEEPEST = 32;
constexpr std::size_t MOST_LINK_BYTES = std::size_t{4} * 1024 * 1024;

std::ptrdiff_t depthOf(const std::string& relative) {
    return std::count(relative.begin(), relative.end(), '/');
}

} // namespace

bool isDefinitionPath(const std::string& relative) {
    return depthOf(relative) == DEFINITION_DEPTH && endsWith(relative, ".json");
}

void CopyBuilder::refuse(const Rule& rule, const std::string& relative, const std::string& text) {
    found->push_back({rule, {relative.empty() ? copy->dir : pathOf(relative)}, text});
}

void CopyBuilder::stop(const Rule& rule, const std::string& text) {
    refuse(rule, "", text);
    full = true;
}

bool CopyBuilder::admitsEntries(std::size_t count) {
    entries += count;
    if (entries > limits.entries())
        stop(Rules::SOURCE_TOO_MANY,
             filled("The source has more than %s entries.", {std::to_string(limits.entries())}));
    return !full;
}

bool CopyBuilder::admitsPath(const std::string& relative) {
    if (depthOf(relative) > DEEPEST)
        stop(Rules::SOURCE_TOO_MANY,
             filled("The source has directories more than %s levels deep.", {std::to_string(DEEPEST)}));
    return !full;
}

bool CopyBuilder::admitsFile(const std::string& relative, std::uint64_t size) {
    if (isDefinitionPath(relative) && ++definitions > limits.definitions) {
        stop(Rules::SOURCE_TOO_MANY,
             filled("The source has more than %s definitions.", {std::to_string(limits.definitions)}));
        return false;
    }
    if (size > limitOf(relative)) {
        addOversized(relative, size);
        return false;
    }
    bytes += size;
    if (bytes > limits.source)
        stop(Rules::SOURCE_TOO_LARGE,
             filled("The files of the source have more than %s bytes together.", {std::to_string(limits.source)}));
    return !full;
}

std::uint64_t CopyBuilder::limitOf(const std::string& relative) const {
    return isDefinitionPath(relative) ? limits.definition : limits.decoder;
}

// A file that no definition names is no reason to refuse the source: whoever names it finds that it is too large.
void CopyBuilder::addOversized(const std::string& relative, std::uint64_t size) {
    if (isDefinitionPath(relative)) {
        refuse(Rules::SOURCE_TOO_LARGE, relative,
               filled("The definition has %s bytes; the limit is %s.",
                      {std::to_string(size), std::to_string(limits.definition)}));
        return;
    }
    makeFile(relative, S_IRUSR | S_IWUSR);
    copy->oversized[relative] =
        filled("The decoder has %s bytes; the limit is %s.", {std::to_string(size), std::to_string(limits.decoder)});
}

void CopyBuilder::makeDirectory(const std::string& relative) const {
    mkdir(pathOf(relative).c_str(), S_IRWXU);
}

Descriptor CopyBuilder::makeFile(const std::string& relative, mode_t mode) const {
    return Descriptor{
        open(pathOf(relative).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode & ACCESSPERMS)};
}

// Their texts are kept, and may have thousands of bytes each.
void CopyBuilder::addLink(const std::string& relative, const std::string& target, const EntryKind& kind) {
    linkBytes += relative.size() + target.size();
    if (linkBytes > MOST_LINK_BYTES)
        stop(Rules::SOURCE_TOO_MANY, filled("The symbolic links of the source have more than %s bytes together.",
                                            {std::to_string(MOST_LINK_BYTES)}));
    if (full)
        return;
    links[relative] = target;
    copy->special.insert({relative, kind});
}

void CopyBuilder::followLinks() const {
    for (const auto& [relative, target] : links)
        followLink(relative);
}

// What is listed as a definition where it is a link must not be listed where it is a file.
void CopyBuilder::followLink(const std::string& relative) const {
    if (isDefinitionPath(relative))
        return;
    const LinkEnd end = endOfLink(relative, links, canonicalPath(copy->source));
    std::error_code error;
    if (end.outside) {
        makeFile(relative, S_IRUSR | S_IWUSR);
        copy->outside.insert(relative);
    } else if (std::filesystem::is_regular_file(pathOf(end.relative), error)) {
        std::filesystem::create_hard_link(pathOf(end.relative), pathOf(relative), error);
        const auto oversized = copy->oversized.find(end.relative);
        if (oversized != copy->oversized.end())
            copy->oversized[relative] = oversized->second;
    }
}

} // namespace Kelvra::SCADA::Tool
