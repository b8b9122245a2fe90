// A host program of one page: from a managed sensor to its definition, one property of it and its decoder.

#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <json/writer.h>

#include <exception>
#include <iostream>
#include <string>

namespace {

enum ExitCode { EXIT_RESOLVED = 0, EXIT_FAILED = 1, EXIT_BAD_USAGE = 2 };

void configure(const std::string& defaultDir, const std::string& customDir, const std::string& mapFile) {
    Kelvra::SCADA::Conf& conf = Kelvra::SCADA::Env::inst().conf();
    conf.setDfnDefaultDir(defaultDir);
    conf.setDfnCustomDir(customDir);
    conf.setSensorMapFile(mapFile);
}

std::string oneLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

ExitCode resolve(const std::string& src, const std::string& id, const std::string& property) {
    Kelvra::SCADA::SensorMap map;
    if (!map.Load()) {
        std::cerr << "The managed sensors list cannot be used; the log says why.\n";
        return EXIT_FAILED;
    }

    std::string error;
    const Json::Value& description = map.getMeasurement(src, id, property, &error);
    if (description.isNull()) {
        std::cerr << error << '\n';
        return EXIT_FAILED;
    }

    std::string definition;
    map.getSensorDefinitionName(src, id, &definition);
    std::string decoder = "none";
    map.getDecoderPath(src, id, &decoder); // leaves the word "none" for a definition without a decoder

    std::cout << "definition: " << definition << '\n'
              << property << ": " << oneLine(description) << '\n'
              << "decoder: " << decoder << '\n';
    return std::cout.flush() ? EXIT_RESOLVED : EXIT_FAILED;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 7) {
        std::cerr << "usage: resolve-sensor DEFAULT_DIR CUSTOM_DIR MAP_FILE SRC ID PROPERTY\n";
        return EXIT_BAD_USAGE;
    }
    try {
        configure(argv[1], argv[2], argv[3]);
        return resolve(argv[4], argv[5], argv[6]);
    } catch (const std::exception& exception) {
        // The library raises nothing of its own; this is the JSON reader on hostile nesting, or memory.
        std::cerr << exception.what() << '\n';
        return EXIT_FAILED;
    }
}
