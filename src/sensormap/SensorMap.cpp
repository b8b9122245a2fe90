#include <scada/SensorMap.h>

#include "config/format_message.h"
#include "config/log.h"
#include "fs/json_file.h"

#include <scada/Env.h>
#include <scada/SensorMapEntry.h>

#include <fstream>
#include <utility>

namespace Kelvra::SCADA {

namespace {

using SensorTable = std::unordered_map<std::string, std::string>;

// Reserves the exact size: there are thousands of these strings.
std::string join(const std::string& first, char separator, const std::string& second) {
    std::string joined;
    joined.reserve(first.size() + 1 + second.size());
    joined.append(first).append(1, separator).append(second);
    return joined;
}

std::string sensorKey(const std::string& src, const std::string& id) {
    return join(src, '@', id);
}

// Returns the definition's name, or null if the sensor is not managed.
const std::string* findDefinitionName(const SensorTable& sensors, const std::string& src, const std::string& id) {
    const auto found = sensors.find(sensorKey(src, id));
    return found == sensors.end() ? nullptr : &found->second;
}

bool readList(const std::string& file, Json::Value* root) {
    std::string text;
    if (!readFile(file, &text)) {
        SCADA_LOG(ERROR, "[MAP] Failed to open the managed sensors list [%s]", file.c_str());
        return false;
    }
    std::string error;
    if (!parseJson(text, root, &error)) {
        SCADA_LOG(ERROR, "[MAP] Failed to parse the managed sensors list [%s]: %s", file.c_str(), error.c_str());
        return false;
    }
    if (!root->isArray()) {
        SCADA_LOG(ERROR, "[MAP] Failed to parse the managed sensors list [%s]: json is not an array object",
                  file.c_str());
        return false;
    }
    return true;
}

void addElement(const std::string& file, const Json::Value& element, SensorTable* sensors) {
    SensorMapEntry entry;
    std::string error;
    if (!entry.LoadJson(element, &error)) {
        SCADA_LOG(WARNING, "[MAP] Incorrect entry in the managed sensors list [%s]. %s", file.c_str(), error.c_str());
        return;
    }
    std::string key = sensorKey(entry.src, entry.id);
    if (sensors->find(key) != sensors->end()) {
        SCADA_LOG(WARNING, "[MAP] Incorrect entry in the  [%s]: duplicate key id=[%s] src=[%s]. Skipping.",
                  file.c_str(), entry.id.c_str(), entry.src.c_str());
        return;
    }
    std::string definition = join(entry.src, '/', entry.sensor);
    SCADA_LOG(TRACE, "[MAP] Registered managed sensor: [%s] -> [%s]", key.c_str(), definition.c_str());
    sensors->emplace(std::move(key), std::move(definition));
}

} // namespace

SensorMap::SensorMap() : definitions(STORAGE_BOTH) {}

SensorMap::~SensorMap() = default;

bool SensorMap::Load() {
    const std::string file = Env::inst().conf().getSensorMapFile();
    Json::Value root;
    if (!readList(file, &root))
        return false;
    sensors.reserve(sensors.size() + root.size());
    for (const Json::Value& element : root)
        addElement(file, element, &sensors);
    return true;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the signature is given
bool SensorMap::isFileExists() {
    return std::ifstream(Env::inst().conf().getSensorMapFile()).is_open();
}

bool SensorMap::isSensorPresent(const std::string& src, const std::string& id) const {
    return findDefinitionName(sensors, src, id) != nullptr;
}

bool SensorMap::getSensorDefinitionName(const std::string& src, const std::string& id, std::string* name) const {
    const std::string* found = findDefinitionName(sensors, src, id);
    if (found != nullptr && name != nullptr)
        *name = *found;
    return found != nullptr;
}

const Json::Value& SensorMap::getMeasurement(const std::string& src, const std::string& id, const std::string& property,
                                             std::string* error) {
    const std::string* definition = findDefinitionName(sensors, src, id);
    if (definition == nullptr) {
        formatMessage(error, "Sensor [%s@%s] is not defined in the Managed Sensors list.", src.c_str(), id.c_str());
        return Json::Value::nullSingleton();
    }
    return definitions.getMeasurement(*definition, property, error);
}

bool SensorMap::getDecoderPath(const std::string& src, const std::string& id, std::string* path) {
    const std::string* definition = findDefinitionName(sensors, src, id);
    return definition != nullptr && definitions.getDecoderPath(*definition, path);
}

} // namespace Kelvra::SCADA
