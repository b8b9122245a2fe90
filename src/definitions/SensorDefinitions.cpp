#include <scada/SensorDefinitions.h>

#include "config/format_message.h"
#include "config/log.h"
#include "definitions/error_texts.h"
#include "definitions/listing.h"

#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>

#include <utility>
#include <vector>

namespace Kelvra::SCADA {

namespace {

// In order of precedence: a custom definition hides a default one.
std::vector<std::string> searchedDirectories(STORAGE_TYPE storage) {
    const Conf& conf = Env::inst().conf();
    if (storage == STORAGE_DEFAULT)
        return {conf.getDfnDefaultDir()};
    if (storage == STORAGE_CUSTOM)
        return {conf.getDfnCustomDir()};
    return {conf.getDfnCustomDir(), conf.getDfnDefaultDir()};
}

} // namespace

const std::string SensorDefinitions::JSON_PROPERTIES_SECTION = "properties";

SensorDefinitions::SensorDefinitions(STORAGE_TYPE searched) : storage(searched) {}

SensorDefinitions::~SensorDefinitions() = default;

// Unlike a load, a listing does not skip an empty directory name, and a value that is not an enumerator means custom.
void SensorDefinitions::findNames(std::set<std::string>* names) {
    if (names == nullptr)
        return;
    const Conf& conf = Env::inst().conf();
    std::set<std::string> standard;
    std::set<std::string> custom;
    if (storage == STORAGE_DEFAULT || storage == STORAGE_BOTH)
        DefinitionsStorage{conf.getDfnDefaultDir()}.findNames(&standard);
    if (storage != STORAGE_DEFAULT)
        DefinitionsStorage{conf.getDfnCustomDir()}.findNames(&custom);
    // Merging moves the names without an allocation, which could fail half-way.
    names->merge(custom);
    names->merge(standard);
}

bool SensorDefinitions::loadDefinition(const std::string& name, std::string* error) {
    for (const std::string& dir : searchedDirectories(storage)) {
        if (dir.empty() || !isListed(dir, name))
            continue;
        DefinitionSpec spec;
        std::string reason;
        if (!DefinitionsStorage{dir}.getSpec(name, &spec, &reason)) {
            SCADA_LOG(WARNING, "[DFN] %s", reason.c_str());
            break;
        }
        auto info = std::make_unique<DefinitionInfo>();
        info->definition = std::move(spec.json);
        info->decoderPath = std::move(spec.decoderPath);
        const bool custom = dir == Env::inst().conf().getDfnCustomDir();
        info->storage = custom ? STORAGE_CUSTOM : STORAGE_DEFAULT;
        SCADA_LOG(TRACE, "[DFN] Loaded [%s] sensor definition from the %s storage [%s]", name.c_str(),
                  custom ? "custom" : "default", dir.c_str());
        cache.emplace(name, std::move(info));
        return true;
    }
    // The log has the reason for a broken definition; callers always get this text.
    formatMessage(error, ErrorText::DEFINITION_NOT_FOUND, name.c_str());
    return false;
}

SensorDefinitions::DefinitionInfo* SensorDefinitions::getDefinitionInfo(const std::string& name, std::string* error) {
    auto found = cache.find(name);
    if (found == cache.end()) {
        if (!loadDefinition(name, error))
            return nullptr;
        found = cache.find(name);
    }
    return found->second.get();
}

const Json::Value& SensorDefinitions::getDefinition(const std::string& name, STORAGE_TYPE* origin, std::string* error) {
    const DefinitionInfo* info = getDefinitionInfo(name, error);
    if (info == nullptr)
        return Json::Value::nullSingleton();
    if (origin != nullptr)
        *origin = info->storage;
    return info->definition;
}

const Json::Value& SensorDefinitions::getMeasurement(const std::string& name, const std::string& property,
                                                     std::string* error) {
    const Json::Value& definition = getDefinition(name, nullptr, error);
    if (definition.isNull()) {
        SCADA_LOG(WARNING, "[DFN] Sensor definition [%s] not found.", name.c_str());
        return Json::Value::nullSingleton();
    }
    const Json::Value& description = definition[JSON_PROPERTIES_SECTION][property];
    if (description.isObject())
        return description;
    formatMessage(error, "Sensor definition [%s] does not contain [%s] property.", name.c_str(), property.c_str());
    SCADA_LOG(WARNING, "[DFN] Sensor definition [%s] does not contain [%s] property.", name.c_str(), property.c_str());
    return Json::Value::nullSingleton();
}

bool SensorDefinitions::getDecoderPath(const std::string& name, std::string* path) {
    const DefinitionInfo* info = getDefinitionInfo(name, nullptr);
    if (info == nullptr || info->decoderPath.empty())
        return false;
    if (path != nullptr)
        *path = info->decoderPath;
    return true;
}

} // namespace Kelvra::SCADA
