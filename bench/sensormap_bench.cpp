// The cost of loading the list and querying the map, against bare parsing and against the same work written by hand.

#include "Samples.h"
#include "ratios.h"

#include <benchmark/benchmark.h>
#include <json/reader.h>
#include <kelvra/Text.h>
#include <scada/Env.h>
#include <scada/SensorMap.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <unordered_map>

namespace {

using namespace Kelvra::SCADA;

constexpr int DEFINITIONS = 50;
constexpr int FEW = 1000;
constexpr int MANY = 100000;
constexpr int ASKED = 500;

struct Setting {
    Setting() {
        samples.addStorage("default", DEFINITIONS);
        samples.addList("1000.json", FEW, DEFINITIONS);
        samples.addList("100000.json", MANY, DEFINITIONS);
        Env::inst().conf().setDfnCustomDir("");
        Env::inst().conf().setDfnDefaultDir(samples / "default");
    }
    Bench::Samples samples;
};

const Setting& setting() {
    static const Setting instance;
    return instance;
}

std::string listFile(int count) {
    return setting().samples / (std::to_string(count) + ".json");
}

Json::Value parsed(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr))
        throw std::runtime_error("a sample is not JSON");
    return value;
}

// --- one property of a sensor whose definition is cached

std::string askedId(std::size_t number) {
    return Kelvra::Text::toLowerCase(Bench::sensorId(static_cast<int>(number % ASKED)));
}

// The work written by hand: one key, two hash lookups, two member lookups.
class ByHand {
public:
    ByHand() {
        for (const Json::Value& element : parsed(Bench::readWhole(listFile(FEW)))) {
            const std::string name = element["src"].asString() + "/" + element["sensor"].asString();
            sensors.emplace(element["src"].asString() + "@" + Kelvra::Text::toLowerCase(element["id"].asString()),
                            name);
            if (definitions.find(name) == definitions.end())
                definitions.emplace(name, parsed(Bench::readWhole(setting().samples / ("default/" + name + ".json"))));
        }
    }

    const Json::Value& getMeasurement(const std::string& src, const std::string& id,
                                      const std::string& property) const {
        const auto sensor = sensors.find(src + "@" + id);
        if (sensor == sensors.end())
            return Json::Value::nullSingleton();
        const auto definition = definitions.find(sensor->second);
        if (definition == definitions.end())
            return Json::Value::nullSingleton();
        const Json::Value& description = definition->second["properties"][property];
        return description.isObject() ? description : Json::Value::nullSingleton();
    }

private:
    std::unordered_map<std::string, std::string> sensors;
    std::unordered_map<std::string, Json::Value> definitions;
};

template <typename Ask> void askForMeasurements(benchmark::State& state, Ask ask) {
    const std::string src = "lora";
    const std::string property = "property7";
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < ASKED; ++i)
        ids.push_back(askedId(i));
    for (const std::string& id : ids) // the first query loads the definition
        if (!ask(src, id, property).isObject())
            state.SkipWithError("the property is not found");
    std::size_t next = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(&ask(src, ids[next++ % ASKED], property));
}

void cachedMeasurement(benchmark::State& state) {
    Env::inst().conf().setSensorMapFile(listFile(FEW));
    SensorMap map;
    map.Load();
    askForMeasurements(
        state,
        [&map](const std::string& src, const std::string& id, const std::string& property) -> const Json::Value& {
            return map.getMeasurement(src, id, property, nullptr);
        });
}

void measurementByHand(benchmark::State& state) {
    const ByHand map;
    askForMeasurements(
        state,
        [&map](const std::string& src, const std::string& id, const std::string& property) -> const Json::Value& {
            return map.getMeasurement(src, id, property);
        });
}

// --- loading the list

void setTimePerElement(benchmark::State& state) {
    state.counters["per_element"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void loadList(benchmark::State& state) {
    Env::inst().conf().setSensorMapFile(listFile(static_cast<int>(state.range(0))));
    for (auto _ : state) {
        std::optional<SensorMap> map(std::in_place);
        if (!map->Load())
            state.SkipWithError("the list is not loaded");
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
    setTimePerElement(state);
}

void bareParse(benchmark::State& state) {
    const std::string file = listFile(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(parsed(Bench::readWhole(file)));
    setTimePerElement(state);
}

BENCHMARK(cachedMeasurement);
BENCHMARK(measurementByHand);
BENCHMARK(loadList)->Arg(FEW)->Arg(MANY)->Unit(benchmark::kMillisecond);
BENCHMARK(bareParse)->Arg(FEW)->Arg(MANY)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    setting();
    return Bench::runWithRatios(
        argc, argv,
        {{"cached-measurement-to-by-hand", "cachedMeasurement", "measurementByHand", 1.3},
         {"load-1000-to-bare-parse", "loadList/1000", "bareParse/1000", 1.4},
         {"load-100000-to-bare-parse", "loadList/100000", "bareParse/100000", 1.4},
         {"load-per-element-at-100000-to-1000", "loadList/100000", "loadList/1000", 1.2, double(MANY) / FEW},
         {"bare-parse-per-element-at-100000-to-1000", "bareParse/100000", "bareParse/1000", 1.2, double(MANY) / FEW}});
}
