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

} // namespace Kelvra::SCADA::Test
