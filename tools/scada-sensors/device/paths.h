#pragma once

#include <string>

namespace Kelvra::SCADA::Tool {

/// Returns the path of a definition's file in a directory of definitions.
std::string definitionFile(const std::string& dir, const std::string& name);

/// Returns the last component of a definition's name.
std::string stemOf(const std::string& name);

/// Returns the file name that an import gives the decoder of a definition.
std::string importedDecoderName(const std::string& name);

/// Returns the canonical path; components that do not exist yet are taken as written. A path that cannot be resolved is
/// returned unchanged, with the reason in `*failure` (unless null); otherwise `*failure` is untouched.
std::string canonicalPath(const std::string& path, std::string* failure = nullptr);

/// Returns the path itself, or the nearest existing one above it.
std::string nearestExisting(const std::string& path);

/// Whether a file may be written, or a directory may get new entries.
bool isWritable(const std::string& path);

/// Whether a file may be read.
bool isReadable(const std::string& path);

/// Whether a path leads to the managed-sensors list, or to something that is there in a storage, its generations or the
/// staging directory: a page or an archive would take its place.
bool isOfDevice(const std::string& path);

} // namespace Kelvra::SCADA::Tool
