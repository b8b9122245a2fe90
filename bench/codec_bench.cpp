// The cost of running decoders in the host tool, in wall-clock time: a check with four examples in each definition, one
// uplink, and a stream of uplinks.

#include "Samples.h"
#include "processes.h"
#include "ratios.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;
using Bench::Words;

constexpr int DEFINITIONS = 500;
constexpr int UPLINKS = 20000;
constexpr int TURNS = 5;
constexpr int TURNS_OF_ONE = 51;
constexpr std::size_t DECODER_BYTES = 20000;

void write(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::trunc);
    file << text;
    file.close();
    if (!file.good())
        throw std::runtime_error("cannot write " + path);
}

// Functions as real decoders have them; only one of them is called.
std::string longDecoder() {
    std::string text = "function decodeUplink(input) {\n"
                       "    var b = input.bytes;\n"
                       "    if (b.length !== 4) return { errors: ['expected 4 bytes'] };\n"
                       "    return { data: { temperature: ((b[0] << 8) | b[1]) / 10, battery: part0(b, 2) } };\n"
                       "}\n";
    for (int number = 0; text.size() < DECODER_BYTES; ++number)
        text +=
            "function part" + std::to_string(number) +
            "(bytes, at) {\n    // two bytes, the higher one first\n    var value = (bytes[at] << 8) | bytes[at + 1];\n"
            "    if (value > 0x7fff) { value -= 0x10000; }\n    return value;\n}\n";
    return text;
}

std::string examplesOf(int count) {
    std::string text;
    for (int number = 0; number < count; ++number)
        text += std::string(text.empty() ? "" : ",") + R"({"description": "report )" + std::to_string(number) +
                R"(", "input": {"fPort": 1, "bytes": "00 d7 0b b8"}, )"
                R"("output": {"data": {"temperature": 21.5, "battery": 3000}}})";
    return text;
}

void addDefinitions(const Bench::Samples& samples) {
    const std::string decoder = longDecoder();
    const std::string definition = R"({"decoder": "DECODER", "properties": {
"temperature": {"unit": "°C", "type": "float"}, "battery": {"unit": "mV", "type": "uint32"}}, "examples": [)" +
                                   examplesOf(4) + "]}\n";
    for (int index = 0; index < DEFINITIONS; ++index) {
        const std::string file = samples / ("default/" + Bench::definitionName(index));
        std::string document = definition;
        const std::string name = std::filesystem::path(file).filename().string() + ".js";
        document.replace(document.find("DECODER"), 7, name);
        write(file + ".json", document);
        write(file + ".js", decoder);
    }
}

double secondsOfTool(const Bench::Samples& samples, const Words& words, const std::string& input = "/dev/null") {
    Words line = {SCADA_TOOL, "--default-dir",       samples / "default", "--custom-dir",      samples / "custom",
                  "--map",    samples / "list.json", "--codec-runner",    SCADA_DUKTAPE_RUNNER};
    line.insert(line.end(), words.begin(), words.end());
    return Bench::secondsOf(line, input);
}

Bench::Pair inTurns(const Bench::Samples& samples, const Words& one, const Words& other, int turns) {
    return {[&] { return secondsOfTool(samples, one); }, [&] { return secondsOfTool(samples, other); }, turns};
}

void measure() {
    const Bench::Samples samples;
    addDefinitions(samples);
    samples.addList("list.json", 1, DEFINITIONS);
    std::string lines;
    for (int number = 0; number < UPLINKS; ++number)
        lines += "00d70bb8\n";
    write(samples / "uplinks", lines);

    const Bench::Pair check = inTurns(samples, {"check"}, {"check", "--no-codec"}, TURNS);
    std::printf("check of %d definitions with 4 examples: %.0f ms, without decoders %.0f ms\n", DEFINITIONS,
                check.first * 1e3, check.second * 1e3);
    const Bench::Pair one = inTurns(samples, {"decode", Bench::sensorId(0), "--port", "1", "00d70bb8"},
                                    {"resolve", Bench::sensorId(0), "battery"}, TURNS_OF_ONE);
    std::printf("decode: %.1f ms, resolve %.1f ms\n", one.first * 1e3, one.second * 1e3);
    std::vector<double> streams;
    streams.reserve(TURNS);
    for (int turn = 0; turn < TURNS; ++turn)
        streams.push_back(
            secondsOfTool(samples, {"decode", Bench::sensorId(0), "--port", "1", "-"}, samples / "uplinks"));
    std::printf("stream: %.0f uplinks a second\n", UPLINKS / Bench::median(streams));
    Bench::printRatio("check-ms-more-per-definition", (check.first - check.second) * 1e3 / DEFINITIONS, 5);
    Bench::printRatio("decode-ms-more-than-resolve", (one.first - one.second) * 1e3, 15);
    Bench::printRatio("us-per-uplink-of-a-stream", Bench::median(streams) * 1e6 / UPLINKS, 500);
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("codec_bench", measure);
}
