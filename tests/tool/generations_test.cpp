// Operations make generations of the custom storage, replace the storage with them, can restore them, and keep a
// history.

#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "mount_privately.h"
#include "row_name.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;

using Snapshot = std::map<std::string, std::string>;

/// The way in which the next generation replaces the storage.
enum class Way { EXCHANGED, IN_PLACE, IN_A_MOUNT };

struct WayRow : NamedRow {
    Way way;
};

std::vector<WayRow> ways() {
    std::vector<WayRow> rows = {{"exchanged", Way::EXCHANGED}, {"in_place", Way::IN_PLACE}};
    if (canMount())
        rows.push_back({"in_a_mount", Way::IN_A_MOUNT});
    return rows;
}

class Generations : public ToolTest, public ::testing::WithParamInterface<WayRow> {
protected:
    Generations() : source(temp / "source") {}
    void SetUp() override {
        if (GetParam().way == Way::IN_A_MOUNT) {
            ASSERT_TRUE(mountPrivately(temp / "custom", "size=1M"));
        }
        if (GetParam().way == Way::IN_PLACE) {
            setenv("LD_LIBRARY_PATH", SCADA_PATH_PROVIDER_DIR, 1);
            setenv("SCADA_TEST_NO_EXCHANGE", "1", 1);
        }
        addDefinition(custom, "lora/demo/kept");
        addDefinition(custom, "lora/demo/old");
        makeLink("kept.js", temp / "custom/lora/demo/link.js");
        addDefinition(source, "lora/demo/old", "Water");
        addDefinition(source, "lora/new/one");
    }
    void TearDown() override {
        unsetenv("SCADA_TEST_NO_EXCHANGE");
        unsetenv("LD_LIBRARY_PATH");
        if (GetParam().way == Way::IN_A_MOUNT)
            umount((temp / "custom").c_str());
    }

    ToolRun install() const { return run({"install", temp / "source", "--allow-overwrite"}); }
    // Leaves out the lock file that a mounted storage contains.
    Snapshot now() const {
        Snapshot entries = snapshot(temp / "custom");
        entries.erase(".scada-sensors.lock");
        return entries;
    }
    Snapshot previous() const { return snapshot(temp / "custom.generations/previous"); }

    void expectNothingLeft() const {
        for (const auto& [entry, content] : snapshot(temp / "custom.generations")) {
            const bool stays = entry == "history" || entry.substr(0, 8) == "previous";
            EXPECT_TRUE(stays) << entry;
        }
    }

    StorageBuilder source;
};

TEST_P(Generations, keepTheFormerOne) {
    const Snapshot before = now();
    ASSERT_EQ(install().out, "installed lora/demo/old\ninstalled lora/new/one\n");
    EXPECT_EQ(previous(), before);
    const Snapshot installed = now();
    EXPECT_NE(installed, before);
    ASSERT_EQ(run({"remove", "lora/demo/kept"}).status, 0);
    EXPECT_EQ(previous(), installed);
    expectNothingLeft();
}

TEST_P(Generations, areReturnedToByTheByte) {
    const Snapshot before = now();
    ASSERT_EQ(install().status, 0);
    const Snapshot after = now();
    const ToolRun back = run({"rollback"});
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(back.out, "restored lora/demo/old\nremoved lora/new/one\n");
    EXPECT_EQ(now(), before);
    EXPECT_EQ(run({"rollback"}).out, "restored lora/demo/old\nrestored lora/new/one\n");
    EXPECT_EQ(now(), after);
    expectNothingLeft();
}

TEST_P(Generations, areReturnedToAfterEverythingWasRemoved) {
    const Snapshot before = now();
    ASSERT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    EXPECT_EQ(now(), Snapshot());
    ASSERT_EQ(run({"rollback"}).status, 0);
    EXPECT_EQ(now(), before);
}

// Another generation would replace the one to restore.
TEST_P(Generations, areNotMadeWhereNothingChanges) {
    const Snapshot before = now();
    ASSERT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    const ToolRun again = run({"remove", "--all", "--yes"});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "");
    EXPECT_EQ(run({"remove", "lora/demo/old"}).status, 4);
    EXPECT_EQ(parsed(run({"history", "--json"}).out)["result"]["operations"].size(), 1U);
    ASSERT_EQ(run({"rollback"}).status, 0);
    EXPECT_EQ(now(), before);
}

TEST_P(Generations, areAnsweredToPrograms) {
    ASSERT_EQ(install().status, 0);
    const Json::Value answer = parsed(run({"rollback", "--json"}).out);
    EXPECT_EQ(answer["code"], "done");
    EXPECT_EQ(answer["result"], parsed(R"({"restored": ["lora/demo/old"], "removed": ["lora/new/one"]})"));
}

TEST_P(Generations, keepWhatIsNotTouchedAsTheSameFile) {
    const auto statusOf = [this](const std::string& entry) {
        struct stat status {};
        EXPECT_EQ(lstat((temp / entry).c_str(), &status), 0) << entry;
        return status;
    };
    const struct stat before = statusOf("custom/lora/demo/kept.json");
    ASSERT_EQ(install().status, 0);
    const struct stat after = statusOf("custom/lora/demo/kept.json");
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    const auto isShared = [&statusOf](const std::string& entry) {
        const struct stat now = statusOf("custom/" + entry);
        const struct stat previous = statusOf("custom.generations/previous/" + entry);
        return now.st_ino == previous.st_ino && now.st_dev == previous.st_dev;
    };
    // A mounted storage shares no file with its neighbours outside.
    EXPECT_EQ(isShared("lora/demo/kept.json"), GetParam().way != Way::IN_A_MOUNT);
    EXPECT_FALSE(isShared("lora/demo/old.json"));
}

// The storage belongs to one user, and a file in it to another.
TEST_P(Generations, keepTheOwnersOfFiles) {
    static constexpr uid_t OWNER = 4711;
    static constexpr gid_t GROUP = 4712;
    for (const char* entry : {"custom/lora/demo/kept.js", "custom/lora/demo/kept.json"})
        ASSERT_EQ(chown((temp / entry).c_str(), OWNER, GROUP), 0);
    ASSERT_EQ(lchown((temp / "custom/lora/demo/link.js").c_str(), OWNER, GROUP), 0);
    const auto expectOwned = [this](const std::string& generation) {
        for (const char* entry : {"/lora/demo/kept.js", "/lora/demo/kept.json", "/lora/demo/link.js"}) {
            struct stat status {};
            EXPECT_EQ(lstat((temp / generation + entry).c_str(), &status), 0);
            EXPECT_EQ(status.st_uid, OWNER) << generation << entry;
            EXPECT_EQ(status.st_gid, GROUP) << generation << entry;
        }
    };
    ASSERT_EQ(install().status, 0);
    expectOwned("custom");
    expectOwned("custom.generations/previous");
    ASSERT_EQ(run({"remove", "--all", "--yes"}).status, 0);
    ASSERT_EQ(run({"rollback"}).status, 0);
    expectOwned("custom");
}

// A storage in a mount is copied with all its files; elsewhere only its directories are, and a file stays the same
// file.
TEST_P(Generations, keepOwnersModesAndAttributes) {
    struct Kept {
        const char* entry;
        mode_t mode;
        char note;
    };
    static constexpr Kept ROWS[] = {{"", 02750, 'a'}, {"/lora/demo", 0711, 'b'}, {"/lora/demo/kept.js", 0640, 'c'}};
    // A tmpfs supports attributes of users since Linux 6.6; older ones support only root's.
    const bool takesUsers = setxattr((temp / "custom").c_str(), "user.note", "", 0, 0) == 0;
    const char* const name = takesUsers ? "user.note" : "trusted.note";
    for (const auto& [entry, mode, note] : ROWS) {
        const std::string path = temp / "custom" + entry;
        ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
        ASSERT_EQ(setxattr(path.c_str(), name, &note, 1, 0), 0)
            << path << ": " << std::strerror(errno) << "; TMPDIR must be on a file system that has " << name;
    }
    ASSERT_EQ(install().status, 0);
    for (const char* generation : {"custom", "custom.generations/previous"}) {
        for (const auto& [entry, mode, note] : ROWS) {
            const std::string path = temp / generation + entry;
            struct stat status {};
            EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
            EXPECT_EQ(status.st_mode & 07777U, mode) << path;
            char value = '\0';
            EXPECT_EQ(getxattr(path.c_str(), name, &value, 1), 1) << path;
            EXPECT_EQ(value, note) << path;
        }
    }
}

TEST_P(Generations, areWrittenDown) {
    ASSERT_EQ(install().status, 0);
    ASSERT_EQ(run({"remove", "lora/new/one"}).status, 0);
    ASSERT_EQ(run({"rollback"}).status, 0);
    const Json::Value operations = parsed(run({"history", "--json"}).out)["result"]["operations"];
    ASSERT_EQ(operations.size(), 3U);
    std::string words;
    for (const Json::Value& operation : operations) {
        words += operation["number"].asString() + " " + operation["operation"].asString();
        EXPECT_EQ(operation["time"].asString().size(), std::string("2030-01-31T12:00:00Z").size());
        EXPECT_NE(operation["user"].asString(), "");
        for (const Json::Value& change : operation["definitions"]) {
            words += " " + change["change"].asString() + " " + change["name"].asString();
            EXPECT_EQ(change["content"].asString().size(), 64U);
        }
        words += "\n";
    }
    EXPECT_EQ(words, "1 install installed lora/demo/old installed lora/new/one\n"
                     "2 remove removed lora/new/one\n3 rollback restored lora/new/one\n");
    // The restored content is the removed one.
    EXPECT_EQ(operations[0U]["definitions"][1U]["content"], operations[2U]["definitions"][0U]["content"]);
}

TEST_P(Generations, areNamedInTheHistory) {
    ASSERT_EQ(run({"remove", "lora/demo/old"}).status, 0);
    const std::string text = run({"history"}).out;
    EXPECT_EQ(text.substr(0, 3), "1  ");
    EXPECT_NE(text.find("  remove  1 definition\n    removed lora/demo/old "), std::string::npos) << text;
}

TEST_P(Generations, haveNothingToRecover) {
    EXPECT_EQ(run({"recover"}).out, "nothing to recover\n");
    ASSERT_EQ(install().status, 0);
    EXPECT_EQ(run({"recover", "--forward"}).out, "nothing to recover\n");
}

INSTANTIATE_TEST_SUITE_P(Tool, Generations, ::testing::ValuesIn(ways()), rowName);

class Recovery : public ToolTest {
protected:
    Recovery() {
        addDefinition(custom, "lora/demo/a");
        const StorageBuilder changed(temp / "changed");
        StorageBuilder(changed).definition("lora/demo/b", "{}");
    }
    void plant(const std::string& entry, const std::string& copied) const {
        std::filesystem::create_directories(temp / "custom.generations");
        std::filesystem::copy(temp / copied, temp / ("custom.generations/" + entry),
                              std::filesystem::copy_options::recursive);
    }
    void writeJournal() const {
        writeFile(temp / "custom.generations/interrupted",
                  R"({"operation":"install","definitions":[],"time":"2030-01-31T12:00:00Z","user":"root"})");
    }
    std::set<std::string> leftBeside() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(temp / "custom.generations"))
            names.insert(entry.path().filename().string());
        return names;
    }
};

TEST_F(Recovery, removesWhatAKilledOperationLeft) {
    const auto before = snapshot(temp / "custom");
    plant("work-a1B2c3", "changed");
    chmod((temp / "custom.generations/work-a1B2c3").c_str(), 0700);
    plant("next", "changed");
    plant("discarded", "changed");
    const ToolRun result = run({"recover"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "an operation had changed nothing; what it left has been removed\n");
    EXPECT_EQ(snapshot(temp / "custom"), before);
    EXPECT_EQ(leftBeside(), std::set<std::string>{});
}

TEST_F(Recovery, finishesWhatWasPutInPlace) {
    plant("previous", "default");
    plant("next", "changed");
    const auto former = snapshot(temp / "changed");
    writeFile(temp / "custom/.new-generation",
              R"({"operation":"remove","definitions":[],"time":"2030-01-31T12:00:00Z","user":"root"})");
    const ToolRun result = run({"recover", "--json"});
    EXPECT_EQ(parsed(result.out)["result"]["recovery"], "finished");
    EXPECT_EQ(snapshot(temp / "custom.generations/previous"), former);
    EXPECT_EQ(leftBeside(), (std::set<std::string>{"history", "previous"}));
    EXPECT_FALSE(std::filesystem::exists(temp / "custom/.new-generation"));
    EXPECT_EQ(run({"history"}).out, "1  2030-01-31T12:00:00Z  root  remove  0 definitions\n");
}

TEST_F(Recovery, finishesWhatWasPutInPlaceWithoutFormerGenerations) {
    writeFile(temp / "custom/.new-generation", "");
    EXPECT_EQ(run({"recover"}).out, "an operation had put its state in place and has been finished\n");
    EXPECT_FALSE(std::filesystem::exists(temp / "custom/.new-generation"));
}

TEST_F(Recovery, undoesWhatWasWrittenInPlace) {
    plant("saved", "changed");
    plant("next", "default");
    writeJournal();
    const ToolRun refused = run({"remove", "lora/demo/a"});
    EXPECT_EQ(refused.status, 5);
    EXPECT_EQ(refused.err, "scada-sensors: an operation was interrupted; run: scada-sensors recover\n");
    EXPECT_EQ(run({"rollback"}).status, 5);
    EXPECT_EQ(run({"recover"}).out, "the interrupted operation has been undone\n");
    EXPECT_EQ(snapshot(temp / "custom"), snapshot(temp / "changed"));
    EXPECT_EQ(leftBeside(), std::set<std::string>{"history"});
}

TEST_F(Recovery, completesWhatWasWrittenInPlace) {
    plant("saved", "default");
    plant("next", "changed");
    writeJournal();
    EXPECT_EQ(run({"recover", "--forward"}).out, "the interrupted operation has been completed\n");
    EXPECT_EQ(snapshot(temp / "custom"), snapshot(temp / "changed"));
    EXPECT_EQ(leftBeside(), (std::set<std::string>{"history", "previous"}));
}

// The operation was killed when the state before it had already become the previous generation.
TEST_F(Recovery, returnsThePreviousGenerationToItsPlace) {
    plant("previous", "changed");
    plant("superseded", "default");
    plant("discarded-1", "changed");
    plant("next", "default");
    writeFile(temp / "custom.generations/superseded/marker", "");
    writeJournal();
    EXPECT_EQ(run({"recover"}).out, "the interrupted operation has been undone\n");
    EXPECT_EQ(snapshot(temp / "custom"), snapshot(temp / "changed"));
    EXPECT_EQ(treeOf(temp / "custom.generations/previous"), std::set<std::string>{"marker"});
    EXPECT_EQ(leftBeside(), (std::set<std::string>{"history", "previous"}));
}

// A file in it was protected before, and is not any more.
TEST_F(Recovery, removesWhatCouldNotBeRemovedBefore) {
    plant("discarded-1", "changed");
    plant("discarded-2", "default");
    ASSERT_EQ(run({"remove", "lora/demo/a"}).status, 0);
    EXPECT_EQ(leftBeside(), (std::set<std::string>{"history", "previous"}));
}

TEST_F(Recovery, hasNoPreviousGenerationAtFirst) {
    const ToolRun result = run({"rollback"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "scada-sensors: there is no previous generation\n");
    EXPECT_EQ(run({"history"}).out, "no operations\n");
}

// A misspelt path has nothing that an operation could have left.
TEST_F(Recovery, makesNothingWhereThereIsNoStorage) {
    const auto before = treeOf(temp.path());
    const std::vector<std::string> there = {"--custom-dir", temp / "none/custom", "--staging-dir",
                                            temp / "none/staging"};
    const auto runThere = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), there.begin(), there.end());
        return run(arguments);
    };
    const ToolRun recovery = runThere({"recover"});
    EXPECT_EQ(recovery.status, 0);
    EXPECT_EQ(recovery.out, "nothing to recover\n");
    const ToolRun back = runThere({"rollback"});
    EXPECT_EQ(back.status, 4);
    EXPECT_EQ(back.err, "scada-sensors: there is no previous generation\n");
    const ToolRun removal = runThere({"remove", "lora/demo/a"});
    EXPECT_EQ(removal.status, 4);
    EXPECT_EQ(removal.out, "not removed lora/demo/a: Sensor definition [lora/demo/a] not found.\n");
    EXPECT_EQ(removal.err, "scada-sensors: 1 definition not removed\n");
    EXPECT_EQ(runThere({"remove", "--all", "--yes"}).status, 0);
    EXPECT_EQ(treeOf(temp.path()), before);
}

TEST_F(Recovery, readsNoLineOfTheHistoryThatIsTorn) {
    writeFile(temp / "custom.generations/history", "{\"number\":7,\"operation\":\"install\"}\n{\"num\n[]\n");
    ASSERT_EQ(run({"remove", "lora/demo/a"}).status, 0);
    const Json::Value operations = parsed(run({"history", "--json"}).out)["result"]["operations"];
    ASSERT_EQ(operations.size(), 2U);
    EXPECT_EQ(operations[1U]["number"], 8);
}

class Export : public ToolTest {
protected:
    Export() {
        addDefinition(custom, "lora/demo/a");
        addDefinition(custom, "lora/demo/b");
        writeList({GOOD_SENSOR});
    }
    std::string exported(const std::string& name) const {
        const ToolRun result = run({"export", temp / name});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "");
        return readFile(temp / name);
    }
};

TEST_F(Export, hasTheSameBytesForTheSameContent) {
    const std::string first = exported("first.tar.gz");
    std::filesystem::rename(temp / "custom", temp / "moved");
    std::filesystem::copy(temp / "moved", temp / "custom", std::filesystem::copy_options::recursive);
    chmod((temp / "custom/lora/demo/a.json").c_str(), 0600);
    EXPECT_TRUE(exported("second.tar.gz") == first);
    addDefinition(custom, "lora/demo/a", "Water");
    EXPECT_FALSE(exported("second.tar.gz") == first);
}

TEST_F(Export, isTakenBackByAnInstallation) {
    ASSERT_EQ(run({"install", temp / "custom", "--custom-dir", temp / "installed"}).status, 0);
    const auto wanted = snapshot(temp / "installed");
    ASSERT_EQ(run({"export", temp / "all.tar.gz", "--custom-dir", temp / "installed"}).status, 0);
    const ToolRun result = run({"install", temp / "all.tar.gz", "--custom-dir", temp / "restored"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              withRemedies("$T/all.tar.gz/managed-sensors-list: note: The managed-sensors list of the source "
                           "is left out. [source/list-left]\n") +
                  "installed lora/demo/a\ninstalled lora/demo/b\n");
    EXPECT_EQ(snapshot(temp / "restored"), wanted);
}

TEST_F(Export, leavesOutNoListThatCannotBeRead) {
    std::filesystem::remove(temp / "list.json");
    makeLink("nowhere", temp / "list.json");
    EXPECT_EQ(run({"export", temp / "all.tar.gz"}).status, 1);
    std::filesystem::remove(temp / "list.json");
    writeFile(temp / "custom/managed-sensors-list", "");
    EXPECT_THAT(run({"export", temp / "all.tar.gz"}).err,
                ::testing::HasSubstr("has the name that the list gets in an archive; move it away"));
    EXPECT_FALSE(std::filesystem::exists(temp / "all.tar.gz"));
}

TEST_F(Export, goesToStandardOutputToo) {
    const std::string file = exported("all.tar.gz");
    EXPECT_EQ(run({"export", "-"}, temp / "out").status, 0);
    EXPECT_TRUE(readFile(temp / "out") == file);
    const ToolRun refused = run({"export", "-", "--json"});
    EXPECT_EQ(refused.status, 2);
}

TEST_F(Export, leavesTheFileAloneWhenItFails) {
    writeFile(temp / "all.tar.gz", "former");
    chmod((temp / "custom/lora/demo/a.json").c_str(), 0);
    const ToolRun result = run({"export", temp / "all.tar.gz"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("lora/demo/a.json]: Permission denied"), std::string::npos) << result.err;
    EXPECT_EQ(readFile(temp / "all.tar.gz"), "former");
    EXPECT_EQ(run({"export", temp / "none/all.tar.gz"}).err,
              "scada-sensors: cannot write the archive [$T/none/all.tar.gz]: No such file or directory\n");
}

} // namespace
