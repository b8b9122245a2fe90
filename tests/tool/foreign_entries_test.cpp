// A storage of an account into which other users have put files of their own.

#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "row_name.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>

namespace {

using namespace Kelvra::SCADA::Test;

class ForeignEntries : public ToolTest {
protected:
    ForeignEntries() {
        chmod(temp.path().c_str(), 0755);
        // A process that has changed its user cannot be traced, not even by the search for leaks.
        setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
        StorageBuilder storage(temp / "account/custom");
        addDefinition(storage, "lora/demo/kept");
        addDefinition(storage, "lora/demo/old");
        giveToAccount("");
        for (const std::string& entry : treeOf(temp / "account"))
            giveToAccount(entry);
        StorageBuilder source(temp / "source");
        addDefinition(source, "lora/new/one");
    }
    ~ForeignEntries() override {
        unsetenv("LSAN_OPTIONS");
        unsetenv("LD_LIBRARY_PATH");
        unsetenv("SCADA_TEST_NO_EXCHANGE");
    }

    static void workInPlace() {
        setenv("LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR, 1);
        setenv("SCADA_TEST_NO_EXCHANGE", "1", 1);
    }
    void giveToAccount(const std::string& entry) const {
        EXPECT_EQ(lchown((temp / ("account/" + entry)).c_str(), ACCOUNT, ACCOUNT), 0);
    }
    ToolRun runThere(std::vector<std::string> arguments) const {
        const std::vector<std::string> options = {"--custom-dir", temp / "account/custom", "--staging-dir",
                                                  temp / "account/staging"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }

    static constexpr uid_t ACCOUNT = 1;
};

// The kernel lets anyone who may read and write a file give it a second name, but only its owner change its mode.
TEST_F(ForeignEntries, thatMayBeWrittenStayAsTheyAreInPlace) {
    workInPlace();
    const std::string notes = temp / "account/custom/notes";
    writeFile(notes, "root's");
    chmod(notes.c_str(), 0666);
    const ToolRun installation = runThere({"install", temp / "source"});
    EXPECT_EQ(installation.out, "installed lora/new/one\n") << installation.err;
    EXPECT_EQ(runThere({"remove", "lora/demo/old"}).status, 0);
    std::filesystem::remove(notes);
    EXPECT_EQ(runThere({"rollback"}).out, "restored lora/demo/old\n");
    EXPECT_EQ(runThere({"recover"}).out, "nothing to recover\n");
    struct stat status {};
    ASSERT_EQ(lstat(notes.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
}

struct EntryRow : NamedRow {
    std::function<void(const std::string& path)> plant;
    std::string reason;
};

std::function<void(const std::string&)> fileOfMode(mode_t mode) {
    return [mode](const std::string& path) {
        writeFile(path, "");
        chmod(path.c_str(), mode);
    };
}

constexpr const char* OF_ROOT = "it belongs to the user [root]";

class UncopiableEntry : public ForeignEntries, public ::testing::WithParamInterface<EntryRow> {
protected:
    std::string entry() const { return temp / "account/custom/entry"; }
    static std::string finding() {
        return withRemedies("$T/account/custom/entry: error: The entry cannot be copied: " + GetParam().reason +
                            ". [install/cannot-copy]\n");
    }
};

TEST_P(UncopiableEntry, refusesWhatWouldCopyIt) {
    ASSERT_EQ(runThere({"install", temp / "source"}).status, 0);
    ASSERT_EQ(runThere({"remove", "lora/demo/old"}).status, 0);
    GetParam().plant(entry());
    const auto before = snapshot(temp / "account");
    const ToolRun installation = runThere({"install", temp / "source", "--allow-overwrite"});
    const ToolRun removal = runThere({"remove", "lora/demo/kept"});
    EXPECT_EQ(installation.status, 0) << "nothing changes";
    EXPECT_EQ(removal.status, 5);
    EXPECT_EQ(removal.err, finding());
    EXPECT_EQ(removal.out, "");
    addDefinition(custom, "lora/new/two");
    const ToolRun refused = runThere({"install", temp / "custom"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(refused.out, finding());
    EXPECT_EQ(snapshot(temp / "account"), before);
}

// It is then in the former generation.
TEST_P(UncopiableEntry, goesWithAllOthers) {
    GetParam().plant(entry());
    const ToolRun removal = runThere({"remove", "--all", "--yes"});
    EXPECT_EQ(removal.status, 0) << removal.err;
    EXPECT_EQ(removal.out, "removed lora/demo/kept\nremoved lora/demo/old\n");
    EXPECT_EQ(treeOf(temp / "account/custom"), std::set<std::string>{});
    const ToolRun back = runThere({"rollback"});
    EXPECT_EQ(back.status, 5);
    EXPECT_EQ(back.err, replaced(finding(), "custom/entry", "custom.generations/previous/entry"));
    EXPECT_EQ(runThere({"install", temp / "source"}).out, "installed lora/new/one\n");
    EXPECT_EQ(runThere({"remove", "lora/new/one"}).out, "removed lora/new/one\n");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, UncopiableEntry,
    ::testing::Values(EntryRow{"file_that_may_be_read_only", fileOfMode(0644), OF_ROOT},
                      EntryRow{"setuid_file", fileOfMode(04666), OF_ROOT},
                      EntryRow{"setgid_program", fileOfMode(02676), OF_ROOT},
                      EntryRow{"link_to_what_may_be_written",
                               [](const std::string& path) { makeLink("lora/demo/kept.js", path); }, OF_ROOT},
                      EntryRow{"fifo",
                               [](const std::string& path) {
                                   makeFifo(path);
                                   chmod(path.c_str(), 0666);
                               },
                               OF_ROOT},
                      EntryRow{"directory", [](const std::string& path) { makeDir(path); }, OF_ROOT},
                      EntryRow{"own_directory_of_mode_0",
                               [](const std::string& path) {
                                   makeDir(path);
                                   chmod(path.c_str(), 0);
                                   EXPECT_EQ(chown(path.c_str(), 1, 1), 0);
                               },
                               "it cannot be read"}),
    rowName);

// Only root can empty the directory.
TEST_F(ForeignEntries, thatKeepAGenerationFromBeingRemovedGoWithALaterOne) {
    writeFile(temp / "account/custom/theirs/file", "");
    ASSERT_EQ(runThere({"remove", "--all", "--yes"}).status, 0);
    const ToolRun installation = runThere({"install", temp / "source"});
    EXPECT_EQ(installation.status, 0);
    EXPECT_EQ(installation.err, "");
    const std::string left = temp / "account/custom.generations/discarded-1";
    EXPECT_EQ(treeOf(left), (std::set<std::string>{"theirs", "theirs/file"}));
    EXPECT_EQ(runThere({"recover"}).out, "nothing to recover\n");
    giveToAccount("custom.generations/discarded-1/theirs");
    EXPECT_EQ(runThere({"remove", "lora/new/one"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(left));
}

TEST_F(ForeignEntries, thatCanBeLinkedAreNoObstacle) {
    for (const mode_t mode : {0666U, 02666U}) {
        writeFile(temp / "account/custom/notes", "");
        chmod((temp / "account/custom/notes").c_str(), mode);
        EXPECT_EQ(runThere({"install", temp / "source"}).out, "installed lora/new/one\n");
        EXPECT_EQ(runThere({"remove", "lora/new/one"}).status, 0);
    }
}

} // namespace
