#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <memory>
#include <set>
#include <string>
#include <unordered_map>

namespace Kelvra {
namespace SCADA {

/// The storages that a registry searches, or the one that a definition was loaded from.
enum STORAGE_TYPE {
    STORAGE_DEFAULT = 0, ///< the default storage
    STORAGE_CUSTOM = 1,  ///< the custom storage
    STORAGE_BOTH = 2     ///< the custom storage, then the default one; in a record: not yet loaded
};

/// The registry of sensor definitions: loads a definition on first use and keeps it for the registry's life.
/// A custom definition hides a default one of the same name, even when the custom one cannot be read. The directories
/// are read from Env at each load; failures are not cached. Owns all records. Every query may load, so a registry
/// serves one thread at a time; separate registries are independent. Every `error` may be null; texts are cut at 255
/// bytes and replace the previous content. Exceptions of the JSON library and of memory allocation pass through and
/// leave the registry as it was. A load needs the stack and the locale that DefinitionsStorage::getSpec asks for.
class SCADA_EXPORT SensorDefinitions {
public:
    static const std::string JSON_PROPERTIES_SECTION; ///< "properties"

    /// One cached definition.
    struct DefinitionInfo {
        Json::Value definition;              ///< the whole document
        std::string decoderPath;             ///< full path of the decoder file; empty when there is none
        STORAGE_TYPE storage = STORAGE_BOTH; ///< where it was loaded from
    };

    /// An empty registry over `searched`; reads nothing. Also converts implicitly.
    SensorDefinitions(STORAGE_TYPE searched);
    /// Ends the life of every record and of what refers into it.
    ~SensorDefinitions();
    SensorDefinitions(const SensorDefinitions&) = delete;
    SensorDefinitions& operator=(const SensorDefinitions&) = delete;

    /// Adds the names that the registry's storages list to `*names`, which is not cleared; does nothing when it is
    /// null. An empty directory path, which a load passes over, is read as "/".
    void findNames(std::set<std::string>* names);

    /// Loads one definition from storage into the cache; a record that is there already stays. On success returns true.
    /// On failure returns false and puts "Sensor definition [NAME] not found." into `*error`, whatever the reason; the
    /// reason itself of a definition that is there but broken appears in the warning log only.
    bool loadDefinition(const std::string& name, std::string* error);

    /// Returns the record, loading it on first use; null, with a text in `*error`, when there is none.
    /// Valid until the registry is destroyed.
    DefinitionInfo* getDefinitionInfo(const std::string& name, std::string* error);

    /// Returns the definition's document and, unless `origin` is null, where it came from in `*origin`. On failure
    /// returns the JSON library's shared null value with a text in `*error`, and leaves `*origin` untouched.
    /// Valid until the registry is destroyed.
    const Json::Value& getDefinition(const std::string& name, STORAGE_TYPE* origin, std::string* error);

    /// Returns the description of one property, an object in the "properties" section. On failure, which includes a
    /// property that is no object, returns the shared null value with a text in `*error`.
    /// Valid until the registry is destroyed.
    const Json::Value& getMeasurement(const std::string& name, const std::string& property, std::string* error);

    /// Returns whether the definition is known and has a decoder; the decoder's path is then put into `*path` unless it
    /// is null. On failure leaves `*path` untouched.
    bool getDecoderPath(const std::string& name, std::string* path);

private:
    STORAGE_TYPE storage;
    std::unordered_map<std::string, std::unique_ptr<DefinitionInfo>> cache;
};

} // namespace SCADA
} // namespace Kelvra
