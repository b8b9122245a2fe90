#pragma once

#include <scada/SensorDefinitions.h>
#include <scada/export.h>

#include <json/value.h>

#include <string>
#include <unordered_map>

namespace Kelvra {
namespace SCADA {

/// The managed sensors: which physical sensor uses which definition. The map has its own registry over both storages.
/// A sensor is identified by its source and its identifier, compared byte for byte: pass the source as in the list and
/// the identifier in lower case. Serves one thread at a time; only isSensorPresent and getSensorDefinitionName may run
/// at the same time as each other. Every `error` may be null; a text replaces the previous content and is cut at 255
/// bytes.
class SCADA_EXPORT SensorMap {
public:
    /// Creates an empty map. Reads nothing.
    SensorMap();
    /// Also destroys the map's registry.
    ~SensorMap();
    SensorMap(const SensorMap&) = delete;
    SensorMap& operator=(const SensorMap&) = delete;

    /// Adds the valid, new elements of the list file whose path Env holds. Entries already in the map stay as they are,
    /// even if they are no longer in the file. Faulty and duplicate elements are logged and skipped. On success returns
    /// true, even if every element was faulty. On failure, when the file as a whole cannot be used, returns false, logs
    /// the reason and changes nothing. Exceptions of the JSON library and of memory allocation pass through; entries
    /// added before the exception stay.
    bool Load();

    /// Returns whether the list file can be opened for reading. This is also true of a directory.
    bool isFileExists();

    /// Returns whether the sensor is in the map.
    bool isSensorPresent(const std::string& src, const std::string& id) const;

    /// Returns whether the sensor is in the map, and puts its definition's name into `*name` (unless null). On failure
    /// leaves `*name` untouched.
    bool getSensorDefinitionName(const std::string& src, const std::string& id, std::string* name) const;

    /// Returns the description of one property from the sensor's definition. On failure returns the JSON library's
    /// shared null value with a text in `*error`. Valid until the map is destroyed.
    const Json::Value& getMeasurement(const std::string& src, const std::string& id, const std::string& property,
                                      std::string* error);

    /// Returns whether the sensor is in the map and its definition has a decoder, and puts the decoder's path into
    /// `*path` (unless null). On failure leaves `*path` untouched and gives no reason.
    bool getDecoderPath(const std::string& src, const std::string& id, std::string* path);

private:
    SensorDefinitions definitions;
    std::unordered_map<std::string, std::string> sensors;
};

} // namespace SCADA
} // namespace Kelvra
