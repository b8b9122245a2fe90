#include "device/image.h"

#include "device/paths.h"
#include "text/filled.h"
#include "text/text.h"

#include <scada/Env.h>

#include <sys/stat.h>

#include <deque>
#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr const char* NOWHERE = "/dev/null/nowhere"; // below a file
constexpr int MOST_LINKS = 40;                       // as many as the system follows

// Without a slash at its end, so that it is empty for the root of this device.
std::optional<std::string>& rootOfImage() {
    static std::optional<std::string> root;
    return root;
}

std::deque<std::string> componentsOf(const std::string& path) {
    std::deque<std::string> components;
    for (const std::filesystem::path& part : std::filesystem::path(path).relative_path()) {
        if (!part.empty() && part != ".")
            components.push_back(part.string());
    }
    return components;
}

/// Follows a path as a process does whose root directory is that of the image.
class ImageWalk {
public:
    ImageWalk(std::string imageRoot, const std::string& path)
        : root(std::move(imageRoot)), pending(componentsOf(path)) {}

    std::string end() {
        while (!pending.empty()) {
            const std::string name = pending.front();
            pending.pop_front();
            if (name == "..")
                at.erase(at.empty() ? 0 : at.rfind('/'));
            else if (!enter("/" + name))
                return rest(at + "/" + name);
        }
        return at.empty() && root.empty() ? "/" : root + at;
    }

private:
    // Returns false if the path cannot go on from there.
    bool enter(const std::string& name) {
        const std::string path = root + at + name;
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0 || (!S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)))
            return false;
        if (!S_ISLNK(status.st_mode)) {
            at += name;
            return true;
        }
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(path, error).string();
        isLost = error || ++links > MOST_LINKS;
        if (isLost)
            return false;
        if (startsWith(target, "/"))
            at.clear();
        const std::deque<std::string> components = componentsOf(target);
        pending.insert(pending.begin(), components.begin(), components.end());
        return true;
    }

    // ".." after a component that does not exist or is a file leads nowhere.
    std::string rest(std::string path) const {
        for (const std::string& name : pending) {
            if (isLost || name == "..")
                return NOWHERE;
            path += "/" + name;
        }
        return isLost ? NOWHERE : root + path;
    }

    std::string root;
    std::string at; ///< below the root, without links
    std::deque<std::string> pending;
    int links = 0;
    bool isLost = false;
};

std::string configuredInImage(const std::string& path) {
    if (path.empty())
        return path;
    std::string place = inImage(*rootOfImage() + "/" + path);
    if (place == NOWHERE)
        throw std::runtime_error(filled("[%s] leads nowhere in the image", {path}));
    return place;
}

} // namespace

void enterImage(const std::string& root) {
    const std::string canonical = canonicalPath(root);
    rootOfImage() = canonical == "/" ? "" : canonical;
    Conf& conf = Env::inst().conf();
    conf.setDfnDefaultDir(configuredInImage(conf.getDfnDefaultDir()));
    conf.setDfnCustomDir(configuredInImage(conf.getDfnCustomDir()));
    conf.setSensorMapFile(configuredInImage(conf.getSensorMapFile()));
}

bool isImage() {
    return rootOfImage().has_value();
}

std::string rootDirectory() {
    const std::string root = rootOfImage().value_or("");
    return root.empty() ? "/" : root;
}

std::string inImage(const std::string& path) {
    if (!isImage())
        return path;
    const std::string& root = *rootOfImage();
    if (path != root && !startsWith(path, root + "/"))
        return NOWHERE;
    return ImageWalk(root, path.substr(root.size())).end();
}

} // namespace Kelvra::SCADA::Tool
