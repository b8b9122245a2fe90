#include "InstalledFiles.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>

#include <json/writer.h>

#include <fstream>
#include <sstream>
#include <utility>

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

std::optional<std::string> documentToInstall(const Definition& definition, const std::string& name) {
    if (!definition.valid || definition.spec.decoderPath.empty())
        return std::nullopt;
    Json::Value document = definition.spec.json;
    document[DefinitionsStorage::JSON_DECODER_SECTION] = name.substr(name.rfind('/') + 1) + "-decoder";
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

InstalledFiles filesToInstall(const std::string& srcDir, const std::string& name) {
    const Definition definition = readDefinition(srcDir, name);
    std::optional<std::string> document = documentToInstall(definition, name);
    if (!document)
        return {};
    return {std::move(document), bytesOf(definition.spec.decoderPath)};
}

} // namespace Kelvra::SCADA::Tool
