#pragma once

#include <string>
#include <utility>

namespace Kelvra::SCADA::Test {

/// Creates and fills a storage directory.
class StorageBuilder {
public:
    StorageBuilder(std::string storageDir); // implicit: a storage is written as its directory

    /// Writes the definition file of `name`.
    StorageBuilder& definition(const std::string& name, const std::string& jsonText);
    /// Writes a decoder next to the definition `name`.
    StorageBuilder& decoder(const std::string& name, const std::string& fileName,
                            const std::string& text = "// decoder\n");

    const std::string& dir() const { return root; }

private:
    std::string root;
};

/// Returns a definition as a user writes it, with one property "temperature".
std::string documentOf(const std::string& decoder, const std::string& title = "Air");

std::string decoderTextOf(const std::string& name);

/// Writes a good definition, documentOf() its decoder, and the decoder STEM.js next to it.
void addDefinition(const StorageBuilder& storage, const std::string& name, const std::string& title,
                   const std::string& decoderText);
/// The same with decoderTextOf(name).
void addDefinition(const StorageBuilder& storage, const std::string& name, const std::string& title = "Air");

} // namespace Kelvra::SCADA::Test
