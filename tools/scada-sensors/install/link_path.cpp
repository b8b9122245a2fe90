#include "install/link_path.h"

#include <deque>
#include <filesystem>

namespace Kelvra::SCADA::Tool {

namespace fs = std::filesystem;

namespace {

// As many as the system follows.
constexpr int MOST_LINKS = 40;
// Longer chains of links cost their author nothing.
constexpr int MOST_STEPS = 500;

std::deque<fs::path> partsOf(const fs::path& path) {
    return {path.begin(), path.end()};
}

// Removes the path of the source from an absolute path. Returns false if it leads elsewhere.
bool enterSource(std::deque<fs::path>* parts, const fs::path& source) {
    for (const fs::path& part : source) {
        if (parts->empty() || parts->front() != part)
            return false;
        parts->pop_front();
    }
    return true;
}

} // namespace

LinkEnd endOfLink(const std::string& relative, const std::map<std::string, std::string>& links,
                  const std::string& source) {
    LinkEnd nowhere{true, ""};
    std::deque<fs::path> ahead = partsOf(relative);
    fs::path reached;
    int steps = 0;
    for (int followed = 0; !ahead.empty();) {
        if (++steps > MOST_STEPS)
            return nowhere;
        const fs::path part = ahead.front();
        ahead.pop_front();
        if (part.empty() || part == ".")
            continue;
        if (part == ".." && reached.empty())
            return nowhere;
        reached = part == ".." ? reached.parent_path() : reached / part;
        const auto link = links.find(reached.string());
        if (link == links.end())
            continue;
        std::deque<fs::path> target = partsOf(link->second);
        const bool absolute = fs::path(link->second).is_absolute();
        if (++followed > MOST_LINKS || (absolute && (source.empty() || !enterSource(&target, source))))
            return nowhere;
        ahead.insert(ahead.begin(), target.begin(), target.end());
        reached = absolute ? fs::path() : reached.parent_path();
    }
    return {false, reached.string()};
}

} // namespace Kelvra::SCADA::Tool
