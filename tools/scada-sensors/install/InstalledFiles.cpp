#include "install/InstalledFiles.h"

#include "device/paths.h"
#include "text/digest.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <json/writer.h>

namespace Kelvra::SCADA::Tool {

std::string installedDecoder(const std::string& name) {
    return Env::inst().conf().getDfnCustomDir() + "/" + name + "-decoder";
}

InstalledFiles installedFiles(const std::string& name) {
    return {digestOfFile(definitionFile(Env::inst().conf().getDfnCustomDir(), name)),
            digestOfFile(installedDecoder(name))};
}

std::optional<std::string> documentToInstall(const Definition& definition) {
    if (!definition.verdict.valid || definition.verdict.decoderPath.empty())
        return std::nullopt;
    Json::Value document = definition.document;
    document[DefinitionsStorage::JSON_DECODER_SECTION] =
        definition.name.substr(definition.name.rfind('/') + 1) + "-decoder";
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

} // namespace Kelvra::SCADA::Tool
