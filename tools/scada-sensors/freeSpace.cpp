#include "freeSpace.h"

#include "Storages.h"
#include "directories.h"

#include <scada/Env.h>

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <system_error>

namespace Kelvra::SCADA::Tool {

namespace {

namespace fs = std::filesystem;

// What a small file takes at least; an installed definition is two files.
constexpr std::uint64_t BLOCK = 4096;

std::uint64_t blocksOf(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    return error ? BLOCK : (size / BLOCK + 1) * BLOCK;
}

std::uint64_t sizeOf(const std::string& srcDir, const std::set<std::string>& names) {
    std::uint64_t size = 0;
    for (const std::string& name : names) {
        const Definition definition = readDefinition(srcDir, name);
        size += blocksOf(definition.file);
        if (!definition.spec.decoderPath.empty())
            size += blocksOf(definition.spec.decoderPath);
    }
    return size;
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
    const std::uint64_t size = sizeOf(srcDir, names);
    const bool shared = deviceOf(nearestExisting(staging)) == deviceOf(nearestExisting(custom));
    const std::string reason = shortage("--staging-dir", staging, size);
    return reason.empty() ? shortage("--custom-dir", custom, shared ? 2 * size : size) : reason;
}

} // namespace Kelvra::SCADA::Tool
