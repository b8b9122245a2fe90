// Runs randomly generated decoders as the tool does, each in a process of the runner. The runner may refuse them, stop
// them at a limit and report exceptions. It must not crash, hang, violate its contract, be ended by the system-call
// filter, or leave a process behind.

#include "DecoderGenerator.h"

#include "codec/DecodedUplink.h"
#include "codec/Runner.h"
#include "device/CodecSettings.h"

#include <sys/prctl.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA;

/// The results of the decoders, and their numbers.
using Counts = std::map<std::string, unsigned long>;

struct Faulty : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string outcomeOf(const Tool::LoadResult& loaded) {
    switch (loaded.kind) {
    case Tool::LoadResult::Kind::LOADED:
        return loaded.entryPoint.empty() ? "no entry point" : "loaded";
    case Tool::LoadResult::Kind::NOT_LOADED:
        return "not loaded";
    case Tool::LoadResult::Kind::LIMIT:
        return "limit while loading";
    default:
        throw Faulty(loaded.text);
    }
}

std::string outcomeOf(const std::string& entryPoint, const Tool::CallResult& result) {
    switch (result.kind) {
    case Tool::CallResult::Kind::VALUE:
        (void)Tool::namedValues(Tool::readResult(entryPoint, result), Json::Value());
        return "value";
    case Tool::CallResult::Kind::EXCEPTION:
        return "exception";
    case Tool::CallResult::Kind::LIMIT:
        return "limit";
    default:
        throw Faulty(result.text);
    }
}

void runDecoder(const std::string& script, Counts* counts) {
    Tool::Runner runner(script, "decoder.js");
    const std::string loading = outcomeOf(runner.load());
    ++(*counts)[loading];
    if (loading != "loaded")
        return;
    const std::string entryPoint = runner.load().entryPoint;
    for (const Tool::UplinkCall& uplink :
         {Tool::UplinkCall{1, {0x01, 0x7f, 0xff}, 1714557600250}, Tool::UplinkCall{255, {}, std::nullopt}})
        ++(*counts)[outcomeOf(entryPoint, runner.call(uplink))];
}

// Makes this process the parent of orphans.
void requireNoProcess() {
    if (waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD)
        throw Faulty("a process is left");
}

void run(unsigned long count, unsigned long firstSeed) {
    // As in the tool, a runner that has crashed no longer reads.
    (void)std::signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    Counts counts;
    for (unsigned long seed = firstSeed; seed < firstSeed + count; ++seed) {
        const std::string script = Test::DecoderGenerator(seed).decoder();
        try {
            runDecoder(script, &counts);
            requireNoProcess();
        } catch (const std::exception& error) {
            throw Faulty("seed " + std::to_string(seed) + ": " + error.what() + "\n" + script);
        }
    }
    for (const auto& [outcome, times] : counts)
        std::printf("%lu %s\n", times, outcome.c_str());
    if (counts["value"] == 0)
        throw Faulty("no decoder has returned a value");
    std::printf("%lu decoders\n", count);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: random-decoders RUNNER SECONDS COUNT FIRST_SEED\n");
        return 2;
    }
    try {
        Tool::codecSettings().runner = argv[1];
        Tool::codecSettings().seconds = std::stod(argv[2]);
        run(std::stoul(argv[3]), std::stoul(argv[4]));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
