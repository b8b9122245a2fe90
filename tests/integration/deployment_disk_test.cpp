// Storages without room, and storages that cannot be written.

#include "InstallationTest.h"
#include "NamedRow.h"
#include "mount_privately.h"
#include "row_name.h"
#include "unprivileged.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

constexpr const char* BROKEN_NEW = "Invalid syntax of the sensor definition [lora/acme/new].";
constexpr const char* BROKEN_OLD = "Invalid syntax of the sensor definition [lora/acme/old].";
constexpr const char* NO_DIRECTORY = "Failed to create a directory while importing [lora/acme/new] definition.";
constexpr const char* NOT_SAVED = "File saving error while importing [lora/acme/new] definition.";
constexpr const char* NO_DECODER = "File copying error while importing decoder for the [lora/acme/new] definition.";

// A file system of one page or of a few inodes, and the result of an installation into it.
struct SmallDisk : NamedRow {
    bool isStaging;
    const char* options;
    std::size_t filler; // bytes in use before
    const char* text;
    Snapshot custom; // if it is the small one; the root takes an inode, the first definition two directories
};

const std::vector<SmallDisk>& smallDisks() {
    static const Snapshot directories{{"lora", ""}, {"lora/acme", ""}};
    const auto with = [](Snapshot files) {
        files.insert(directories.begin(), directories.end());
        return files;
    };
    static const std::string document = writtenDocument("new-decoder");
    static const std::string decoder = decoderTextOf(ACME_NEW);
    static const std::vector<SmallDisk> rows{
        {"no_inode", false, "nr_inodes=1", 0, NO_DIRECTORY, {}},
        {"inode_for_one_directory", false, "nr_inodes=2", 0, NO_DIRECTORY, {{"lora", ""}}},
        {"no_inode_for_the_definition", false, "nr_inodes=3", 0, NOT_SAVED, directories},
        {"no_inode_for_the_decoder", false, "nr_inodes=4", 0, NO_DECODER, with({{"lora/acme/new.json", document}})},
        {"no_inode_for_the_second", false, "nr_inodes=5", 0,
         "File saving error while importing [lora/acme/old] definition.",
         with({{"lora/acme/new.json", document}, {"lora/acme/new-decoder", decoder}})},
        {"no_byte", false, "size=4k", 4096, BROKEN_NEW,
         with({{"lora/acme/new.json", ""}, {"lora/acme/new-decoder", ""}})},
        {"one_page", false, "size=4k", 0, BROKEN_OLD,
         with({{"lora/acme/new.json", document},
               {"lora/acme/new-decoder", ""},
               {"lora/acme/old.json", ""},
               {"lora/acme/old-decoder", ""}})},
        {"staging_without_inode", true, "nr_inodes=1", 0, NO_DIRECTORY, {}},
        {"staging_without_inode_for_the_definition", true, "nr_inodes=3", 0, NOT_SAVED, {}},
        {"staging_without_byte", true, "size=4k", 4096, BROKEN_NEW, {}},
    };
    return rows;
}

class FullDisk : public InstallationTest {
protected:
    static void limitFileSize(rlim_t bytes) {
        const rlimit files{bytes, bytes};
        const rlimit cores{0, 0};
        EXPECT_EQ(setrlimit(RLIMIT_CORE, &cores), 0);
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &files), 0);
        EXPECT_NE(std::signal(SIGXFSZ, SIG_IGN), SIG_ERR);
    }

    bool failUnderFileSizeLimit() {
        limitFileSize(10);
        EXPECT_FALSE(deploy());
        EXPECT_EQ(error, BROKEN_NEW);
        EXPECT_EQ(snapshot(custom), before);
        EXPECT_EQ(snapshot(staging), Snapshot());
        return true;
    }

    bool failOn(const SmallDisk& disk) {
        const std::string place = disk.isStaging ? staging : custom;
        if (!mountPrivately(place, disk.options))
            return false;
        const std::string filler = place + "/.filler";
        if (disk.filler != 0)
            writeFile(filler, std::string(disk.filler, 'x'));
        EXPECT_FALSE(deploy());
        EXPECT_EQ(error, disk.text);
        removeTree(filler);
        EXPECT_EQ(snapshot(custom), disk.isStaging ? before : disk.custom);
        EXPECT_EQ(snapshot(staging), Snapshot());
        return true;
    }
};

class SmallFileSystem : public FullDisk, public ::testing::WithParamInterface<SmallDisk> {};
INSTANTIATE_TEST_SUITE_P(Disks, SmallFileSystem, ::testing::ValuesIn(whereMountable(smallDisks())), rowName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SmallFileSystem);

TEST_P(SmallFileSystem, isRefusedAndTheNextInstallationSucceeds) {
    EXPECT_TRUE(endsWell(startChild([this] { return failOn(GetParam()); })));
    expectNextInstallationToSucceed();
}

TEST_F(FullDisk, fileSizeLimit) {
    EXPECT_TRUE(endsWell(startChild([this] { return failUnderFileSizeLimit(); })));
    expectNextInstallationToSucceed();
}

// Only the definition is read back; the decoder only has to exist.
TEST_F(FullDisk, decoderCutByAFileSizeLimitIsInstalled) {
    const std::string decoder(5000, 'd');
    writeFile(source + "/lora/acme/new.js", decoder);
    EXPECT_TRUE(endsWell(startChild([&] {
        limitFileSize(1000);
        installed["lora/acme/new-decoder"] = decoder.substr(0, 1000);
        EXPECT_TRUE(deploy());
        EXPECT_EQ(error, UNTOUCHED);
        EXPECT_EQ(snapshot(custom), installed);
        return true;
    })));
    installed["lora/acme/new-decoder"] = decoder;
    expectNextInstallationToSucceed();
}

// Permissions

struct ReadOnly : NamedRow {
    std::vector<std::string> made;   // definitions in the custom storage before the installation
    std::vector<std::string> locked; // paths below the temporary directory that cannot be written
    const char* text;                // UNTOUCHED if the installation succeeds nevertheless
};

const std::vector<ReadOnly>& readOnlyRows() {
    static const std::vector<ReadOnly> rows{
        {"custom_storage", {}, {"custom"}, NO_DIRECTORY},
        {"family_directory", {"lora/other/x"}, {"custom/lora"}, NO_DIRECTORY},
        {"name_directory", {"lora/acme/x"}, {"custom/lora/acme"}, NOT_SAVED},
        {"every_older_file",
         {ACME_NEW, ACME_OLD, ZETA_NEW},
         {"custom/lora/acme", "custom/lora/zeta", "custom/lora/acme/new.json", "custom/lora/acme/new-decoder",
          "custom/lora/acme/old.json", "custom/lora/acme/old-decoder", "custom/lora/zeta/new.json",
          "custom/lora/zeta/new-decoder"},
         UNTOUCHED},
        {"staging_directory", {}, {"run/staging"}, NO_DIRECTORY},
    };
    return rows;
}

class ReadOnlyStorage : public InstallationTest, public ::testing::WithParamInterface<ReadOnly> {
protected:
    void SetUp() override {
        InstallationTest::SetUp();
        removeTree(custom);
        StorageBuilder storage(custom);
        for (const std::string& name : GetParam().made)
            storage.definition(name, documentOf(stemOf(name) + "-decoder"))
                .decoder(name, stemOf(name) + "-decoder", OLDER_DECODER);
        makeDir(staging);
        before = snapshot(custom);
        for (const std::string& path : GetParam().locked)
            ASSERT_EQ(chmod((dir / path).c_str(), S_IRUSR | S_IXUSR), 0);
    }
};
INSTANTIATE_TEST_SUITE_P(Rows, ReadOnlyStorage, ::testing::ValuesIn(readOnlyRows()), rowName);

TEST_P(ReadOnlyStorage, isLeftAsItWas) {
    EXPECT_TRUE(runUnprivileged(dir.path(), [this] {
        EXPECT_EQ(deploy(), std::string(GetParam().text) == UNTOUCHED);
        EXPECT_EQ(error, GetParam().text);
        EXPECT_EQ(snapshot(custom), before);
        EXPECT_EQ(snapshot(staging), Snapshot());
        return !HasFailure();
    }));
}

TEST_F(InstallationTest, stagingDirectoryThatMayNotBeMade) {
    makeDir(dir / "run");
    ASSERT_EQ(chmod((dir / "run").c_str(), S_IRUSR | S_IXUSR), 0);
    EXPECT_TRUE(runUnprivileged(dir.path(), [this] {
        EXPECT_FALSE(deploy());
        EXPECT_EQ(error, "Failed to cleanup the staging directory.");
        EXPECT_EQ(snapshot(custom), before);
        return !HasFailure();
    }));
}

} // namespace
