#include "InstalledFiles.h"

#include "Storages.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>

#include <json/writer.h>

#include <fstream>
#include <sstream>

namespace Kelvra::SCADA::Tool {

namespace {

std::optional<std::string> bytesOf(const std::string& file) {
    // A FIFO would be waited for.
    if (FsNode(file).getMode() != FsNode::MODE_FILE)
        return std::nullopt;
    const std::ifstream stream(file, std::ios::in | std::ios::binary);
    if (!stream.is_open())
        return std::nullopt;
    std::ostringstream content;
    if (stream.rdbuf()->in_avail() != 0)
        content << stream.rdbuf();
    return content.str();
}

} // namespace

std::string installedDecoder(const std::string& name) {
    return Env::inst().conf().getDfnCustomDir() + "/" + name + "-decoder";
}

InstalledFiles installedFiles(const std::string& name) {
    return {bytesOf(definitionFile(Env::inst().conf().getDfnCustomDir(), name)), bytesOf(installedDecoder(name))};
}

InstalledFiles filesToInstall(const std::string& srcDir, const std::string& name) {
    const Definition definition = readDefinition(srcDir, name);
    if (!definition.valid || definition.spec.decoderPath.empty())
        return {};
    Json::Value document = definition.spec.json;
    document[DefinitionsStorage::JSON_DECODER_SECTION] = name.substr(name.rfind('/') + 1) + "-decoder";
    return {Json::writeString(Json::StreamWriterBuilder(), document), bytesOf(definition.spec.decoderPath)};
}

} // namespace Kelvra::SCADA::Tool
