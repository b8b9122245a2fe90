// The cost of an installation, against its size, and against only running its commands and handling its documents.

#include "Samples.h"
#include "ratios.h"

#include <benchmark/benchmark.h>
#include <json/reader.h>
#include <json/writer.h>
#include <kelvra/System.h>
#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <sys/resource.h>
#include <sys/time.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

namespace {

using namespace Kelvra::SCADA;

constexpr int FEW = 100;
constexpr int SOME = 500;
constexpr int MANY = 2000;
constexpr int REPETITIONS = 9;

const Bench::Samples& samples() {
    static const Bench::Samples instance;
    return instance;
}

std::string sourceOf(int count) {
    return samples() / ("source" + std::to_string(count));
}

std::string stagingDir() {
    return samples() / "staging";
}

std::string customDir() {
    return samples() / "custom";
}

void removeInstalled() {
    std::filesystem::remove_all(customDir());
    std::filesystem::remove_all(stagingDir());
}

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

// Times of this process and of the commands that it has waited for.
double processorTime() {
    double sum = 0;
    for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }
    return sum;
}

template <typename Body> void measure(benchmark::State& state, Body body) {
    for (auto _ : state) {
        removeInstalled();
        const double start = processorTime();
        body();
        state.SetIterationTime(processorTime() - start);
    }
}

void install(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    measure(state, [count] {
        if (!DefinitionsDeployment().deploy(sourceOf(count), false, nullptr))
            throw std::runtime_error("the installation failed");
    });
}

// The bare side

void run(const std::string& program, const std::vector<std::string>& arguments) {
    std::string output;
    if (Kelvra::System::execute(program, arguments, output) != 0)
        throw std::runtime_error(program + ": " + output);
}

void makeDir(const std::string& dir) {
    run("mkdir", {"-p", dir});
}

void empty(const std::string& dir) {
    std::string output;
    Kelvra::System::cmd("rm -rf " + dir + "/*", output);
}

Json::Value readDocument(const std::string& file) {
    const std::string text = Bench::readWhole(file);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value document;
    if (!reader->parse(text.data(), text.data() + text.size(), &document, nullptr))
        throw std::runtime_error(file + " is not JSON");
    return document;
}

void writeDocument(const std::string& file, const Json::Value& document) {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << Json::writeString(Json::StreamWriterBuilder(), document);
}

// Moves one definition to another storage: reads it, writes it, copies its decoder, reads it back.
void copyOne(const std::string& from, const std::string& to, const std::string& decoder, const std::string& name) {
    const Json::Value document = readDocument(from + "/" + name + ".json");
    writeDocument(to + "/" + name + ".json", document);
    run("cp", {"-f", decoder, to + "/" + name + "-decoder"});
    benchmark::DoNotOptimize(readDocument(to + "/" + name + ".json"));
}

void copyAll(const std::string& from, const std::string& to, const std::string& suffix) {
    std::set<std::string> made;
    for (int i = 0; i < SOME; ++i) {
        const std::string name = Bench::definitionName(i);
        const std::string dir = to + "/" + name.substr(0, name.rfind('/'));
        if (made.insert(dir).second)
            makeDir(dir);
        copyOne(from, to, from + "/" + name + suffix, name);
    }
}

void bareCommandsAndDocuments(benchmark::State& state) {
    measure(state, [] {
        makeDir(stagingDir());
        empty(stagingDir());
        copyAll(sourceOf(SOME), stagingDir(), ".js");
        copyAll(stagingDir(), customDir(), "-decoder");
        empty(stagingDir());
    });
}

void once(benchmark::internal::Benchmark* benchmark) {
    benchmark->Iterations(1)->Repetitions(REPETITIONS)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(install)->Arg(FEW)->Arg(SOME)->Arg(MANY)->Apply(once);
BENCHMARK(bareCommandsAndDocuments)->Apply(once);

} // namespace

int main(int argc, char** argv) {
    for (const int count : {FEW, SOME, MANY})
        samples().addStorage("source" + std::to_string(count), count);
    Env::inst().conf().setDfnStagingDir(stagingDir());
    Env::inst().conf().setDfnCustomDir(customDir());
    return Bench::runWithRatios(
        argc, argv,
        {{"install-2000-to-100-per-definition", "install/2000", "install/100", 1.3, double{MANY} / FEW},
         {"install-500-to-bare", "install/500", "bareCommandsAndDocuments", 1.3}});
}
