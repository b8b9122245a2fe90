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

void measure() {
    const Test::RedisServer server;
    fill(server.socket());
    const Bench::Samples samples;
    samples.addStorage("default", DEFINITIONS);
    samples.addList("many.json", SENSORS_OF_DOCTOR, DEFINITIONS);
    samples.addList("list.json", SENSORS_OF_READ, DEFINITIONS);
    const std::string last = Bench::sensorId(SENSORS_OF_READ - 1);
    addDecoder(samples);
    const auto secondsOfTool = [&](const std::string& list, const Words& words, const char* runner = "") {
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
    };
    const Bench::Pair one(
        [&] {
            return secondsOfTool("many.json", {"doctor", "lora", last});
        },
        [&] {
            return secondsOfTool("many.json", {"resolve", "lora", last});
        },
        TURNS);
    std::printf("doctor: %.1f ms, resolve %.1f ms\n", one.first * 1e3, one.second * 1e3);
#ifdef SCADA_DUKTAPE_RUNNER
    const Bench::Pair decoded(
        [&] {
            return secondsOfTool("many.json", {"doctor", "lora", last}, SCADA_DUKTAPE_RUNNER);
        },
        [&] {
            return secondsOfTool("many.json", {"resolve", "lora", last}, SCADA_DUKTAPE_RUNNER);
        },
        TURNS);
    std::printf("doctor with a runner: %.1f ms, resolve %.1f ms\n", decoded.first * 1e3, decoded.second * 1e3);
    Bench::printRatio("doctor-with-runner-to-resolve", decoded.first / decoded.second, 2);
#endif
    const Bench::Pair all(
        [&] {
            return secondsOfTool("list.json", {"read", "--all"});
        },
        [&] { return secondsOfCommands(server.socket()); }, TURNS);
    std::printf("read --all: %.1f ms, the commands alone %.1f ms\n", all.first * 1e3, all.second * 1e3);
    Bench::printRatio("doctor-to-resolve", one.first / one.second, 2);
    Bench::printRatio("read-all-to-commands", all.first / all.second, 1.2);
}

} // namespace

int main() {
    return Kelvra::SCADA::Bench::runMeasurement("operator_bench", measure);
}
