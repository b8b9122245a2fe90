#include "Outcome.h"

#include "text.h"

namespace Kelvra::SCADA::Tool {

namespace {

Json::Value toArray(const std::vector<std::string>& names) {
    Json::Value array(Json::arrayValue);
    for (const std::string& name : names)
        array.append(name);
    return array;
}

std::string linesOf(const std::string& word, const std::vector<std::string>& names) {
    std::string lines;
    for (const std::string& name : names)
        lines += word + " " + printable(name) + "\n";
    return lines;
}

} // namespace

Outcome::Outcome(const std::string& srcDir, const std::set<std::string>& names) : source(srcDir) {
    for (const std::string& name : names)
        before.emplace(name, installedFiles(name));
}

void Outcome::look() {
    installed.clear();
    incomplete.clear();
    unchanged.clear();
    changed = false;
    for (const auto& [name, former] : before) {
        const InstalledFiles now = installedFiles(name);
        const bool untouched = now == former;
        changed = changed || !untouched;
        if (now.document && now == filesToInstall(source, name))
            installed.push_back(name);
        else
            (untouched ? unchanged : incomplete).push_back(name);
    }
}

Json::Value Outcome::result() const {
    Json::Value result(Json::objectValue);
    result["installed"] = toArray(installed);
    result["incomplete"] = toArray(incomplete);
    result["not_installed"] = toArray(unchanged);
    return result;
}

std::string Outcome::text() const {
    return linesOf("installed", installed) + linesOf("incomplete", incomplete) + linesOf("not installed", unchanged);
}

std::string Outcome::advice() const {
    if (!changed)
        return "nothing has been changed; --dry-run shows every reason";
    return "remove the cause, then install the same source with --allow-overwrite, which completes what was begun";
}

} // namespace Kelvra::SCADA::Tool
