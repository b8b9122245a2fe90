#pragma once

#include "text/json_file.h"

#include <optional>
#include <string>
#include <utility>

namespace Kelvra::SCADA::Tool {

/// The places in a definition's file. The file is read when the first place is requested: a sound definition needs
/// none.
class DefinitionPlaces {
public:
    explicit DefinitionPlaces(std::string definitionFile) : file(std::move(definitionFile)) {}

    const JsonFile& json() {
        if (!content)
            content.emplace(file);
        return *content;
    }

private:
    std::string file;
    std::optional<JsonFile> content;
};

} // namespace Kelvra::SCADA::Tool
