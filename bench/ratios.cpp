#include "ratios.h"

#include <benchmark/benchmark.h>
#include <kelvra/LoggerControl.h>

#include <cstdio>
#include <exception>
#include <map>
#include <string>

namespace Kelvra::SCADA::Bench {

namespace {

// Prints the console table and keeps the medians by benchmark name.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    MedianReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                medians[run.run_name.function_name + slashed(run.run_name.args)] =
                    timeOf(run) / benchmark::GetTimeUnitMultiplier(run.time_unit);
    }

    /// Returns whether there was anything to print.
    bool print(const Ratio& ratio) const {
        const auto numerator = medians.find(ratio.numerator);
        const auto denominator = medians.find(ratio.denominator);
        if (numerator == medians.end() || denominator == medians.end()) {
            std::printf("ratio %s not measured (goal <= %.2f)\n", ratio.name, ratio.goal);
            return false;
        }
        printRatio(ratio.name, numerator->second / denominator->second / ratio.workOfNumerator, ratio.goal);
        return true;
    }

private:
    // A benchmark that waits for another process, or measures its own time, says so; for the others the processor time
    // counts.
    static double timeOf(const Run& run) {
        return run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
    }

    static std::string slashed(const std::string& arguments) { return arguments.empty() ? "" : "/" + arguments; }

    std::map<std::string, double> medians;
};

} // namespace

void printRatio(const char* name, double value, double goal) {
    std::printf("ratio %s %.3f (goal <= %.2f)\n", name, value, goal);
}

int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios) {
    Logger::setLevel(Logger::LEVEL_OFF);
    // These come before the caller's arguments, which therefore win.
    std::string defaults[] = {"--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.1", "--benchmark_report_aggregates_only=true"};
    std::vector<char*> arguments{argv[0]};
    for (std::string& argument : defaults)
        arguments.push_back(argument.data());
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    bool measured = true;
    for (const Ratio& ratio : ratios)
        measured = reporter.print(ratio) && measured;
    return measured ? 0 : 1;
}

int runMeasurement(const char* name, void (*measure)()) {
    try {
        measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        return 1;
    }
}

} // namespace Kelvra::SCADA::Bench
