#include "device/InstalledFiles.h"

#include "device/image.h"
#include "device/paths.h"
#include "text/digest.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <json/reader.h>
#include <json/writer.h>

#include <memory>

namespace Kelvra::SCADA::Tool {

std::string installedDecoder(const std::string& dir, const std::string& name) {
    return dir + "/" + name.substr(0, name.rfind('/') + 1) + importedDecoderName(name);
}

std::string installedDecoder(const std::string& name) {
    return installedDecoder(Env::inst().conf().getDfnCustomDir(), name);
}

InstalledFiles installedFiles(const std::string& dir, const std::string& name) {
    return {digestOfFile(inImage(definitionFile(dir, name))), digestOfFile(inImage(installedDecoder(dir, name)))};
}

InstalledFiles installedFiles(const std::string& name) {
    return installedFiles(Env::inst().conf().getDfnCustomDir(), name);
}

std::string contentHash(const InstalledFiles& files) {
    return digestOf(files.document + files.decoder);
}

std::optional<std::string> documentToInstall(const Definition& definition) {
    if (!definition.verdict.valid || definition.verdict.decoderPath.empty())
        return std::nullopt;
    Json::Value document = definition.document;
    document[DefinitionsStorage::JSON_DECODER_SECTION] = importedDecoderName(definition.name);
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

bool survivesImport(const std::string& document) {
    // Bytes that are not UTF-8 are written as this character, which could make two members equal.
    if (document.find("\\ufffd") == std::string::npos)
        return true;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value again;
    return reader->parse(document.data(), document.data() + document.size(), &again, nullptr) &&
           Json::writeString(Json::StreamWriterBuilder(), again) == document;
}

} // namespace Kelvra::SCADA::Tool
