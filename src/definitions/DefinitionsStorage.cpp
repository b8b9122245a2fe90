#include <scada/DefinitionsStorage.h>

#include "config/formatMessage.h"
#include "definitions/DefinitionName.h"
#include "definitions/errorTexts.h"
#include "definitions/listing.h"
#include "fs/JsonFile.h"

#include <kelvra/Text.h>
#include <scada/FsNode.h>

#include <utility>

namespace Kelvra::SCADA {

namespace {

// Reads the document of `name`, which must be an object.
bool readDocument(const std::string& dir, const std::string& name, Json::Value* document, std::string* error) {
    std::string text;
    if (dir.empty() || !readFile(definitionPath(dir, name), &text)) {
        formatMessage(error, ErrorText::DEFINITION_NOT_FOUND, name.c_str());
        return false;
    }
    if (!parseJson(text, document, nullptr) || !document->isObject()) {
        formatMessage(error, "Invalid syntax of the sensor definition [%s].", name.c_str());
        return false;
    }
    return true;
}

// Puts the decoder's path into `*path`, or nothing when the definition names no decoder.
bool resolveDecoder(const std::string& dir, const std::string& name, const Json::Value& document, std::string* path,
                    std::string* error) {
    const Json::Value& member = document[DefinitionsStorage::JSON_DECODER_SECTION];
    if (!member.isString())
        return true;
    const std::string decoder = Text::trim(member.asString());
    if (decoder.empty())
        return true;
    if (decoder.find("../") != std::string::npos) {
        formatMessage(error, "Invalid sensor definition [%s]: bad decoder path [%s].", name.c_str(), decoder.c_str());
        return false;
    }
    const std::string decoderPath = splitName(definitionPath(dir, name)).directory + "/" + decoder;
    if (FsNode(decoderPath).getMode() != FsNode::MODE_FILE) {
        formatMessage(error, ErrorText::NO_DECODER_FILE, name.c_str());
        return false;
    }
    *path = decoderPath;
    return true;
}

} // namespace

const std::string DefinitionsStorage::JSON_PROPERTIES_SECTION = "properties";
const std::string DefinitionsStorage::JSON_DECODER_SECTION = "decoder";

void DefinitionsStorage::findNames(std::set<std::string>* names) {
    collectNames(dir, names);
}

bool DefinitionsStorage::getSpec(const std::string& name, DefinitionSpec* spec, std::string* error) {
    if (spec != nullptr)
        *spec = DefinitionSpec();
    Json::Value document;
    std::string decoderPath;
    if (!readDocument(dir, name, &document, error) || !resolveDecoder(dir, name, document, &decoderPath, error))
        return false;
    const bool hasProperties = std::as_const(document)[JSON_PROPERTIES_SECTION].isObject();
    // Filled before the verdict: a definition without properties can still be removed together with its decoder.
    if (spec != nullptr) {
        spec->json = std::move(document);
        spec->decoderPath = std::move(decoderPath);
    }
    if (!hasProperties)
        formatMessage(error, "Invalid syntax of the sensor definition [%s]: no [%s] section defined.", name.c_str(),
                      JSON_PROPERTIES_SECTION.c_str());
    return hasProperties;
}

} // namespace Kelvra::SCADA
