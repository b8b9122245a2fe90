#include "Samples.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Kelvra::SCADA::Bench {

namespace fs = std::filesystem;

namespace {

constexpr int PROPERTIES = 18;
constexpr int PER_DIRECTORY = 100;

// About 3 KB, like definitions of real sensors.
std::string definitionText(int index) {
    std::ostringstream text;
    text << "{\n    \"title\": \"Sensor model " << index << "\",\n    \"maker\": \"maker" << index / PER_DIRECTORY
         << "\",\n    \"version\": \"1.2\",\n    \"fPort\": 10,\n    \"reportInterval\": 600,\n    \"decoder\": \"model"
         << index << ".js\",\n    \"properties\": {";
    for (int i = 0; i < PROPERTIES; ++i)
        text << (i == 0 ? "\n" : ",\n") << "        \"property" << i
             << "\": {\n            \"name\": \"Property number " << i
             << "\",\n            \"unit\": \"°C\",\n            \"type\": \"float\",\n            \"min\": -" << i * 10
             << ",\n            \"max\": " << i * 100 << "\n        }";
    text << "\n    }\n}\n";
    return text.str();
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    if (!file.good())
        throw std::runtime_error("cannot write " + path);
}

} // namespace

void Samples::addStorage(const std::string& dir, int count, int first) const {
    for (int i = first; i < first + count; ++i) {
        const fs::path file = path() + "/" + dir + "/" + definitionName(i) + ".json";
        fs::create_directories(file.parent_path());
        writeText(file, definitionText(i));
        writeText(file.parent_path() / ("model" + std::to_string(i) + ".js"), "// decoder\n");
    }
}

void Samples::addList(const std::string& file, int count, int definitions) const {
    std::ostringstream text;
    for (int i = 0; i < count; ++i)
        text << (i == 0 ? "[\n" : ",\n") << R"(    { "id": ")" << sensorId(i) << R"(", "src": "lora", "sensor": ")"
             << definitionName(i % definitions).substr(sizeof "lora") << R"(", "status": "active" })";
    text << "\n]\n";
    writeText(*this / file, text.str());
}

std::string definitionName(int index) {
    return "lora/maker" + std::to_string(index / PER_DIRECTORY) + "/model" + std::to_string(index);
}

std::string sensorId(int index) {
    char id[17];
    std::snprintf(id, sizeof id, "02A1F000%08X", static_cast<unsigned int>(index));
    return id;
}

std::string readWhole(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace Kelvra::SCADA::Bench
