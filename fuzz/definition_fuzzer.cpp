// The bytes are a definition file. Storage and registry must give the same answers, and keep their promises.

#include "Workspace.h"

#include <kelvra/LoggerControl.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/FsNode.h>
#include <scada/SensorDefinitions.h>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;

const char* const NAME = "lora/demo/th1";
const char* const NO_PROPERTIES =
    "Invalid syntax of the sensor definition [lora/demo/th1]: no [properties] section defined.";

// A storage with files and directories that a definition may name as its decoder.
struct Storage {
    Storage() {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        for (const char* const decoder : {"d", "decoder.js", "sub/d"})
            Fuzz::writeFile(workspace / "lora/demo/" + decoder, nullptr, 0);
        Env::inst().conf().setDfnCustomDir(dir);
        Env::inst().conf().setDfnDefaultDir("");
    }

    Fuzz::Workspace workspace;
    const std::string dir = workspace / "";
    const std::string file = dir + "/" + NAME + ".json";
};

enum class Answer { VALID, INVALID, EXCEPTION };

void checkValid(const DefinitionSpec& spec) {
    require(spec.json.isObject() && spec.json["properties"].isObject(), "a valid definition has properties");
    require(spec.decoderPath.empty() || FsNode(spec.decoderPath).getMode() == FsNode::MODE_FILE,
            "a decoder path leads to a regular file");
    require(spec.decoderPath.find("../") == std::string::npos, "a decoder lies below its definition");
}

void checkInvalid(const DefinitionSpec& spec, const std::string& error) {
    require(!error.empty() && error.size() <= 255, "a refusal has its text");
    const bool onlyPropertiesMissing = error == NO_PROPERTIES;
    require(onlyPropertiesMissing ? spec.json.isObject() : spec.json.isNull() && spec.decoderPath.empty(),
            "what is read of a refused definition is empty, or lacks nothing but its properties");
}

Answer readSpec(const Storage& storage, DefinitionSpec* spec) {
    std::string error;
    try {
        const bool valid = DefinitionsStorage{storage.dir}.getSpec(NAME, spec, &error);
        valid ? checkValid(*spec) : checkInvalid(*spec, error);
        return valid ? Answer::VALID : Answer::INVALID;
    } catch (const Json::Exception&) {
        require(spec->json.isNull() && spec->decoderPath.empty(), "an exception leaves nothing read");
        return Answer::EXCEPTION;
    }
}

Answer load(SensorDefinitions* registry) {
    try {
        return registry->loadDefinition(NAME, nullptr) ? Answer::VALID : Answer::INVALID;
    } catch (const Json::Exception&) {
        return Answer::EXCEPTION;
    }
}

void checkProperty(SensorDefinitions* registry, const std::string& property, bool isObject) {
    std::string error;
    const Json::Value& description = registry->getMeasurement(NAME, property, &error);
    require(isObject ? description.isObject() : &description == &Json::Value::nullSingleton(),
            "a property is an object or the shared null value");
    require(error.empty() == isObject, "an absent property has its text");
}

void checkRegistry(SensorDefinitions* registry, const DefinitionSpec& spec) {
    STORAGE_TYPE origin = STORAGE_BOTH;
    require(registry->getDefinition(NAME, &origin, nullptr) == spec.json && origin == STORAGE_CUSTOM,
            "registry and storage give the same document");
    std::string path;
    require(registry->getDecoderPath(NAME, &path) == !spec.decoderPath.empty() && path == spec.decoderPath,
            "registry and storage give the same decoder");
    const Json::Value& properties = spec.json["properties"];
    for (const std::string& property : properties.getMemberNames())
        checkProperty(registry, property, properties[property].isObject());
    checkProperty(registry, "temperature", properties["temperature"].isObject());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Storage storage;
    Fuzz::writeFile(storage.file, data, size);

    std::set<std::string> names;
    SensorDefinitions registry(STORAGE_CUSTOM);
    registry.findNames(&names);
    require(names == std::set<std::string>{NAME}, "the storage lists one definition");

    DefinitionSpec spec;
    const Answer answer = readSpec(storage, &spec);
    require(load(&registry) == answer, "registry and storage give the same verdict");
    if (answer == Answer::VALID)
        checkRegistry(&registry, spec);
    return 0;
}
