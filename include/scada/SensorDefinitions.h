#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <memory>
#include <set>
#include <string>
#include <unordered_map>

namespace Kelvra {
namespace SCADA {

/// The storages that a registry searches, or the storage that a definition was loaded from.
enum STORAGE_TYPE {
    STORAGE_DEFAULT = 0, ///< the default storage
    STORAGE_CUSTOM = 1,  ///< the custom storage
    STORAGE_BOTH = 2     ///< the custom storage, then the default one; in a record: not loaded yet
};

/// The registry of sensor definitions: loads a definition on first use and keeps it as long as the registry exists.
/// A custom definition hides a default one of the same name, even if the custom one cannot be read. The directories
/// are read from Env at each load. Failures are not cached. The registry owns all records. Every query may load, so a
/// registry serves one thread at a time; separate registries are independent. Every `error` may be null; a text
/// replaces the previous content and is cut at 255 bytes. Exceptions of the JSON library and of memory allocation pass
/// through and leave the registry unchanged. DefinitionsStorage::getSpec says how much stack a load needs and how the
/// locale affects it.
class SCADA_EXPORT SensorDefinitions {
public:
    static const std::string JSON_PROPERTIES_SECTION; ///< "properties"

    /// One cached definition.
    struct DefinitionInfo {
        Json::Value definition;              ///< the whole document
        std::string decoderPath;             ///< full path of the decoder file; empty if there is none
        STORAGE_TYPE storage = STORAGE_BOTH; ///< the storage that it was loaded from
    };

    /// Creates an empty registry over the storages `searched`. Reads nothing. Also converts implicitly.
    SensorDefinitions(STORAGE_TYPE searched);
    /// Destroys all records. References into them become invalid.
    ~SensorDefinitions();
    SensorDefinitions(const SensorDefinitions&) = delete;
    SensorDefinitions& operator=(const SensorDefinitions&) = delete;

    /// Adds the names that the registry's storages list to `*names`, without clearing it first; does nothing if `names`
    /// is null. An empty directory path is read as "/", whereas a load skips it.
    void findNames(std::set<std::string>* names);

    /// Loads one definition from storage into the cache; a record that is already there stays. On success returns true.
    /// On failure returns false and puts "Sensor definition [NAME] not found." into `*error`, whatever the reason. If
    /// the definition exists but is broken, only the warning log has the actual reason.
    bool loadDefinition(const std::string& name, std::string* error);

    /// Returns the record and loads it on first use. On failure returns null with a text in `*error`. Valid until the
    /// registry is destroyed.
    DefinitionInfo* getDefinitionInfo(const std::string& name, std::string* error);

    /// Returns the definition's document and puts its storage into `*origin` (unless null). On failure returns the JSON
    /// library's shared null value with a text in `*error`, and leaves `*origin` untouched. Valid until the registry is
    /// destroyed.
    const Json::Value& getDefinition(const std::string& name, STORAGE_TYPE* origin, std::string* error);

    /// Returns the description of one property: an object in the "properties" section. On failure, also if the property
    /// is not an object, returns the shared null value with a text in `*error`. Valid until the registry is destroyed.
    const Json::Value& getMeasurement(const std::string& name, const std::string& property, std::string* error);

    /// Returns whether the definition is known and has a decoder, and puts the decoder's path into `*path` (unless
    /// null). On failure leaves `*path` untouched.
    bool getDecoderPath(const std::string& name, std::string* path);

private:
    STORAGE_TYPE storage;
    std::unordered_map<std::string, std::unique_ptr<DefinitionInfo>> cache;
};

} // namespace SCADA
} // namespace Kelvra
