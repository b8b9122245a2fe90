// The cost of the first lookup of a definition, against the size of the storage, and against bare reading and parsing.

#include "Samples.h"
#include "ratios.h"

#include <benchmark/benchmark.h>
#include <json/reader.h>
#include <scada/Env.h>
#include <scada/SensorDefinitions.h>

#include <memory>

namespace {

using namespace Kelvra::SCADA;

constexpr int SMALL = 10;
constexpr int LARGE = 10000;

struct Storages {
    Storages() {
        samples.addStorage("custom", 1);
        samples.addStorage("10", SMALL);
        samples.addStorage("10000", LARGE);
        Env::inst().conf().setDfnCustomDir(samples / "custom");
    }
    Bench::Samples samples;
};

const Storages& storages() {
    static const Storages instance;
    return instance;
}

std::string storageDir(const benchmark::State& state) {
    return storages().samples / std::to_string(state.range(0));
}

// Ten definitions from all over the storage, so that both sizes touch the same number of files. The first one is not
// used, because the custom storage has a definition of the same name.
std::vector<std::string> askedNames(const benchmark::State& state) {
    std::vector<std::string> names;
    const int size = static_cast<int>(state.range(0));
    for (int i = 1; i < SMALL; ++i)
        names.push_back(Bench::definitionName(i * (size / SMALL)));
    return names;
}

void coldLookup(benchmark::State& state) {
    Env::inst().conf().setDfnDefaultDir(storageDir(state));
    const std::vector<std::string> names = askedNames(state);
    std::size_t next = 0;
    for (auto _ : state) {
        SensorDefinitions registry(STORAGE_BOTH);
        const Json::Value& definition = registry.getDefinition(names[next++ % names.size()], nullptr, nullptr);
        if (!definition.isObject())
            state.SkipWithError("the definition is not found");
    }
}

void bareReadAndParse(benchmark::State& state) {
    std::vector<std::string> files;
    for (const std::string& name : askedNames(state))
        files.push_back(storageDir(state) + "/" + name + ".json");
    std::size_t next = 0;
    for (auto _ : state) {
        const std::string text = Bench::readWhole(files[next++ % files.size()]);
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::Value definition;
        if (!reader->parse(text.data(), text.data() + text.size(), &definition, nullptr))
            state.SkipWithError("the definition is not read");
    }
}

BENCHMARK(coldLookup)->Arg(SMALL)->Arg(LARGE)->Unit(benchmark::kMicrosecond);
BENCHMARK(bareReadAndParse)->Arg(SMALL)->Arg(LARGE)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    storages();
    return Bench::runWithRatios(argc, argv,
                                {{"cold-lookup-at-10000-to-10", "coldLookup/10000", "coldLookup/10", 1.5},
                                 {"cold-lookup-at-10-to-bare", "coldLookup/10", "bareReadAndParse/10", 1.5},
                                 {"cold-lookup-at-10000-to-bare", "coldLookup/10000", "bareReadAndParse/10000", 1.5}});
}
