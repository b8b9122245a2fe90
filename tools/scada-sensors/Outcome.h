#pragma once

#include "InstalledFiles.h"

#include <json/value.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// What an installation made of each definition, judged by the files themselves.
class Outcome {
public:
    /// Notes the state before the installation.
    Outcome(const std::string& srcDir, const std::set<std::string>& names);

    /// Looks at the custom storage as it is now.
    void look();

    bool isComplete() const { return unchanged.empty() && incomplete.empty(); }
    Json::Value result() const;
    /// One line for each definition that is installed or incomplete, then what has not been installed.
    std::string text() const;
    /// What to do about a failed installation.
    std::string advice() const;

private:
    std::string source;
    std::map<std::string, InstalledFiles> before;
    std::vector<std::string> installed;
    std::vector<std::string> incomplete;
    std::vector<std::string> unchanged;
    bool changed = false;
};

} // namespace Kelvra::SCADA::Tool
