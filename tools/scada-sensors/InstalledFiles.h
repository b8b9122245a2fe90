#pragma once

#include "Storages.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The bytes that make up one definition in the custom storage; a file that is missing or out of reach has none.
struct InstalledFiles {
    std::optional<std::string> document;
    std::optional<std::string> decoder;

    bool operator==(const InstalledFiles& other) const {
        return document == other.document && decoder == other.decoder;
    }
};

/// Returns what the custom storage holds for a name.
InstalledFiles installedFiles(const std::string& name);

/// Returns the document that an installation would write for a definition of its source, which is more than the source
/// holds when that is without indentation. Nothing when the definition is not valid or has no decoder.
std::optional<std::string> documentToInstall(const Definition& definition, const std::string& name);

/// Returns what an installation would put there. Nothing when the source's definition cannot be read.
InstalledFiles filesToInstall(const std::string& srcDir, const std::string& name);

/// Returns the path of an installed definition's decoder, which an import names after the definition.
std::string installedDecoder(const std::string& name);

} // namespace Kelvra::SCADA::Tool
