// The cost of listing and of checking the images of many devices, one after the other: whether each one more costs the
// same, and what --root costs against the paths of the same files.

#include "Samples.h"
#include "processes.h"
#include "ratios.h"

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
using Bench::Words;

constexpr int FLEETS[] = {100, 300, 1000}; // images
constexpr int IMAGES = 1000;
constexpr int DEFAULTS = 180;
constexpr int CUSTOMS = 20;
constexpr int HIDING = 10; // of the custom definitions
constexpr int SENSORS = 200;
constexpr int DIRECT_TURNS = 51;

/// Images of devices with 200 definitions each. Their files are the same ones under other names, so that they fit on a
/// small disk; each image has directories and links of its own, and one of the links is absolute.
class Fleet {
public:
    Fleet() {
        namespace fs = std::filesystem;
        samples.addStorage("0/usr/share/scada/sensors", DEFAULTS);
        samples.addStorage("0/var/config/scada/sensors", CUSTOMS, DEFAULTS - HIDING);
        samples.addList("0/var/config/scada/sensors_map.json", SENSORS, DEFAULTS + CUSTOMS - HIDING);
        fs::create_directory(samples / "0/etc");
        fs::create_directory_symlink("/usr/share/scada", samples / "0/etc/scada");
        for (int number = 1; number < IMAGES; ++number)
            fs::copy(image(0), image(number),
                     fs::copy_options::recursive | fs::copy_options::create_hard_links |
                         fs::copy_options::copy_symlinks);
    }

    std::string image(int number) const { return samples / std::to_string(number); }
    std::string output() const { return samples / "output"; }

    Words withRoot(int number, const char* command) const {
        return {SCADA_TOOL, "--codec-runner", "", "--root", image(number), command};
    }

    Words withPaths(int number, const char* command) const {
        const std::string root = image(number);
        return {SCADA_TOOL,
                "--codec-runner",
                "",
                "--default-dir",
                root + "/usr/share/scada/sensors",
                "--custom-dir",
                root + "/var/config/scada/sensors",
                "--map",
                root + "/var/config/scada/sensors_map.json",
                command};
    }

private:
    Bench::Samples samples;
};

/// A command, and a part of its answer, which it prints only when it has done its work.
struct Command {
    const char* name;
    std::string answer;
};

std::vector<Command> commands() {
    return {{"list", Bench::definitionName(DEFAULTS + CUSTOMS - HIDING - 1)},
            {"check", "0 faults in " + std::to_string(DEFAULTS + CUSTOMS) + " definitions and " +
                          std::to_string(SENSORS) + " list elements"}};
}

void expectAnswer(const Fleet& fleet, const Words& words, const std::string& answer) {
    Bench::run(words, fleet.output());
    if (Bench::readWhole(fleet.output()).find(answer) == std::string::npos)
        throw std::runtime_error("[" + answer + "] is missing in " + fleet.output());
}

double secondsOf(const Fleet& fleet, const char* command, int images) {
    double seconds = 0;
    for (int number = 0; number < images; ++number)
        seconds += Bench::run(fleet.withRoot(number, command)).seconds;
    return seconds;
}

// Each time is the mean of a hundred processes or more, so that one turn is enough.
void measureFleets(const Fleet& fleet, const Command& command) {
    std::vector<double> times;
    for (const int images : FLEETS) {
        times.push_back(secondsOf(fleet, command.name, images) / images);
        std::printf("%-8s %8d %12.2f\n", command.name, images, times.back() * 1e3);
        std::fflush(stdout);
    }
    for (std::size_t i = 1; i < std::size(FLEETS); ++i) {
        const std::string name = command.name + std::string("-per-image-at-") + std::to_string(FLEETS[i]) + "-to-" +
                                 std::to_string(FLEETS[0]);
        Bench::printRatio(name.c_str(), times[i] / times[0], 1.2);
    }
}

void measureRoot(const Fleet& fleet, const Command& command) {
    std::vector<double> root;
    std::vector<double> paths;
    for (int turn = 0; turn < DIRECT_TURNS; ++turn) {
        root.push_back(Bench::run(fleet.withRoot(turn, command.name)).seconds);
        paths.push_back(Bench::run(fleet.withPaths(turn, command.name)).seconds);
    }
    const std::string name = command.name + std::string("-root-to-paths");
    Bench::printRatio(name.c_str(), Bench::median(root) / Bench::median(paths), 1.3);
}

void measure() {
    const Fleet fleet;
    std::printf("%-8s %8s %12s\n", "command", "images", "ms an image");
    for (const Command& command : commands()) {
        expectAnswer(fleet, fleet.withRoot(IMAGES - 1, command.name), command.answer);
        expectAnswer(fleet, fleet.withPaths(IMAGES - 1, command.name), command.answer);
        measureFleets(fleet, command);
        measureRoot(fleet, command);
    }
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("fleet_bench", measure);
}
