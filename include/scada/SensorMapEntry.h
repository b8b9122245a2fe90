#pragma once

#include <scada/export.h>

#include <json/value.h>

#include <string>

namespace Kelvra {
namespace SCADA {

/// One element of the managed-sensors list. A plain value; serves one thread at a time.
struct SCADA_EXPORT SensorMapEntry {
    std::string id;     ///< identifier, trimmed and lower-cased
    std::string sensor; ///< definition within the source, trimmed
    std::string src;    ///< source, trimmed

    static const std::string JSON_ATTR_ID;     ///< "id"
    static const std::string JSON_ATTR_SRC;    ///< "src"
    static const std::string JSON_ATTR_SENSOR; ///< "sensor"
    static const std::string JSON_ATTR_STATUS; ///< "status"; reserved for the list's writers, never read

    /// Checks one element and copies its three strings. On success returns true. On failure returns false and puts the
    /// first fault into `*error` (unless null), which replaces the previous content and is cut at 255 bytes; the
    /// members hold what was read before the fault.
    bool LoadJson(const Json::Value& value, std::string* error);
};

} // namespace SCADA
} // namespace Kelvra
