#pragma once

#include "device/DefinitionDirectory.h"

#include <optional>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The content of one definition in the custom storage, as digests. A file that is missing or cannot be read has an
/// empty digest.
struct InstalledFiles {
    std::string document;
    std::string decoder;

    bool operator==(const InstalledFiles& other) const {
        return document == other.document && decoder == other.decoder;
    }
};

/// Returns the files of a definition in a directory of definitions.
InstalledFiles installedFiles(const std::string& dir, const std::string& name);
/// Returns the files of a definition in the custom storage.
InstalledFiles installedFiles(const std::string& name);

/// Returns one hash of both files.
std::string contentHash(const InstalledFiles& files);

/// Returns the document that an installation would write for a definition of its source. It is longer than the source's
/// document if that has no indentation. Returns nothing if the definition is not valid or has no decoder.
std::optional<std::string> documentToInstall(const Definition& definition);

/// Returns whether a written document stays the same when an import reads it and writes it again.
bool survivesImport(const std::string& document);

/// Returns the path of an installed definition's decoder, which an import names after the definition.
std::string installedDecoder(const std::string& dir, const std::string& name);
std::string installedDecoder(const std::string& name);

} // namespace Kelvra::SCADA::Tool
