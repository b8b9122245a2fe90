#include <scada/DefinitionsStorage.h>

#include "config/format_message.h"
#include "definitions/definition_name.h"
#include "definitions/error_texts.h"
#include "definitions/listing.h"
#include "fs/json_file.h"

#include <kelvra/Text.h>
#include <scada/FsNode.h>

#include <json/writer.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

namespace Kelvra::SCADA {

namespace {

// Reads the document of `name` and checks that it is an object.
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

// Puts the decoder's path into `*path`. Leaves it unchanged if the definition names no decoder.
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

// An imported decoder gets a new name.
std::string decoderNameOf(const std::string& stem) {
    return stem + "-decoder";
}

// By default a stream hides a failed allocation: Json::writeString would return a truncated text.
std::string textOf(const Json::Value& document) {
    std::ostringstream text;
    text.exceptions(std::ios::badbit);
    const std::unique_ptr<Json::StreamWriter> writer(Json::StreamWriterBuilder().newStreamWriter());
    writer->write(document, &text);
    return text.str();
}

// A failed write is noticed when the storage is read back.
void writeDocument(const std::string& file, const Json::Value& document) {
    std::ofstream out(file, std::ios::out | std::ios::binary | std::ios::trunc);
    if (out.is_open())
        out << textOf(document);
}

Json::Value documentFor(const DefinitionSpec& spec, const std::string& decoderName) {
    Json::Value document = spec.json;
    if (!spec.decoderPath.empty())
        document[DefinitionsStorage::JSON_DECODER_SECTION] = decoderName;
    else if (document.isObject())
        document.removeMember(DefinitionsStorage::JSON_DECODER_SECTION);
    return document;
}

// Compares the resolved paths as text.
bool isDecoderInStorage(const std::string& dir, const std::string& decoderPath) {
    std::string decoder;
    std::string storage;
    return !decoderPath.empty() && FsNode(decoderPath).getMode() == FsNode::MODE_FILE &&
           FsNode(decoderPath).realPath(&decoder) && FsNode(dir).realPath(&storage) &&
           decoder.compare(0, storage.size(), storage) == 0;
}

} // namespace

const std::string DefinitionsStorage::JSON_PROPERTIES_SECTION = "properties";
const std::string DefinitionsStorage::JSON_DECODER_SECTION = "decoder";

// NOLINTBEGIN(readability-make-member-function-const): the signatures are given

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
    // Filled before the verdict, so that a definition without properties can still be removed together with its
    // decoder.
    if (spec != nullptr) {
        spec->json = std::move(document);
        spec->decoderPath = std::move(decoderPath);
    }
    if (!hasProperties)
        formatMessage(error, "Invalid syntax of the sensor definition [%s]: no [%s] section defined.", name.c_str(),
                      JSON_PROPERTIES_SECTION.c_str());
    return hasProperties;
}

bool DefinitionsStorage::importSpec(const std::string& name, const DefinitionSpec& spec, std::string* error) {
    const SplitName parts = splitName(name);
    const std::string directory = dir + "/" + parts.directory;
    const std::string file = definitionPath(directory, parts.stem);
    const std::string decoderName = decoderNameOf(parts.stem);
    if (!FsNode::ensureDirExists(directory)) {
        formatMessage(error, "Failed to create a directory while importing [%s] definition.", name.c_str());
        return false;
    }
    writeDocument(file, documentFor(spec, decoderName));
    if (FsNode(file).getMode() != FsNode::MODE_FILE) {
        formatMessage(error, "File saving error while importing [%s] definition.", name.c_str());
        return false;
    }
    if (!isListed(dir, name)) {
        formatMessage(error, "File copying error while importing [%s] definition.", name.c_str());
        return false;
    }
    if (!spec.decoderPath.empty() && !FsNode::copyFile(spec.decoderPath, directory + "/" + decoderName)) {
        formatMessage(error, "File copying error while importing decoder for the [%s] definition.", name.c_str());
        return false;
    }
    DefinitionSpec readBack;
    return getSpec(name, &readBack, error);
}

bool DefinitionsStorage::deleteOne(const std::string& name, std::string* error) {
    if (!isListed(dir, name)) {
        formatMessage(error, ErrorText::DEFINITION_NOT_FOUND, name.c_str());
        return false;
    }
    // A definition that cannot be read is removed as well; its decoder is then unknown.
    DefinitionSpec spec;
    getSpec(name, &spec, nullptr);
    const bool ownsDecoder = isDecoderInStorage(dir, spec.decoderPath);
    if (ownsDecoder && !FsNode::rmFile(spec.decoderPath)) {
        formatMessage(error, "Failed to remove decoder file for the [%s] sensor definition.", name.c_str());
        return false;
    }
    if (FsNode::rmFile(definitionPath(dir, name)))
        return true;
    if (ownsDecoder)
        formatMessage(error,
                      "Decoder file has been removed. An error has occurred while deleting [%s] sensor definition "
                      "file.",
                      name.c_str());
    else
        formatMessage(error, "Failed to delete sensor definition [%s] file.", name.c_str());
    return false;
}

bool DefinitionsStorage::deleteAll() {
    FsNode::ensureCleanDir(dir);
    return true;
}

// NOLINTEND(readability-make-member-function-const)

} // namespace Kelvra::SCADA
