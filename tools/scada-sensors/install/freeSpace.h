#pragma once

#include "check/Finding.h"
#include "device/DefinitionDirectory.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The room that an installation takes in the staging and in the custom directory.
class SpaceNeeds {
public:
    /// Adds a definition of the source and the document that would be written for it, if any.
    void add(const Definition& definition, const std::optional<std::string>& document);

    /// Returns why all that does not fit, or nothing.
    Findings shortage() const;

private:
    void addFile(std::uint64_t size, const std::string& replaced);

    std::uint64_t staged = 0;
    std::uint64_t installed = 0;
    std::set<std::string> directories;
};

} // namespace Kelvra::SCADA::Tool
