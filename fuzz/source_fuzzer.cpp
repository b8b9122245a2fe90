// The bytes are the source of an installation: an archive, or the plan of a directory with hostile names, links and
// special files. Whatever the verdict, nothing outside the private copy may change, and no copy may remain.

#include "Workspace.h"

#include "device/CodecSettings.h"
#include "device/Device.h"
#include "install/Preflight.h"

#include <kelvra/LoggerControl.h>
#include <scada/Env.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;
namespace fs = std::filesystem;

constexpr std::size_t KILOBYTE = 1024;
constexpr char PLAN = 'D'; ///< the first byte of a directory's plan; any other means an archive

struct Setting {
    Setting() {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        // No input may start a program.
        Tool::codecSettings().runner.clear();
        for (const char* directory : {"custom/lora/demo", "default", "staging", "copies"})
            fs::create_directories(workspace / directory);
        chmod((workspace / "copies").c_str(), S_IRWXU);
        setenv("TMPDIR", (workspace / "copies").c_str(), 1);
        Fuzz::writeFile(outside, reinterpret_cast<const std::uint8_t*>("untouched"), 9);
        Env::inst().conf().setDfnCustomDir(workspace / "custom");
        Env::inst().conf().setDfnDefaultDir(workspace / "default");
        Env::inst().conf().setDfnStagingDir(workspace / "staging");
        Env::inst().conf().setSensorMapFile(workspace / "list.json");
    }

    Fuzz::Workspace workspace;
    const std::string outside = workspace / "custom/lora/demo/outside.js";
    const std::string source = workspace / "source";
};

/// The content of a plan, byte by byte.
class Plan {
public:
    Plan(const std::uint8_t* bytes, std::size_t size) : data(bytes), left(size) {}

    bool isAtEnd() const { return left == 0; }
    std::uint8_t byte() {
        if (left == 0)
            return 0;
        --left;
        return *data++;
    }
    /// Returns at most so many bytes.
    std::string text(std::size_t length) {
        const std::size_t count = std::min(length, left);
        std::string taken(reinterpret_cast<const char*>(data), count);
        data += count;
        left -= count;
        return taken;
    }
    /// Returns a path of components that often have a meaning.
    std::string path() {
        const char* const known[] = {"lora", "demo", "th1.json", "th1.js", "..", ".", "th2.json", ""};
        std::string result;
        for (int components = 1 + byte() % 4; components > 0; --components) {
            const std::uint8_t which = byte();
            std::string component = which < 200 ? known[which % 8] : text(which % 16);
            std::replace(component.begin(), component.end(), '\0', '?');
            result += (result.empty() ? "" : "/") + component;
        }
        return result;
    }

private:
    const std::uint8_t* data;
    std::size_t left;
};

// A path of the plan may climb out of the source: not while the source is made.
std::string inside(const std::string& path) {
    std::string result;
    for (const fs::path& part : fs::path(path).relative_path()) {
        if (part != ".." && !part.empty())
            result += "/" + part.string();
    }
    return result;
}

void makeEntry(const Setting& setting, Plan* plan) {
    std::error_code ignored;
    const std::uint8_t kind = plan->byte();
    const std::string relative = inside(plan->path());
    const std::string path = setting.source + relative;
    // A link of the plan could redirect the file to another place.
    for (fs::path above = fs::path(path).parent_path(); above != setting.source; above = above.parent_path()) {
        if (above == above.parent_path() || fs::is_symlink(fs::symlink_status(above, ignored)))
            return;
    }
    if (relative.empty() || fs::exists(fs::symlink_status(path, ignored)))
        return;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    switch (kind % 6) {
    case 0:
        fs::create_directories(path, ignored);
        break;
    case 1:
        fs::create_symlink(plan->path(), path, ignored);
        break;
    case 2:
        fs::create_symlink(kind < 128 ? "/" : setting.outside, path, ignored);
        break;
    case 3:
        mkfifo(path.c_str(), S_IRUSR | S_IWUSR);
        break;
    default:
        // Fails if the name is too long, or below a file.
        std::ofstream(path, std::ios::binary) << plan->text(plan->byte());
        fs::permissions(path, static_cast<fs::perms>(kind & 0700U), ignored);
    }
}

void makeSource(const Setting& setting, const std::uint8_t* data, std::size_t size) {
    fs::remove_all(setting.source);
    if (size == 0 || data[0] != PLAN) {
        Fuzz::writeFile(setting.source, data, size);
        return;
    }
    fs::create_directory(setting.source);
    Plan plan(data + 1, size - 1);
    while (!plan.isAtEnd())
        makeEntry(setting, &plan);
}

bool isEmpty(const std::string& directory) {
    return fs::directory_iterator(directory) == fs::directory_iterator();
}

void requireNothingChanged(const Setting& setting) {
    require(fs::file_size(setting.outside) == 9, "what is outside is untouched");
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::recursive_directory_iterator(setting.workspace / "custom"))
        ++entries;
    require(entries == 3, "the custom storage is untouched");
    require(isEmpty(setting.workspace / "default") && isEmpty(setting.workspace / "staging"), "nothing is written");
    require(isEmpty(setting.workspace / "copies"), "no copy stays");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Setting setting;
    makeSource(setting, data, size);
    Tool::InstallRequest request;
    request.source = setting.source;
    request.limits = {4 * KILOBYTE, 8 * KILOBYTE, 64 * KILOBYTE, 20};
    try {
        Tool::Device device;
        const Tool::Preflight preflight = Tool::examine(request, device);
        require(preflight.definitions.size() <= request.limits.definitions, "no more definitions than are admitted");
        const std::string copies = setting.workspace / "copies";
        for (const Tool::Finding& finding : preflight.findings)
            require(finding.place.file.rfind(copies, 0) != 0, "a finding names the source, not its copy");
    } catch (const std::runtime_error&) {
        // No copy can be made.
    }
    requireNothingChanged(setting);
    return 0;
}
