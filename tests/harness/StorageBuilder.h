#pragma once

#include <string>
#include <utility>

namespace Kelvra::SCADA::Test {

/// Creates and fills a storage directory.
class StorageBuilder {
public:
    explicit StorageBuilder(std::string storageDir);

    /// Writes the definition file of `name`.
    StorageBuilder& definition(const std::string& name, const std::string& jsonText);
    /// Writes a decoder next to the definition `name`.
    StorageBuilder& decoder(const std::string& name, const std::string& fileName,
                            const std::string& text = "// decoder\n");

    const std::string& dir() const { return root; }

private:
    std::string root;
};

} // namespace Kelvra::SCADA::Test
