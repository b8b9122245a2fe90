// The bytes are a managed-sensors list. Afterwards the map must contain exactly its valid elements, checked one by one.
// If the host tool reads the list without the JSON reader, it must find the same elements.

#include "Workspace.h"

#include "device/plain_list.h"

#include <json/reader.h>
#include <kelvra/LoggerControl.h>
#include <kelvra/Text.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>
#include <scada/SensorMapEntry.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
using Fuzz::require;
using Sensor = std::pair<std::string, std::string>; // source and identifier
using Model = std::map<Sensor, std::string>;

const char DEFINITION[] = R"({"properties": {"temperature": {"unit": "C"}}, "decoder": "d"})";

struct Setting {
    Setting() {
        Kelvra::Logger::setLevel(Kelvra::Logger::LEVEL_OFF);
        Fuzz::writeFile(workspace / "lora/demo/th1.json", reinterpret_cast<const std::uint8_t*>(DEFINITION),
                        sizeof DEFINITION - 1);
        Fuzz::writeFile(workspace / "lora/demo/d", nullptr, 0);
        Env::inst().conf().setDfnCustomDir("");
        Env::inst().conf().setDfnDefaultDir(workspace / "");
        Env::inst().conf().setSensorMapFile(file);
    }

    Fuzz::Workspace workspace;
    const std::string file = workspace / "sensors_map.json";
};

bool isValue(const Json::Value& element, const char* member, std::string* value) {
    if (!element.isObject() || !element[member].isString())
        return false;
    *value = Kelvra::Text::trim(element[member].asString());
    return !value->empty() && value->find('@') == std::string::npos;
}

Model modelOf(const Json::Value& list) {
    Model model;
    for (const Json::Value& element : list) {
        std::string id;
        std::string src;
        std::string sensor;
        if (isValue(element, "id", &id) && isValue(element, "src", &src) && isValue(element, "sensor", &sensor))
            model.emplace(Sensor(src, Kelvra::Text::toLowerCase(id)), src + "/" + sensor);
    }
    return model;
}

enum class Answer { LOADED, REFUSED, EXCEPTION };

// Returns the result that Load must have; only if that is an array which is loaded does `list` hold it.
Answer expectedAnswer(const std::uint8_t* data, std::size_t size, Json::Value* list) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    try {
        if (reader->parse(text.data(), text.data() + text.size(), list, nullptr) && list->isArray())
            return Answer::LOADED;
        *list = Json::Value();
        return Answer::REFUSED;
    } catch (const Json::Exception&) {
        *list = Json::Value();
        return Answer::EXCEPTION;
    }
}

Answer load(SensorMap* map) {
    try {
        return map->Load() ? Answer::LOADED : Answer::REFUSED;
    } catch (const Json::Exception&) {
        return Answer::EXCEPTION;
    }
}

void checkSensor(SensorMap* map, const Sensor& sensor, const std::string& definition) {
    std::string name;
    require(map->isSensorPresent(sensor.first, sensor.second), "a valid element is registered");
    require(map->getSensorDefinitionName(sensor.first, sensor.second, &name) && name == definition,
            "the first element of a sensor names its definition");
    std::string error;
    const Json::Value& property = map->getMeasurement(sensor.first, sensor.second, "temperature", &error);
    require(property.isObject() ? error.empty() : !error.empty(), "a measurement or the reason why there is none");
    const bool installed = definition == "lora/demo/th1";
    require(property.isObject() == installed && map->getDecoderPath(sensor.first, sensor.second, nullptr) == installed,
            "only the installed definition answers");
}

void checkPlain(const std::vector<Tool::PlainElement>& elements, const Json::Value& list) {
    require(list.isArray() && list.size() == elements.size(), "the plain reader finds as many elements");
    Json::ArrayIndex index = 0;
    for (const Tool::PlainElement& element : elements) {
        const Json::Value& value = list[index++];
        SensorMapEntry entry;
        require(entry.LoadJson(value, nullptr), "the library takes each plain element");
        require(entry.id == Kelvra::Text::toLowerCase(std::string(element.id)) && entry.src == element.src &&
                    entry.sensor == element.sensor,
                "a plain element has the library's values");
        require(static_cast<std::size_t>(value.getOffsetStart()) == element.start &&
                    static_cast<std::size_t>(value.getOffsetLimit()) == element.end,
                "a plain element is in its place");
    }
}

void checkUnknown(SensorMap* map, const std::uint8_t* data, std::size_t size) {
    const std::string word(reinterpret_cast<const char*>(data), size);
    std::string error;
    require(&map->getMeasurement(word, word + "@", "temperature", &error) == &Json::Value::nullSingleton() &&
                !error.empty() && error.size() <= 255,
            "an unknown sensor has its text");
    require(!map->getDecoderPath(word, word + "@", nullptr), "an unknown sensor has no decoder");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Setting setting;
    Fuzz::writeFile(setting.file, data, size);

    SensorMap map;
    Json::Value list;
    require(load(&map) == expectedAnswer(data, size, &list), "an array is loaded, and nothing else");
    for (const auto& [sensor, definition] : modelOf(list))
        checkSensor(&map, sensor, definition);
    checkUnknown(&map, data, size);
    if (const auto plain = Tool::readPlainList({reinterpret_cast<const char*>(data), size}))
        checkPlain(*plain, list);
    return 0;
}
