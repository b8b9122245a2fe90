// A host reads all definitions while installations are made and killed.

#include "FaultTest.h"
#include "files.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;

constexpr unsigned int SEED = 20261122;
constexpr int DEFINITIONS = 4;

class Reader : public FaultTest, public ::testing::WithParamInterface<Way> {
protected:
    struct Counts {
        long reads = 0;
        long torn = 0;
        long mixed = 0; ///< the document of one state with the decoder of the other
        int newer = 0;
        int kills = 0;
    };

    /// Lays a storage, and beside it the two states between which it goes to and fro.
    void SetUp() override {
        for (const char* title : {"first", "second"}) {
            for (int number = 0; number < DEFINITIONS; ++number)
                addDefinition(temp / title, "lora/demo/d" + std::to_string(number), title);
        }
        way = GetParam();
        makeDir(place + "/default");
        ASSERT_EQ(run({"install", "$T/second"}).status, 0);
        newDefinitions = readDefinitions(place + "/custom");
        steps = stepsOf({"install", "$T/first", "--allow-overwrite"}).size();
        oldDefinitions = readDefinitions(place + "/custom");
        ASSERT_EQ(oldDefinitions.size(), static_cast<std::size_t>(DEFINITIONS));
        ASSERT_NE(oldDefinitions, newDefinitions);
    }

    // At a random step of the second half, or not at all.
    void killInstallation(const std::string& source, std::mt19937* random) const {
        const std::size_t half = steps / 2;
        const std::size_t step = half + (*random)() % (half + half / 4);
        run({"install", "$T/" + source, "--allow-overwrite"}, faultAt("kill", static_cast<long>(step)));
        if (isInterrupted()) {
            EXPECT_EQ(run((*random)() % 2 == 0 ? std::vector<std::string>{"recover"}
                                               : std::vector<std::string>{"recover", "--forward"})
                          .status,
                      0);
        }
    }

    const long installations = chosen({200, 20, 4});
    std::size_t steps = 0;

    /// Runs beside the reader, and ends with success when nothing unexpected has happened.
    pid_t startKilling() const {
        std::fflush(nullptr);
        const pid_t killer = fork();
        if (killer != 0)
            return killer;
        try {
            const Subreaper parent;
            std::mt19937 random(SEED);
            for (long kills = 0; kills < installations && !HasFailure(); ++kills)
                killInstallation(kills % 2 == 0 ? "second" : "first", &random);
        } catch (const std::exception& failure) {
            ADD_FAILURE() << failure.what();
        }
        std::fflush(nullptr);
        _exit(HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }

    void readAll(Counts* counts) const {
        const Definitions found = readDefinitions(place + "/custom");
        for (const auto& [name, earlier] : oldDefinitions) {
            ++counts->reads;
            const auto at = found.find(name);
            const Definition read = at == found.end() ? Definition{"not listed", ""} : at->second;
            const Definition& later = newDefinitions.at(name);
            const bool isPair = read == earlier || read == later;
            const bool isWhole = (read.document == earlier.document || read.document == later.document) &&
                                 (read.decoder == earlier.decoder || read.decoder == later.decoder);
            counts->mixed += isWhole && !isPair ? 1 : 0;
            counts->newer += read == later ? 1 : 0;
            if (!isWhole && counts->torn++ == 0)
                ADD_FAILURE() << name << ": " << read.document << read.decoder;
        }
    }
};

TEST_P(Reader, findsEveryDefinitionWhole) {
    Counts counts;
    const pid_t killer = startKilling();
    int status = 0;
    while (waitpid(killer, &status, WNOHANG) == 0)
        readAll(&counts);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS);
    EXPECT_EQ(counts.torn, 0);
    EXPECT_GT(counts.newer, 0);
    EXPECT_LT(counts.newer, counts.reads);
    std::printf("%ld installations with a kill; %ld reads, %ld of them torn, %ld with the decoder of the other state\n",
                installations, counts.reads, counts.torn, counts.mixed);
}

INSTANTIATE_TEST_SUITE_P(Tool, Reader, ::testing::Values(Way::EXCHANGE, Way::IN_PLACE), [](const auto& row) {
    return row.param == Way::EXCHANGE ? "whileStoragesAreExchanged" : "whileFilesAreReplaced";
});

} // namespace
