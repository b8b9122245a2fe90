// The cost of the host tool's commands as processes, against a program that only opens, reads and parses the files that
// a command has to read, against the size of the device, and against each other.

#include "RedisServer.h"
#include "Samples.h"
#include "processes.h"
#include "ratios.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/Env.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;

using Bench::awaited;
using Bench::Cost;
using Bench::median;
using Bench::run;
using Bench::Words;

constexpr int TURNS = 11;
constexpr int TURNS_OF_START = 101;

Words together(Words files, const Words& more) {
    files.insert(files.end(), more.begin(), more.end());
    return files;
}

// Processes of this program

/// Does the work in a copy of this process, so that this process stays small: its memory counts in the peak of every
/// program that it starts.
template <typename Work> void runApart(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            work();
            _exit(0);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "tool_bench: %s\n", error.what());
            _exit(1);
        }
    }
    awaited(child, "a copy of this program");
}

// The memory of a copy of this process: the peak of a program is never below this.
double inheritedKilobytes() {
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    return awaited(child, "a copy of this program").kilobytes;
}

// Repeats a run that had to read samples from the disk. A few blocks may be metadata; the smaller list alone has 1000.
Cost runCached(const Words& words) {
    constexpr long BLOCKS = 500;
    constexpr int TRIES = 3;
    for (int left = TRIES; left > 0; --left) {
        const Cost cost = run(words);
        if (cost.kilobytes <= inheritedKilobytes())
            throw std::runtime_error("the memory of " + words.front() + " is hidden by that of this program");
        if (cost.blocksRead < BLOCKS)
            return cost;
    }
    throw std::runtime_error("the files of " + words.front() + " do not stay in the page cache");
}

// Samples

struct Size {
    int definitions;
    int sensors;
    int source; ///< definitions to install
};

constexpr Size SMALL{500, 5000, 200};
constexpr Size LARGE{5000, 50000, 2000};

// One in SHARE default definitions is hidden by a custom one, and one in SHARE of the source replaces a custom one.
constexpr int SHARE = 10;

/// The storages, the list and the installation source of a device of one size.
class Device {
public:
    explicit Device(const Size& deviceSize)
        : size(deviceSize), customCount(size.definitions / SHARE), firstOfSource(customCount - size.source / SHARE) {
        runApart([this] {
            samples.addStorage("default", size.definitions);
            samples.addStorage("custom", customCount);
            samples.addStorage("source", size.source, firstOfSource);
            samples.addList("list.json", size.sensors, size.definitions);
        });
    }

    std::string operator/(const std::string& relative) const { return samples / relative; }

    // The files that each command has to read. Custom definitions hide default ones.

    Words filesOfResolve() const { return {samples / "list.json"}; }

    Words filesOfList() const { return filesInForce(0, size.definitions); }

    Words filesOfSensors() const { return together(filesOfResolve(), filesOfList()); }

    Words filesOfCheck() const {
        return together(filesOfResolve(),
                        together(filesOf("default", 0, size.definitions), filesOf("custom", 0, customCount)));
    }

    /// Returns the definitions of the source, and those of the device with the same names.
    Words filesOfDryRun() const {
        return together(filesOfResolve(), together(filesOf("source", firstOfSource, size.source),
                                                   filesInForce(firstOfSource, size.source)));
    }

    const Size size;
    const int customCount;
    const int firstOfSource;

private:
    Words filesInForce(int first, int count) const {
        const int hiding = std::clamp(customCount - first, 0, count);
        return together(filesOf("custom", first, hiding), filesOf("default", first + hiding, count - hiding));
    }

    Words filesOf(const std::string& storage, int first, int count) const {
        Words files;
        for (int i = first; i < first + count; ++i)
            files.push_back(samples / (storage + "/" + Bench::definitionName(i) + ".json"));
        return files;
    }

    Bench::Samples samples;
};

/// A command of the tool, and the files that it has to read.
struct Command {
    const char* name;
    double goal; ///< upper limit of its time relative to the bare one
    Words words;
    Words (Device::*files)() const;
    std::string answer; ///< a part of the output that it prints only after doing its work
};

std::vector<Command> commandsOn(const Device& device) {
    const Size& size = device.size;
    const int replaced = size.source / SHARE;
    const std::string planned = std::to_string(size.source) +
                                " definitions: " + std::to_string(size.source - replaced) + " hides, " +
                                std::to_string(replaced) + " replaces";
    const std::string checked = "0 faults in " + std::to_string(size.definitions + device.customCount) +
                                " definitions and " + std::to_string(size.sensors) + " list elements";
    const std::string lastName = Bench::definitionName(size.definitions - 1);
    const Words resolve = {"resolve", "lora", Bench::sensorId(size.sensors - 1)};
    const Words dryRun = {"install", device / "source", "--dry-run", "--allow-overwrite"};
    return {{"list", 1.2, {"list"}, &Device::filesOfList, lastName},
            {"sensors", 2.0, {"sensors"}, &Device::filesOfSensors, lastName},
            {"check", 2.5, {"check"}, &Device::filesOfCheck, checked},
            {"resolve", 2.5, resolve, &Device::filesOfResolve, lastName},
            {"dry-run", 2.5, dryRun, &Device::filesOfDryRun, planned}};
}

Words toolOn(const Device& device, const Words& words) {
    return together({SCADA_TOOL, "--default-dir", device / "default", "--custom-dir", device / "custom",
                     "--staging-dir", device / "staging", "--map", device / "list.json", "--codec-runner", ""},
                    words);
}

void writeLines(const std::string& path, const Words& lines) {
    std::ofstream file(path, std::ios::trunc);
    for (const std::string& line : lines)
        file << line << '\n';
    file.close();
    if (!file.good())
        throw std::runtime_error("cannot write " + path);
}

// Measuring

struct Goal {
    std::string name;
    double value;
    double goal;
};

Cost medians(const std::vector<Cost>& costs) {
    std::vector<double> times;
    std::vector<double> sizes;
    for (const Cost& cost : costs) {
        times.push_back(cost.seconds);
        sizes.push_back(cost.kilobytes);
    }
    return {median(times), median(sizes)};
}

/// Runs the programs in turns, each turn starting with another program, so that a busy machine slows all of them
/// equally.
std::vector<Cost> measureInTurns(const std::vector<Words>& programs, int turns) {
    std::vector<std::vector<Cost>> costs(programs.size());
    for (int turn = 0; turn < turns; ++turn) {
        for (std::size_t i = 0; i < programs.size(); ++i) {
            const std::size_t next = (i + static_cast<std::size_t>(turn)) % programs.size();
            costs[next].push_back(runCached(programs[next]));
        }
    }
    std::vector<Cost> results;
    results.reserve(costs.size());
    for (const std::vector<Cost>& ofOne : costs)
        results.push_back(medians(ofOne));
    return results;
}

// Brings the files of both programs into the page cache, and checks that the tool does the measured work.
void warm(const Words& tool, const Words& bare, const std::string& answer, const std::string& output) {
    run(bare);
    run(tool, output);
    if (Bench::readWhole(output).find(answer) == std::string::npos)
        throw std::runtime_error("[" + answer + "] is missing in " + output);
}

void printRow(const char* name, int definitions, const Cost& tool, const Cost& bare) {
    std::printf("%-10s %12d %10.1f %10.1f %10.0f %10.0f\n", name, definitions, tool.seconds * 1e3, bare.seconds * 1e3,
                tool.kilobytes, bare.kilobytes);
    std::fflush(stdout);
}

void measureStart(const Device& device, std::vector<Goal>* goals) {
    const Words tool = {SCADA_TOOL, "--version"};
    const Words bare = {SCADA_BARE_READER};
    warm(tool, bare, "scada-sensors ", device / "output");
    const std::vector<Cost> costs = measureInTurns({tool, bare}, TURNS_OF_START);
    printRow("--version", 0, costs[0], costs[1]);
    goals->push_back({"start-to-bare", costs[0].seconds / costs[1].seconds, 1.5});
}

// The tool and the bare reader, both warmed up.
std::vector<Words> programsOf(const Device& device, const Command& command) {
    const std::string paths = device / "paths";
    runApart([&] { writeLines(paths, (device.*command.files)()); });
    const Words tool = toolOn(device, command.words);
    const Words bare = {SCADA_BARE_READER, paths};
    warm(tool, bare, command.answer, device / "output");
    return {tool, bare};
}

void measureCommand(const Device& small, const Device& large, std::size_t number, std::vector<Goal>* goals) {
    const Command onSmall = commandsOn(small)[number];
    std::vector<Words> programs = programsOf(small, onSmall);
    for (const Words& program : programsOf(large, commandsOn(large)[number]))
        programs.push_back(program);
    const std::vector<Cost> costs = measureInTurns(programs, TURNS);
    const Cost& few = costs[0];
    const Cost& fewBare = costs[1];
    const Cost& many = costs[2];
    const Cost& manyBare = costs[3];
    const std::string name = onSmall.name;
    printRow(onSmall.name, SMALL.definitions, few, fewBare);
    printRow(onSmall.name, LARGE.definitions, many, manyBare);
    goals->push_back({name + "-500-to-bare", few.seconds / fewBare.seconds, onSmall.goal});
    goals->push_back({name + "-5000-to-bare", many.seconds / manyBare.seconds, onSmall.goal});
    constexpr double GROWTH = double(LARGE.definitions) / SMALL.definitions;
    goals->push_back({name + "-per-item-at-5000-to-500", many.seconds / few.seconds / GROWTH, 1.2});
    goals->push_back({name + "-memory-5000-to-bare", many.kilobytes / manyBare.kilobytes, 2.5});
}

// Installs so many definitions, half of which replace others, and compares this with the library alone, which syncs
// nothing. Both run cp, mkdir and rm.

constexpr int INSTALLED = 500;
constexpr int TURNS_OF_INSTALLATION = 5;

class Installation {
public:
    Installation() {
        runApart([this] {
            samples.addStorage("former", INSTALLED);
            samples.addStorage("source", INSTALLED, INSTALLED / 2);
        });
    }

    Cost runTool() const {
        reset();
        return run({SCADA_TOOL, "--default-dir", samples / "default", "--custom-dir", samples / "custom",
                    "--staging-dir", samples / "staging", "--codec-runner", "", "install", samples / "source",
                    "--allow-overwrite"});
    }

    Cost runLibrary() const {
        reset();
        const pid_t child = fork();
        if (child == 0)
            _exit(deploy() ? 0 : 1);
        return awaited(child, "the library");
    }

private:
    void reset() const {
        runApart([this] {
            for (const char* made : {"custom", "custom.generations", "staging"})
                std::filesystem::remove_all(samples / made);
            std::filesystem::copy(samples / "former", samples / "custom", std::filesystem::copy_options::recursive);
        });
        sync();
    }

    bool deploy() const {
        Env::inst().conf().setDfnCustomDir(samples / "custom");
        Env::inst().conf().setDfnStagingDir(samples / "staging");
        std::string error;
        return DefinitionsDeployment().deploy(samples / "source", true, &error);
    }

    Bench::Samples samples;
};

void measureInstallation(std::vector<Goal>* goals) {
    const Installation installation;
    std::vector<double> tool;
    std::vector<double> library;
    std::vector<double> toolClock;
    std::vector<double> libraryClock;
    const auto measured = [](const auto& work, std::vector<double>* times, std::vector<double>* clock) {
        const auto start = std::chrono::steady_clock::now();
        times->push_back(work().seconds);
        clock->push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    };
    for (int turn = 0; turn < TURNS_OF_INSTALLATION; ++turn) {
        measured([&] { return installation.runTool(); }, &tool, &toolClock);
        measured([&] { return installation.runLibrary(); }, &library, &libraryClock);
    }
    std::printf(
        "installation of %d: %.0f ms, library %.0f ms; by the clock, with its reset and syncing, %.0f and %.0f ms\n",
        INSTALLED, median(tool) * 1e3, median(library) * 1e3, median(toolClock) * 1e3, median(libraryClock) * 1e3);
    goals->push_back({"install-500-to-library", median(tool) / median(library), 1.3});
    goals->push_back({"install-500-to-library-by-the-clock", median(toolClock) / median(libraryClock), 1.3});
}

// The page of a device whose sensors all have values, against the check of the same device, which it includes.

constexpr Size REPORTED{500, 1000, 200};
constexpr const char* REPORTED_DATABASE = "2";
constexpr int REPORTED_VALUES = 8; ///< of each sensor; the page names the other properties as missing

void storeValues(const Test::RedisServer& server) {
    for (int sensor = 0; sensor < REPORTED.sensors; ++sensor) {
        std::string id = Bench::sensorId(sensor);
        std::transform(id.begin(), id.end(), id.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        Words command = {"HSET", "lora@" + id};
        for (int value = 0; value < REPORTED_VALUES; ++value) {
            command.push_back("property" + std::to_string(value));
            command.emplace_back(value == 0 ? "0" : "21.5"); // within its limits
        }
        server.run(command);
        server.run({"EXPIRE", "lora@" + id, "86400"});
    }
}

void measureReport(std::vector<Goal>* goals) {
    const Device device(REPORTED);
    const Test::RedisServer server;
    storeValues(server);
    const std::string page = device / "page.html";
    const Words report = toolOn(device, {"--socket", server.socket(), "--db", REPORTED_DATABASE, "report", page});
    const Words check = toolOn(device, {"check"});
    run(check);
    run(report);
    if (const std::string text = Bench::readWhole(page); text.find("<dd>21.5 °C</dd>") == std::string::npos)
        throw std::runtime_error("there are no values in " + page);
    const std::vector<Cost> costs = measureInTurns({report, check}, TURNS);
    std::printf("report of %d sensors with %d values each: %.1f ms and %.0f KB, check: %.1f ms and %.0f KB\n",
                REPORTED.sensors, REPORTED_VALUES, costs[0].seconds * 1e3, costs[0].kilobytes, costs[1].seconds * 1e3,
                costs[1].kilobytes);
    goals->push_back({"report-1000-to-check", costs[0].seconds / costs[1].seconds, 2.0});
}

void measure() {
    const Device small(SMALL);
    const Device large(LARGE);
    std::printf("%-10s %12s %10s %10s %10s %10s\n", "command", "definitions", "ms", "bare ms", "KB", "bare KB");
    std::vector<Goal> goals;
    measureStart(small, &goals);
    for (std::size_t number = 0; number < commandsOn(small).size(); ++number)
        measureCommand(small, large, number, &goals);
    measureInstallation(&goals);
    measureReport(&goals);
    for (const Goal& goal : goals)
        Bench::printRatio(goal.name.c_str(), goal.value, goal.goal);
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("tool_bench", measure);
}
