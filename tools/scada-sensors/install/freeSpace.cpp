#include "install/freeSpace.h"

#include "device/paths.h"
#include "install/InstalledFiles.h"
#include "install/PrivateStaging.h"
#include "text/filled.h"

#include <scada/Env.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// In bytes: what a small file or a directory takes at least; an installed definition is two files.
constexpr std::uint64_t BLOCK = 4096;

// Sparse files may claim any size, and several more than a number holds.
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

std::uint64_t sizeOfMissing(const std::set<std::string>& directories, const std::string& target) {
    std::uint64_t size = 0;
    std::error_code error;
    for (const std::string& directory : directories)
        size += fs::exists(target + "/" + directory, error) ? 0 : BLOCK;
    return size;
}

// What goes from the staging directory before anything is written.
std::uint64_t sizeOfLeftovers(const std::string& staging) {
    std::uint64_t size = 0;
    std::error_code error;
    for (const std::string& leftover : leftoversIn(staging)) {
        for (fs::recursive_directory_iterator at(leftover, error); !error && at != fs::recursive_directory_iterator();
             at.increment(error))
            size += sizeOnDisk(at->path().string());
    }
    return size;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

// `freed` becomes available before anything is written.
Findings shortageIn(const std::string& option, const std::string& dir, std::uint64_t needed, std::uint64_t freed) {
    std::error_code error;
    const std::uint64_t available = fs::space(nearestExisting(dir), error).available + freed;
    if (error || available >= needed)
        return {};
    return {{Rules::INSTALL_NO_SPACE,
             {dir},
             filled("There is not enough free space for %s: %s bytes needed, %s available.",
                    {option, std::to_string(needed), std::to_string(available)})}};
}

} // namespace

// Files are replaced one by one, so space freed late cannot serve earlier files.
void SpaceNeeds::addFile(std::uint64_t size, const std::string& replaced) {
    staged = sum(staged, size);
    installed = sum(installed, size - std::min(size, sizeOnDisk(replaced)));
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

Findings SpaceNeeds::shortage() const {
    const Conf& conf = Env::inst().conf();
    const std::string& staging = conf.getDfnStagingDir();
    const std::string& custom = conf.getDfnCustomDir();
    const std::uint64_t toStage = sum(staged, directories.size() * BLOCK);
    const std::uint64_t toInstall = sum(installed, sizeOfMissing(directories, custom));
    const std::uint64_t freed = sizeOfLeftovers(staging);
    Findings findings = shortageIn("--staging-dir", staging, toStage, freed);
    if (!findings.empty())
        return findings;
    // Nothing is freed before anything is written, except in the staging directory.
    if (deviceOf(nearestExisting(staging)) == deviceOf(nearestExisting(custom)))
        return shortageIn("--custom-dir", custom, sum(toStage, toInstall), freed);
    return shortageIn("--custom-dir", custom, toInstall, 0);
}

} // namespace Kelvra::SCADA::Tool
