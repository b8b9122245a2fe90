// A host reads all definitions while installations are made and killed.

#include "FaultTest.h"
#include "StorageBuilder.h"
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

constexpr int DEFINITIONS = 4;
constexpr int READER_ATTEMPTS = 4; // per kill

class ReaderMeanwhile : public FaultTest, public ::testing::WithParamInterface<Way> {
protected:
    struct Counts {
        long reads = 0;
        long torn = 0;
        long mixed = 0; ///< the document of one state with the decoder of the other
        int newer = 0;
    };

    /// Makes a storage, and next to it the two states between which it alternates.
    void SetUp() override {
        for (const char* title : {"first", "second"}) {
            for (int number = 0; number < DEFINITIONS; ++number)
                addDefinition(temp / title, "lora/demo/d" + std::to_string(number), title,
                              std::string("// decodes ") + title + "\n");
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

    bool isSecond() const { return readDefinitions(place + "/custom") == newDefinitions; }

    /// Installs, kills the installation at a random step of its second half, and lets the tool repair the storage.
    /// Steps after the last one clear up after an earlier killed installation. Returns whether it was killed before its
    /// end.
    bool killInstallation(const std::string& source, std::mt19937* random) const {
        const std::size_t half = steps / 2;
        const std::size_t step = half + (*random)() % (half + half / 2);
        const ToolRun installation =
            run({"install", "$T/" + source, "--allow-overwrite"}, faultAt("kill", static_cast<long>(step)));
        EXPECT_TRUE(installation.status == KILLED || installation.status == 0)
            << installation.status << ": " << installation.err;
        if (isInterrupted()) {
            EXPECT_EQ(run((*random)() % 2 == 0 ? std::vector<std::string>{"recover"}
                                               : std::vector<std::string>{"recover", "--forward"})
                          .status,
                      0);
        }
        return installation.status == KILLED;
    }

    // Installs the state that is not present: an installation of the present one has no step at which to kill it.
    void killInstallations() const {
        const Subreaper parent;
        std::mt19937 random(SEED);
        long kills = 0;
        long made = 0;
        for (; kills < wanted && made < READER_ATTEMPTS * wanted && !HasFailure(); ++made)
            kills += killInstallation(isSecond() ? "first" : "second", &random) ? 1 : 0;
        EXPECT_EQ(kills, wanted) << "of " << made << " installations";
        writeFile(temp / "kills", std::to_string(kills) + " of " + std::to_string(made));
    }

    const long wanted = chosen({200, 10, 4}); ///< installations that are killed
    std::size_t steps = 0;

    /// Starts the kills in a process parallel to the reader. It ends with success if nothing unexpected has happened.
    pid_t startKilling() const {
        std::fflush(nullptr);
        const pid_t killer = fork();
        if (killer != 0)
            return killer;
        try {
            killInstallations();
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

TEST_P(ReaderMeanwhile, findsEveryDefinitionWhole) {
    Counts counts;
    const pid_t killer = startKilling();
    int status = 0;
    while (waitpid(killer, &status, WNOHANG) == 0)
        readAll(&counts);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS);
    EXPECT_EQ(counts.torn, 0);
    EXPECT_GT(counts.newer, 0);
    EXPECT_LT(counts.newer, counts.reads);
    std::printf("%s installations killed; %ld reads, %ld of them torn, %ld with the decoder of the other state\n",
                readFile(temp / "kills").c_str(), counts.reads, counts.torn, counts.mixed);
}

INSTANTIATE_TEST_SUITE_P(Tool, ReaderMeanwhile, ::testing::Values(Way::EXCHANGE, Way::IN_PLACE), [](const auto& row) {
    return row.param == Way::EXCHANGE ? "while_storages_are_exchanged" : "while_files_are_replaced";
});

} // namespace
