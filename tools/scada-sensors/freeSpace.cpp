#include "freeSpace.h"

#include "InstalledFiles.h"
#include "Storages.h"
#include "directories.h"

#include <scada/Env.h>

#include <sys/stat.h>

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

std::uint64_t sizeOfFiles(const std::string& srcDir, const std::set<std::string>& names) {
    std::uint64_t size = 0;
    for (const std::string& name : names) {
        const Definition definition = readDefinition(srcDir, name);
        const std::optional<std::string> document = documentToInstall(definition, name);
        size += document ? inBlocks(document->size()) : blocksOf(definition.file);
        if (!definition.spec.decoderPath.empty())
            size += blocksOf(definition.spec.decoderPath);
    }
    return size;
}

std::uint64_t sizeOfDirectories(const std::string& target, const std::set<std::string>& names) {
    std::set<std::string> missing;
    std::error_code error;
    for (const std::string& name : names) {
        for (std::size_t end = name.find('/'); end != std::string::npos; end = name.find('/', end + 1)) {
            const std::string directory = name.substr(0, end);
            if (!fs::exists(target + "/" + directory, error))
                missing.insert(directory);
        }
    }
    return missing.size() * BLOCK;
}

dev_t deviceOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

std::string shortage(const std::string& option, const std::string& dir, std::uint64_t needed) {
    std::error_code error;
    const fs::space_info space = fs::space(nearestExisting(dir), error);
    if (error || space.available >= needed)
        return "";
    return "not enough free space for " + option + " [" + dir + "]: " + std::to_string(needed) + " bytes needed, " +
           std::to_string(space.available) + " available";
}

} // namespace

std::string missingSpace(const std::string& srcDir, const std::set<std::string>& names) {
    const Conf& conf = Env::inst().conf();
    const std::string staging = conf.getDfnStagingDir();
    const std::string custom = conf.getDfnCustomDir();
    const std::uint64_t files = sizeOfFiles(srcDir, names);
    const std::uint64_t staged = files + sizeOfDirectories(staging, names);
    const std::uint64_t installed = files + sizeOfDirectories(custom, names);
    const bool shared = deviceOf(nearestExisting(staging)) == deviceOf(nearestExisting(custom));
    const std::string reason = shortage("--staging-dir", staging, staged);
    return reason.empty() ? shortage("--custom-dir", custom, shared ? staged + installed : installed) : reason;
}

} // namespace Kelvra::SCADA::Tool
