#include "StorageBuilder.h"

#include "files.h"

namespace Kelvra::SCADA::Test {

StorageBuilder::StorageBuilder(std::string storageDir) : root(std::move(storageDir)) {
    makeDir(root);
}

StorageBuilder& StorageBuilder::definition(const std::string& name, const std::string& jsonText) {
    writeFile(root + "/" + name + ".json", jsonText);
    return *this;
}

StorageBuilder& StorageBuilder::decoder(const std::string& name, const std::string& fileName, const std::string& text) {
    const std::string path = root + "/" + name;
    writeFile(path.substr(0, path.rfind('/') + 1) + fileName, text);
    return *this;
}

std::string documentOf(const std::string& decoder, const std::string& title) {
    return R"({"decoder": ")" + decoder + R"(", "properties": {"temperature": {"name": ")" + title + R"("}}})";
}

std::string decoderTextOf(const std::string& name) {
    return "// decodes " + name + "\n";
}

void addDefinition(const StorageBuilder& storage, const std::string& name, const std::string& title,
                   const std::string& decoderText) {
    const std::string decoder = name.substr(name.rfind('/') + 1) + ".js";
    StorageBuilder(storage).definition(name, documentOf(decoder, title)).decoder(name, decoder, decoderText);
}

void addDefinition(const StorageBuilder& storage, const std::string& name, const std::string& title) {
    addDefinition(storage, name, title, decoderTextOf(name));
}

} // namespace Kelvra::SCADA::Test
