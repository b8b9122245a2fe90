#pragma once

#include "files.h"

#include <regex>
#include <set>
#include <string>

namespace Kelvra::SCADA::Test {

/// Returns the text of the first group of `pattern` for each match in a source file of the tool.
inline std::set<std::string> namesInSource(const std::string& file, const std::string& pattern) {
    const std::string text = readFile(SCADA_TOOL_SOURCES "/" + file);
    const std::regex expression(pattern);
    std::set<std::string> names;
    for (std::sregex_iterator at(text.begin(), text.end(), expression); at != std::sregex_iterator(); ++at)
        names.insert((*at)[1].str());
    return names;
}

} // namespace Kelvra::SCADA::Test
