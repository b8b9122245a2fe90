#include "freeSpace.h"

#include "InstalledFiles.h"
#include "Storages.h"
#include "directories.h"

#include <scada/Env.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// What a small file or a directory takes at least; an installed definition is two files.
constexpr std::uint64_t BLOCK = 4096;

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

struct Needs {
    std::uint64_t staged = 0;
    std::uint64_t installed = 0;

    // What is replaced goes first, one file after the other: what a smaller one gives back may be too late for others.
    void add(std::uint64_t size, const std::string& replaced) {
        staged += size;
        installed += size - std::min(size, sizeOnDisk(replaced));
    }
};

Needs needsOfFiles(const std::string& srcDir, const std::set<std::string>& names) {
    Needs needs;
    for (const std::string& name : names) {
        const Definition definition = readDefinition(srcDir, name);
        const std::optional<std::string> document = documentToInstall(definition, name);
        needs.add(document ? inBlocks(document->size()) : blocksOf(definition.file),
                  definitionFile(Env::inst().conf().getDfnCustomDir(), name));
        if (!definition.spec.decoderPath.empty())
            needs.add(blocksOf(definition.spec.decoderPath), installedDecoder(name));
    }
    return needs;
}

std::set<std::string> directoriesOf(const std::set<std::string>& names) {
    std::set<std::string> directories;
    for (const std::string& name : names) {
        for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1))
            directories.insert(name.substr(0, end));
    }
    return directories;
}

std::uint64_t sizeOfMissing(const std::set<std::string>& directories, const std::string& target) {
    std::uint64_t size = 0;
    std::error_code error;
    for (const std::string& directory : directories)
        size += fs::exists(target + "/" + directory, error) ? 0 : BLOCK;
    return size;
}

// What the emptying of the staging directory gives back: all but its hidden entries.
std::uint64_t sizeOfLeftovers(const std::string& staging) {
    std::uint64_t size = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator at(staging, error); !error && at != fs::recursive_directory_iterator();
         at.increment(error)) {
        if (at.depth() == 0 && at->path().filename().string().front() == '.')
            at.disable_recursion_pending();
        else
            size += sizeOnDisk(at->path().string());
    }
    return size;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

// `freed` becomes available before anything is written.
std::string shortage(const std::string& option, const std::string& dir, std::uint64_t needed, std::uint64_t freed) {
    std::error_code error;
    const std::uint64_t available = fs::space(nearestExisting(dir), error).available + freed;
    if (error || available >= needed)
        return "";
    return "not enough free space for " + option + " [" + dir + "]: " + std::to_string(needed) + " bytes needed, " +
           std::to_string(available) + " available";
}

} // namespace

std::string missingSpace(const std::string& srcDir, const std::set<std::string>& names) {
    const Conf& conf = Env::inst().conf();
    const std::string staging = conf.getDfnStagingDir();
    const std::string custom = conf.getDfnCustomDir();
    const std::set<std::string> directories = directoriesOf(names);
    Needs needs = needsOfFiles(srcDir, names);
    needs.staged += directories.size() * BLOCK;
    needs.installed += sizeOfMissing(directories, custom);
    const std::uint64_t freed = sizeOfLeftovers(staging);
    std::string reason = shortage("--staging-dir", staging, needs.staged, freed);
    if (!reason.empty())
        return reason;
    if (deviceOf(nearestExisting(staging)) == deviceOf(nearestExisting(custom)))
        return shortage("--custom-dir", custom, needs.staged + needs.installed, freed);
    return shortage("--custom-dir", custom, needs.installed, 0);
}

} // namespace Kelvra::SCADA::Tool
