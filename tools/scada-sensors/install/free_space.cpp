#include "install/free_space.h"

#include "device/GenerationPaths.h"
#include "device/InstalledFiles.h"
#include "device/paths.h"
#include "install/PrivateStaging.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// In bytes: the least space of a small file or a directory. An installed definition is two files.
constexpr std::uint64_t BLOCK = 4096;

// Sparse files may claim any size, and the sum of several may exceed the largest number.
std::uint64_t sum(std::uint64_t one, std::uint64_t other) {
    return one > std::numeric_limits<std::uint64_t>::max() - other ? std::numeric_limits<std::uint64_t>::max()
                                                                   : one + other;
}

std::uint64_t inBlocks(std::uint64_t size) {
    return (size / BLOCK + 1) * BLOCK;
}

std::uint64_t blocksOf(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    return error ? BLOCK : inBlocks(size);
}

std::uint64_t sizeOnDisk(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode))
        return 0;
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

Room roomOfMissing(const std::set<std::string>& directories, const std::string& target) {
    Room room;
    std::error_code error;
    for (const std::string& directory : directories) {
        if (!fs::exists(target + "/" + directory, error))
            room += {BLOCK, 1};
    }
    return room;
}

// The room of the files that are removed from the staging directory before anything is written.
Room roomOfLeftovers(const std::string& staging) {
    Room room;
    std::error_code error;
    for (const std::string& leftover : leftoversOfInstallations(staging)) {
        for (fs::recursive_directory_iterator at(leftover, error); !error && at != fs::recursive_directory_iterator();
             at.increment(error))
            room += {sizeOnDisk(at->path().string()), 1};
    }
    return room;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

struct TreeRoom {
    Room files;
    Room directories;
};

TreeRoom roomOfTree(const std::string& dir) {
    TreeRoom room;
    std::error_code error;
    if (fs::is_directory(dir, error))
        room.directories = {BLOCK, 1};
    for (fs::recursive_directory_iterator at(dir, error); !error && at != fs::recursive_directory_iterator();
         at.increment(error)) {
        if (at->is_directory(error))
            room.directories += {BLOCK, 1};
        else
            room.files += {sizeOnDisk(at->path().string()), 1};
    }
    return room;
}

// `freed` becomes available before anything is written. A file system that does not count inodes reports that it has
// none.
Findings shortageIn(const std::string& option, const std::string& dir, const std::string& place, const Room& needed,
                    const Room& freed) {
    struct statvfs status {};
    if (statvfs(nearestExisting(place).c_str(), &status) != 0)
        return {};
    const std::uint64_t bytes = std::uint64_t{status.f_bavail} * status.f_frsize + freed.bytes;
    const std::uint64_t inodes = status.f_favail + freed.inodes;
    if (bytes < needed.bytes)
        return {{Rules::INSTALL_NO_SPACE,
                 {dir},
                 filled("There is not enough free space for %s: %s bytes needed, %s available.",
                        {option, std::to_string(needed.bytes), std::to_string(bytes)})}};
    if (status.f_files != 0 && inodes < needed.inodes)
        return {{Rules::INSTALL_NO_SPACE,
                 {dir},
                 filled("There are not enough free inodes for %s: %s needed, %s available.",
                        {option, std::to_string(needed.inodes), std::to_string(inodes)})}};
    return {};
}

} // namespace

Room& Room::operator+=(const Room& more) {
    bytes = sum(bytes, more.bytes);
    inodes = sum(inodes, more.inodes);
    return *this;
}

// A file is replaced by a new one that is written beside it.
void SpaceNeeds::addFile(std::uint64_t size, const std::string& replaced) {
    const std::uint64_t standing = sizeOnDisk(replaced);
    written += {size, 1};
    growth = sum(growth, size - std::min(size, standing));
    largestReplaced = std::max(largestReplaced, std::min(size, standing));
}

void SpaceNeeds::add(const Definition& definition, const std::optional<std::string>& document) {
    const std::string& name = definition.name;
    addFile(document ? inBlocks(document->size()) : blocksOf(definition.file),
            definitionFile(Env::inst().conf().getDfnCustomDir(), name));
    if (!definition.verdict.decoderPath.empty())
        addFile(blocksOf(definition.verdict.decoderPath), installedDecoder(name));
    for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1))
        directories.insert(name.substr(0, end));
}

Room SpaceNeeds::inStaging() const {
    Room room = written;
    room += {directories.size() * BLOCK, directories.size() + 1};
    return room;
}

// The files that stay get second names there, or are copied.
Room SpaceNeeds::inNextGeneration(const std::string& custom) const {
    const bool copied = deviceOf(custom) != deviceOf(nearestExisting(GenerationPaths(custom).base));
    const TreeRoom standing = roomOfTree(custom);
    Room copy = standing.directories;
    if (copied)
        copy += standing.files;
    Room room = written;
    room += roomOfMissing(directories, custom);
    room += copy;
    if (!whyNotExchangeable(custom).empty())
        room += copy;
    return room;
}

Room SpaceNeeds::inCustom(const std::string& custom) const {
    if (whyNotExchangeable(custom).empty())
        return {};
    Room room = roomOfMissing(directories, custom);
    room += {sum(growth, largestReplaced), written.inodes};
    return room;
}

Findings SpaceNeeds::shortage() const {
    if (written.inodes == 0)
        return {};
    const Conf& conf = Env::inst().conf();
    const std::string& staging = conf.getDfnStagingDir();
    const std::string custom = canonicalPath(conf.getDfnCustomDir());
    const Room freed = roomOfLeftovers(staging);
    Findings findings = shortageIn("--staging-dir", staging, staging, inStaging(), freed);
    if (!findings.empty())
        return findings;
    const std::string beside = nearestExisting(GenerationPaths(custom).base);
    std::map<dev_t, Room> needs;
    needs[deviceOf(nearestExisting(custom))] += inCustom(custom);
    needs[deviceOf(beside)] += inNextGeneration(custom);
    const dev_t ofStaging = deviceOf(nearestExisting(staging));
    // Only the staging directory frees room before anything is written.
    if (needs.count(ofStaging) != 0)
        needs[ofStaging] += inStaging();
    for (const std::string& place : {nearestExisting(custom), beside}) {
        const Room more = deviceOf(place) == ofStaging ? freed : Room();
        findings = shortageIn("--custom-dir", conf.getDfnCustomDir(), place, needs[deviceOf(place)], more);
        if (!findings.empty())
            return findings;
    }
    return {};
}

} // namespace Kelvra::SCADA::Tool
