// The cost of an operator's queries, in wall-clock time: doctor for one sensor against resolve, without a runner and
// with one that loads the sensor's decoder, and the values of all sensors against the same commands sent by hand.

#include "RedisServer.h"
#include "Samples.h"
#include "hiredis_pointers.h"
#include "processes.h"
#include "ratios.h"

#include <hiredis/hiredis.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using namespace Kelvra::SCADA;
using Bench::Words;

constexpr int DEFINITIONS = 5000;
constexpr int SENSORS_OF_DOCTOR = 50000;
constexpr int SENSORS_OF_READ = 10000;
constexpr int TURNS = 15;
constexpr int AT_ONCE = 64; // commands sent before the first answer is read

/// A connection that sends many commands before it reads the answers.
class Pipeline {
public:
    explicit Pipeline(const std::string& socket) : context(redisConnectUnix(socket.c_str())) {
        if (!context || context->err != 0)
            throw std::runtime_error("no connection to the server");
        send({"SELECT", "2"});
        receive();
    }

    void send(const Words& words) {
        std::vector<const char*> texts;
        std::vector<std::size_t> lengths;
        for (const std::string& word : words) {
            texts.push_back(word.data());
            lengths.push_back(word.size());
        }
        redisAppendCommandArgv(context.get(), static_cast<int>(words.size()), texts.data(), lengths.data());
    }

    void receive() {
        void* reply = nullptr;
        if (redisGetReply(context.get(), &reply) != REDIS_OK)
            throw std::runtime_error("no answer");
        const Test::ReplyPtr owner(static_cast<redisReply*>(reply));
        if (owner->type == REDIS_REPLY_ERROR)
            throw std::runtime_error("the server refused");
    }

private:
    Test::ContextPtr context;
};

std::string keyOf(int sensor) {
    std::string key = "lora@" + Bench::sensorId(sensor);
    for (char& letter : key)
        letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
    return key;
}

void fill(const std::string& socket) {
    Pipeline pipeline(socket);
    for (int sensor = 0; sensor < SENSORS_OF_READ; ++sensor) {
        pipeline.send({"HSET", keyOf(sensor), "property0", "0", "property1", "21.5", "property2", "48"});
        pipeline.send({"EXPIRE", keyOf(sensor), "129600"});
        pipeline.receive();
        pipeline.receive();
    }
}

/// Returns the seconds that the commands of `read --all` take.
double secondsOfCommands(const std::string& socket) {
    const auto start = std::chrono::steady_clock::now();
    Pipeline pipeline(socket);
    for (int from = 0; from < SENSORS_OF_READ; from += AT_ONCE) {
        const int end = from + AT_ONCE < SENSORS_OF_READ ? from + AT_ONCE : SENSORS_OF_READ;
        for (int sensor = from; sensor < end; ++sensor) {
            pipeline.send({"HGETALL", keyOf(sensor)});
            pipeline.send({"PTTL", keyOf(sensor)});
        }
        for (int answer = 0; answer < 2 * (end - from); ++answer)
            pipeline.receive();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Gives the last sensor's definition a decoder that loads.
void addDecoder(const Bench::Samples& samples) {
    const std::string file =
        samples / ("default/" + Bench::definitionName((SENSORS_OF_READ - 1) % DEFINITIONS) + ".js");
    std::ofstream decoder(file, std::ios::binary | std::ios::trunc);
    decoder << "function decodeUplink(input) { return {data: {property0: input.bytes[0]}}; }\n";
    decoder.close();
    if (!decoder.good())
        throw std::runtime_error("cannot write " + file);
}

class OperatorBench {
public:
    OperatorBench() {
        fill(server.socket());
        samples.addStorage("default", DEFINITIONS);
        samples.addList("many.json", SENSORS_OF_DOCTOR, DEFINITIONS);
        samples.addList("list.json", SENSORS_OF_READ, DEFINITIONS);
        addDecoder(samples);
    }

    void measureDoctor(const std::string& name, const char* runner) const {
        const std::string last = Bench::sensorId(SENSORS_OF_READ - 1);
        const Bench::Pair times(
            [&] {
                return secondsOfTool("many.json", {"doctor", "lora", last}, runner);
            },
            [&] {
                return secondsOfTool("many.json", {"resolve", "lora", last}, runner);
            },
            TURNS);
        std::printf("%s: %.1f ms, resolve %.1f ms\n", name.c_str(), times.first * 1e3, times.second * 1e3);
        Bench::printRatio((name + "-to-resolve").c_str(), times.first / times.second, 2);
    }

    void measureRead() const {
        const Bench::Pair times(
            [&] {
                return secondsOfTool("list.json", {"read", "--all"}, "");
            },
            [&] { return secondsOfCommands(server.socket()); }, TURNS);
        std::printf("read --all: %.1f ms, the commands alone %.1f ms\n", times.first * 1e3, times.second * 1e3);
        Bench::printRatio("read-all-to-commands", times.first / times.second, 1.2);
    }

private:
    double secondsOfTool(const std::string& list, const Words& words, const char* runner) const {
        Words line = {SCADA_TOOL,
                      "--default-dir",
                      samples / "default",
                      "--custom-dir",
                      samples / "custom",
                      "--socket",
                      server.socket(),
                      "--map",
                      samples / list,
                      "--codec-runner",
                      runner};
        line.insert(line.end(), words.begin(), words.end());
        return Bench::secondsOf(line);
    }

    Test::RedisServer server;
    Bench::Samples samples;
};

void measure() {
    const OperatorBench bench;
    bench.measureDoctor("doctor", "");
#ifdef SCADA_DUKTAPE_RUNNER
    bench.measureDoctor("doctor-with-runner", SCADA_DUKTAPE_RUNNER);
#endif
    bench.measureRead();
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("operator_bench", measure);
}
