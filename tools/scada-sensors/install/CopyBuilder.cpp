#include "install/CopyBuilder.h"

#include "device/paths.h"
#include "install/link_path.h"
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
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

constexpr std::ptrdiff_t DEFINITION_DEPTH = 2;
constexpr std::ptrdiff_t DEEPEST = 32;
// The reader needs some hundred bytes for each value, and holds a document several times.
constexpr std::size_t MOST_VALUES = 50000;
constexpr std::uint64_t MOST_INDENTATION = std::uint64_t{4} * 1024 * 1024;
constexpr std::size_t MOST_KEPT = std::size_t{4} * 1024 * 1024;
// The bytes of an archive in addition to the content of a file: headers, and the rest of its last block.
constexpr std::uint64_t BESIDE_CONTENT = 2048;

std::ptrdiff_t depthOf(const std::string& relative) {
    return std::count(relative.begin(), relative.end(), '/');
}

template <typename Value> void withoutPrefix(const std::string& prefix, std::map<std::string, Value>* values) {
    std::map<std::string, Value> shorter;
    for (auto& [path, value] : *values) {
        if (startsWith(path, prefix))
            shorter.emplace(path.substr(prefix.size()), std::move(value));
    }
    *values = std::move(shorter);
}

} // namespace

void CopyBuilder::refuse(const Rule& rule, const std::string& relative, const std::string& text) {
    if (full)
        return;
    if (found->size() >= MOST_FINDINGS) {
        full = true;
        found->push_back(tooManyFindings(copy->dir));
        return;
    }
    found->push_back({rule, {relative.empty() ? copy->dir : pathOf(relative)}, text});
}

void CopyBuilder::stop(const Rule& rule, const std::string& text) {
    if (!full)
        refuse(rule, "", text);
    full = true;
}

bool CopyBuilder::isDefinition(const std::string& relative) const {
    const std::ptrdiff_t above = outermost.empty() ? 0 : 1;
    return depthOf(relative) == DEFINITION_DEPTH + above && endsWith(relative, ".json");
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
    if (isDefinition(relative) && ++definitions > limits.definitions) {
        stop(Rules::SOURCE_TOO_MANY,
             filled("The source has more than %s definitions.", {std::to_string(limits.definitions)}));
        return false;
    }
    if (size > limitOf(relative)) {
        addOversized(relative, size);
        return false;
    }
    return admitsBytes(size);
}

bool CopyBuilder::admitsBytes(std::uint64_t count) {
    bytes += count;
    if (bytes > limits.source)
        stop(Rules::SOURCE_TOO_LARGE,
             filled("The files of the source have more than %s bytes together.", {std::to_string(limits.source)}));
    return !full;
}

bool CopyBuilder::admitsStream(std::uint64_t size) {
    if (size / BESIDE_CONTENT > limits.source / BESIDE_CONTENT + limits.entries())
        stop(Rules::SOURCE_TOO_LARGE,
             filled("The files of the source have more than %s bytes together.", {std::to_string(limits.source)}));
    return !full;
}

std::uint64_t CopyBuilder::limitOf(const std::string& relative) const {
    return isDefinition(relative) ? limits.definition : limits.decoder;
}

// An oversized file that no definition names does not refuse the source. A definition that names it gets the finding
// that it is too large.
void CopyBuilder::addOversized(const std::string& relative, std::uint64_t size) {
    if (isDefinition(relative)) {
        refuse(Rules::SOURCE_TOO_LARGE, relative,
               filled("The definition has %s bytes; the limit is %s.",
                      {std::to_string(size), std::to_string(limits.definition)}));
        return;
    }
    makeFile(relative, S_IRUSR | S_IWUSR);
    if (keeps(relative.size()))
        copy->oversized[relative] = filled("The decoder has %s bytes; the limit is %s.",
                                           {std::to_string(size), std::to_string(limits.decoder)});
}

bool CopyBuilder::makeDirectory(const std::string& relative) const {
    return mkdir(pathOf(relative).c_str(), S_IRWXU) == 0;
}

Descriptor CopyBuilder::makeFile(const std::string& relative, mode_t mode) {
    weighing = isDefinition(relative);
    return Descriptor{
        open(pathOf(relative).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode & ACCESSPERMS)};
}

void CopyBuilder::write(int file, const char* data, std::size_t size, off_t offset) {
    if (weighing)
        weight.add(data, size);
    while (size > 0) {
        const ssize_t written = pwrite(file, data, size, offset);
        if (written < 0 && errno != EINTR)
            throw std::runtime_error(filled("cannot copy the source: %s", {reasonOf(errno)}));
        const auto count = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
        data += count;
        size -= count;
        offset += static_cast<off_t>(count);
    }
}

void CopyBuilder::endFile(const std::string& relative) {
    if (!std::exchange(weighing, false))
        return;
    const JsonWeight ended = std::exchange(weight, JsonWeight());
    if (ended.values() > MOST_VALUES)
        refuse(Rules::SOURCE_TOO_LARGE, relative,
               filled("The definition has more than %s values.", {std::to_string(MOST_VALUES)}));
    else if (ended.indentation() > MOST_INDENTATION)
        refuse(Rules::SOURCE_TOO_LARGE, relative,
               filled("The definition is nested too deeply: its indentation would take more than %s bytes.",
                      {std::to_string(MOST_INDENTATION)}));
}

void CopyBuilder::removeFile(const std::string& relative) const {
    unlink(pathOf(relative).c_str());
    copy->oversized.erase(relative);
}

bool CopyBuilder::hasEntry(const std::string& relative) const {
    std::error_code error;
    return isSpecial(relative) || fs::exists(fs::symlink_status(pathOf(relative), error));
}

bool CopyBuilder::addHardLink(const std::string& relative, const std::string& target) {
    struct stat status {};
    if (lstat(pathOf(target).c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    if (relative == target)
        return true;
    removeFile(relative);
    if (admitsFile(relative, static_cast<std::uint64_t>(status.st_size)))
        shareFile(relative, target);
    return full || hasEntry(relative) || isDefinition(relative);
}

void CopyBuilder::shareFile(const std::string& relative, const std::string& target) const {
    std::error_code error;
    fs::create_hard_link(pathOf(target), pathOf(relative), error);
    const auto oversized = copy->oversized.find(target);
    if (oversized != copy->oversized.end())
        copy->oversized[relative] = oversized->second;
}

// A hostile source may have tens of thousands of names of thousands of bytes each.
bool CopyBuilder::keeps(std::size_t count) {
    kept += count;
    if (kept > MOST_KEPT)
        stop(Rules::SOURCE_TOO_MANY,
             filled("The links and special files of the source take more than %s bytes.", {std::to_string(MOST_KEPT)}));
    return !full;
}

void CopyBuilder::addLink(const std::string& relative, const std::string& target, const EntryKind& kind) {
    if (!keeps(relative.size() + target.size()))
        return;
    links[relative] = target;
    copy->special.insert({relative, kind});
}

void CopyBuilder::addSpecial(const std::string& relative, const EntryKind& kind) {
    if (keeps(relative.size()))
        copy->special.insert({relative, kind});
}

void CopyBuilder::addFailure(const std::string& relative, const std::string& reason) {
    if (keeps(relative.size()))
        unreadable->insert({relative, reason});
}

void CopyBuilder::finish() {
    for (const auto& [relative, target] : links)
        followLink(relative);
    if (!outermost.empty() && found->empty())
        enterTop();
    if (copy->archive && found->empty())
        judgeDefinitions();
}

// A hard link, or a later entry that moves the outermost directory, can turn another file into a definition.
void CopyBuilder::judgeDefinitions() {
    definitions = 0;
    bytes = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator at(copy->dir, error);
         !error && !full && at != fs::recursive_directory_iterator(); at.increment(error)) {
        const std::string relative = at->path().string().substr(copy->dir.size() + 1);
        if (isDefinition(relative) && at->is_regular_file(error))
            judgeDefinition(relative);
    }
}

void CopyBuilder::judgeDefinition(const std::string& relative) {
    std::error_code error;
    const std::uint64_t size = fs::file_size(pathOf(relative), error);
    if (error || !admitsFile(relative, size))
        return;
    std::string text;
    readRegularFile(pathOf(relative), &text);
    weighing = true;
    weight.add(text.data(), text.size());
    endFile(relative);
}

// A link with the name of a definition does not become a file, which would be listed as a definition.
void CopyBuilder::followLink(const std::string& relative) {
    const LinkEnd end = endOfLink(relative, links, copy->archive ? "" : canonicalPath(copy->source));
    std::error_code error;
    const fs::file_type type =
        end.outside ? fs::file_type::not_found : fs::symlink_status(pathOf(end.relative), error).type();
    EntryKind& kind = copy->special.at(relative);
    if (kind.target == fs::file_type::none)
        kind.target = type;
    if (isDefinition(relative))
        return;
    if (end.outside) {
        makeFile(relative, S_IRUSR | S_IWUSR);
        copy->outside.insert({relative, true});
    } else if (type == fs::file_type::regular) {
        shareFile(relative, end.relative);
    }
}

void CopyBuilder::enterTop() {
    const std::string prefix = outermost + "/";
    copy->dir += "/" + outermost;
    copy->source += "/" + outermost;
    outermost.clear();
    withoutPrefix(prefix, &copy->special);
    withoutPrefix(prefix, &copy->outside);
    withoutPrefix(prefix, &copy->oversized);
    withoutPrefix(prefix, unreadable);
}

} // namespace Kelvra::SCADA::Tool
