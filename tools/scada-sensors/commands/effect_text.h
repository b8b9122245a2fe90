#pragma once

#include "codec/effect_of_change.h"

#include <json/value.h>

#include <cstddef>
#include <map>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The effects on values when definitions change, for one answer.
class ShownEffects {
public:
    /// Without `wanted`, no decoder is run.
    ShownEffects(bool wanted, bool json) : isWanted(wanted), isJson(json) {}

    void add(const Definition& present, const Definition& wanted);

    /// Returns one indented line for each change, as in `temperature 21.5 °C becomes 2.15 °C in "normal report"`, made
    /// printable.
    std::string textOf(const std::string& definition) const;
    /// Returns the same for programs; null for a definition that was not added.
    Json::Value jsonOf(const std::string& definition) const;

private:
    bool isWanted;
    bool isJson;
    std::map<std::string, std::string> texts;
    std::map<std::string, Json::Value> values;
    std::size_t shown = 0;
};

} // namespace Kelvra::SCADA::Tool
