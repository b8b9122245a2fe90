#pragma once

#include <scada/SensorDefinitions.h>
#include <scada/export.h>

#include <json/value.h>

#include <string>
#include <unordered_map>

namespace Kelvra {
namespace SCADA {

/// The managed sensors: which physical sensor uses which definition, with a registry over both storages behind it.
/// A sensor is named by its source and its identifier, compared byte for byte: pass the source as the list has it and
/// the identifier in lower case. Serves one thread at a time; isSensorPresent and getSensorDefinitionName may run
/// together with each other. Every `error` may be null; texts are cut at 255 bytes and replace the previous content.
class SCADA_EXPORT SensorMap {
public:
    /// An empty map; reads nothing.
    SensorMap();
    /// Ends the life of the registry behind it too.
    ~SensorMap();
    SensorMap(const SensorMap&) = delete;
    SensorMap& operator=(const SensorMap&) = delete;

    /// Adds the valid, new elements of the list file that Env names; entries already in the map stay as they are, even
    /// when they have left the file. Faulty and duplicate elements are logged and skipped. On success returns true,
    /// even when every element was faulty. On failure, when the file as
    /// a whole cannot be used, returns false, logs the reason and changes nothing. Exceptions of the JSON library and
    /// of memory allocation pass through; entries added before stay.
    bool Load();

    /// Returns whether the list file can be opened for reading, which a directory can too.
    bool isFileExists();

    /// Returns whether the sensor is in the map.
    bool isSensorPresent(const std::string& src, const std::string& id) const;

    /// Returns whether the sensor is in the map and, unless `name` is null, puts its definition's name into `*name`.
    /// On failure leaves `*name` untouched.
    bool getSensorDefinitionName(const std::string& src, const std::string& id, std::string* name) const;

    /// Returns the description of one property from the sensor's definition. On failure returns the JSON library's
    /// shared null value with a text in `*error`. Valid until the map is destroyed.
    const Json::Value& getMeasurement(const std::string& src, const std::string& id, const std::string& property,
                                      std::string* error);

    /// Returns whether the sensor is in the map and its definition has a decoder, whose path is then put into `*path`
    /// unless it is null. On failure leaves `*path` untouched and gives no reason.
    bool getDecoderPath(const std::string& src, const std::string& id, std::string* path);

private:
    SensorDefinitions definitions;
    std::unordered_map<std::string, std::string> sensors;
};

} // namespace SCADA
} // namespace Kelvra
