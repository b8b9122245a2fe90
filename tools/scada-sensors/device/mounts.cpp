#include "device/mounts.h"

#include "device/paths.h"
#include "text/text.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <fstream>
#include <sstream>

namespace Kelvra::SCADA::Tool {

namespace {

constexpr int FIELDS_UP_TO_POINT = 5;

// The system writes blanks and backslashes as "\" and three octal digits.
std::string unescaped(const std::string& text) {
    constexpr std::size_t DIGITS = 3;
    constexpr int OCTAL = 8;
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool escape = text[at] == '\\' && at + DIGITS < text.size();
        plain += escape ? static_cast<char>(std::stoi(text.substr(at + 1, DIGITS), nullptr, OCTAL)) : text[at];
        at += escape ? DIGITS : 0;
    }
    return plain;
}

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

} // namespace

std::string mountBelow(const std::string& directory) {
    const std::string prefix = canonicalPath(directory) + "/";
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string field;
        for (int left = FIELDS_UP_TO_POINT; left > 0; --left)
            fields >> field;
        std::string point = unescaped(field);
        if (startsWith(point, prefix))
            return point;
    }
    return "";
}

bool isMountRoot(const std::string& directory) {
    const std::string path = canonicalPath(directory);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return false;
    const std::string device = std::to_string(major(status.st_dev)) + ":" + std::to_string(minor(status.st_dev));
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string number;
        std::string parent;
        std::string ofDevice;
        std::string root;
        std::string point;
        fields >> number >> parent >> ofDevice >> root >> point;
        point = unescaped(point);
        struct stat mounted {};
        // Other mounts are not asked: a server that does not answer would block the call.
        if (point == path || (ofDevice == device && stat(point.c_str(), &mounted) == 0 && isSame(mounted, status)))
            return true;
    }
    return false;
}

} // namespace Kelvra::SCADA::Tool
