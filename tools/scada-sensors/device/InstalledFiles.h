#pragma once

#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The content of one definition in the custom storage as digests; that of a file that is missing or cannot be read is
/// empty.
struct InstalledFiles {
    std::string document;
    std::string decoder;

    bool operator==(const InstalledFiles& other) const {
        return document == other.document && decoder == other.decoder;
    }
};

/// Returns what a directory of definitions holds for a name.
InstalledFiles installedFiles(const std::string& dir, const std::string& name);
/// Returns what the custom storage holds for a name.
InstalledFiles installedFiles(const std::string& name);

/// Returns one hash of both files.
std::string contentHash(const InstalledFiles& files);

/// Returns the document that an installation would write for a definition of its source, which is longer than the
/// source's when that has no indentation. Nothing when the definition is not valid or has no decoder.
std::optional<std::string> documentToInstall(const Definition& definition);

/// Returns whether a written document stays the same when it is read and written again, as an import does.
bool survivesImport(const std::string& document);

/// Returns the path of an installed definition's decoder, which an import names after the definition.
std::string installedDecoder(const std::string& dir, const std::string& name);
std::string installedDecoder(const std::string& name);

} // namespace Kelvra::SCADA::Tool
