// The memory of a host with 200 cached definitions and 1,000 managed sensors, compared with the same JSON documents
// alone. Prints one line per figure; scripts/footprint collects them.

#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <json/reader.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
namespace fs = std::filesystem;

constexpr std::size_t DEFINITIONS = 200;
constexpr std::size_t SENSORS = 1000;

std::size_t heapInUse() {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::string modelName(std::size_t number) {
    return "maker" + std::to_string(number % 10) + "/model" + std::to_string(number);
}

// Returns the definitions in a storage, with decoders next to them, in the order of their names.
std::vector<fs::path> definitionsOf(const fs::path& storage) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(storage)) {
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Each model is one of the samples; its maker's directory has the decoders of all of them.
std::vector<fs::path> copyDefinitions(const std::vector<fs::path>& samples, const fs::path& storage) {
    std::vector<fs::path> files;
    for (std::size_t number = 0; number < DEFINITIONS; ++number) {
        const fs::path& sample = samples[number % samples.size()];
        files.push_back(storage / "lora" / (modelName(number) + ".json"));
        fs::create_directories(files.back().parent_path());
        fs::copy_file(sample, files.back(), fs::copy_options::overwrite_existing);
        for (const auto& entry : fs::directory_iterator(sample.parent_path())) {
            if (entry.path().extension() != ".json")
                fs::copy_file(entry.path(), files.back().parent_path() / entry.path().filename(),
                              fs::copy_options::overwrite_existing);
        }
    }
    return files;
}

std::string identifier(std::size_t number) {
    std::array<char, 17> text{};
    std::snprintf(text.data(), text.size(), "02a1f000%08x", static_cast<unsigned int>(number));
    return text.data();
}

void writeList(const std::string& path) {
    std::ofstream list(path);
    list << '[';
    for (std::size_t number = 0; number < SENSORS; ++number)
        list << (number == 0 ? "" : ",\n") << R"({"id": ")" << identifier(number) << R"(", "src": "lora", "sensor": ")"
             << modelName(number % DEFINITIONS) << R"(", "status": "active"})";
    list << "]\n";
}

std::size_t documentsAlone(const std::vector<fs::path>& files) {
    const std::size_t before = heapInUse();
    std::vector<Json::Value> documents(files.size());
    for (std::size_t number = 0; number < files.size(); ++number) {
        std::ifstream file(files[number]);
        if (!Json::parseFromStream(Json::CharReaderBuilder(), file, &documents[number], nullptr))
            throw std::runtime_error("cannot parse " + files[number].string());
    }
    return heapInUse() - before;
}

std::size_t hostWithLibrary() {
    const std::size_t before = heapInUse();
    SensorMap map;
    bool complete = map.Load();
    for (std::size_t number = 0; number < SENSORS; ++number) {
        std::string decoder;
        complete = map.getDecoderPath("lora", identifier(number), &decoder) && complete;
    }
    if (!complete)
        throw std::runtime_error("a definition or a sensor is missing");
    return heapInUse() - before;
}

void measure(const fs::path& samples, const fs::path& work) {
    const std::vector<fs::path> definitions = copyDefinitions(definitionsOf(samples), work / "storage");
    const fs::path list = work / "list.json";
    writeList(list);
    Env::inst().conf().setDfnDefaultDir(work / "storage");
    Env::inst().conf().setDfnCustomDir("");
    Env::inst().conf().setSensorMapFile(list);

    const std::size_t definitionDocuments = documentsAlone(definitions);
    const std::size_t listDocument = documentsAlone({list});
    const std::size_t host = hostWithLibrary();
    std::printf("definition-documents-bytes %zu\nlist-document-bytes %zu\nhost-bytes %zu\n", definitionDocuments,
                listDocument, host);
    std::printf("host-to-documents %.3f\n",
                static_cast<double>(host) / static_cast<double>(definitionDocuments + listDocument));
    std::printf("host-to-definition-documents %.3f\n",
                static_cast<double>(host) / static_cast<double>(definitionDocuments));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fputs("usage: footprint SAMPLES_DIR WORK_DIR\n", stderr);
        return 2;
    }
    try {
        measure(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "footprint: %s\n", error.what());
        return 1;
    }
}
