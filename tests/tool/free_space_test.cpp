// The space that an installation needs, on one file system and on two. A dry run reports it and copies nothing.

#include "NamedRow.h"
#include "ToolTest.h"
#include "mount_privately.h"
#include "row_name.h"

#include <sys/mount.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;

constexpr std::uintmax_t BLOCK = 4096;

std::uintmax_t inBlocks(std::uintmax_t size) {
    return (size / BLOCK + 1) * BLOCK;
}

class FreeSpace : public ToolTest {
protected:
    FreeSpace() : source(temp / "source") { addDefinition(source, "lora/demo/th1"); }

    /// Gives the decoder a size and no content.
    void growDecoder(std::uintmax_t size) const {
        std::filesystem::resize_file(temp / "source/lora/demo/th1.js", size);
    }

    void expectShortage(const std::string& directory, std::uintmax_t needed) const {
        const ToolRun result = run({"install", temp / "source", "--allow-overwrite", "--dry-run", "--max-decoder",
                                    "8796093022208", "--max-source", "8796093022208"});
        EXPECT_EQ(result.status, 5);
        const std::string text = "$T/" + directory + ": error: There is not enough free space for --" + directory +
                                 "-dir: " + std::to_string(needed) + " bytes needed, ";
        EXPECT_EQ(result.out.substr(0, text.size()), text);
    }

    StorageBuilder source;
};

TEST_F(FreeSpace, countsTheDocumentAsItIsWritten) {
    std::string properties;
    for (int number = 0; number < 2000; ++number)
        properties += (number == 0 ? "\"p" : ",\"p") + std::to_string(number) + R"(":{"a":{"b":1}})";
    source.definition("lora/demo/th1", R"({"decoder":"th1.js","properties":{)" + properties + "}}");
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    const std::uintmax_t written = std::filesystem::file_size(temp / "custom/lora/demo/th1.json");
    ASSERT_GT(written, 2 * std::filesystem::file_size(temp / "source/lora/demo/th1.json"));
    growDecoder(FOUR_TERABYTES);
    expectShortage("staging", inBlocks(written) + inBlocks(FOUR_TERABYTES) + 2 * BLOCK);
}

TEST_F(FreeSpace, countsTheFileOfADocumentThatCannotBeWritten) {
    source.definition("lora/demo/th2", std::string(3 * BLOCK, 'x'));
    growDecoder(FOUR_TERABYTES);
    expectShortage("staging", BLOCK + 4 * BLOCK + inBlocks(FOUR_TERABYTES) + 2 * BLOCK);
}

// Needs less space than there is, but more than half of it.
TEST_F(FreeSpace, isNeededTwiceOnOneFileSystem) {
    const std::uintmax_t size = std::filesystem::space(temp.path()).available / 4 * 3;
    growDecoder(size);
    // Once in the staging directory, and once in the next generation with one more directory.
    expectShortage("custom", 2 * (BLOCK + inBlocks(size) + 2 * BLOCK) + BLOCK);
}

class FreeSpaceOfMount : public FreeSpace {
protected:
    explicit FreeSpaceOfMount(const char* directory) : mounted(temp / directory) {}
    void SetUp() override { ASSERT_TRUE(mountPrivately(mounted, "size=64k")); }
    void TearDown() override { umount(mounted.c_str()); }

private:
    std::string mounted;
};

// Remains of a killed installation are removed there before anything is written.
class FreeSpaceForStaging : public FreeSpaceOfMount, public ::testing::WithParamInterface<const char*> {
protected:
    FreeSpaceForStaging() : FreeSpaceOfMount("staging") {}
};

TEST_P(FreeSpaceForStaging, countsWhatItsEmptyingFrees) {
    writeFile(temp / "staging" + ("/" + std::string(GetParam())) + "/m.js", std::string(15 * BLOCK, 'x'));
    chmod((temp / "staging" + ("/" + std::string(GetParam()))).c_str(), 0700);
    if (GetParam()[0] == '.') {
        expectShortage("staging", 4 * BLOCK);
    } else {
        EXPECT_EQ(run({"install", temp / "source", "--dry-run"}).status, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Tool, FreeSpaceForStaging,
                         ::testing::ValuesIn(whereMountable<const char*>({"scada-install-a1B2c3", ".kept"})),
                         [](const auto& row) { return row.param[0] == '.' ? "hidden" : "visible"; });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FreeSpaceForStaging);

struct DirectoryRow : NamedRow {
    std::vector<const char*> standing; ///< entries that exist in the custom directory
    std::uintmax_t missing;
};

class FreeSpaceForCustom : public FreeSpaceOfMount, public ::testing::WithParamInterface<DirectoryRow> {
protected:
    FreeSpaceForCustom() : FreeSpaceOfMount("custom") {}
};

TEST_P(FreeSpaceForCustom, isCountedWithTheDirectoriesThatItLacks) {
    for (const char* directory : GetParam().standing)
        makeDir(temp / "custom" + ("/" + std::string(directory)));
    addDefinition(source, "lora/demo/th2");
    addDefinition(source, "lora/other/x");
    growDecoder(MEGABYTE);
    expectShortage("custom", 5 * BLOCK + inBlocks(MEGABYTE) + GetParam().missing * BLOCK);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, FreeSpaceForCustom,
    ::testing::ValuesIn(whereMountable<DirectoryRow>(
        {{"empty", {}, 3}, {"family_stands", {"lora"}, 2}, {"all_stand", {"lora/demo", "lora/other"}, 0}})),
    rowName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FreeSpaceForCustom);

struct ReplacedRow : NamedRow {
    std::size_t standing;  ///< bytes of the decoder that is replaced
    std::size_t size;      ///< of the one that replaces it
    std::uintmax_t needed; ///< blocks; 0 if everything fits
};

class FreeSpaceForReplacing : public FreeSpaceOfMount, public ::testing::WithParamInterface<ReplacedRow> {
protected:
    FreeSpaceForReplacing() : FreeSpaceOfMount("custom") {}
};

TEST_P(FreeSpaceForReplacing, countsWhatIsReplaced) {
    writeFile(temp / "custom/lora/demo/th1-decoder", std::string(GetParam().standing, 'x'));
    source.decoder("lora/demo/th1", "th1.js", std::string(GetParam().size, 'y'));
    if (GetParam().needed == 0) {
        EXPECT_EQ(run({"install", temp / "source", "--allow-overwrite", "--dry-run"}).status, 0);
        EXPECT_EQ(run({"install", temp / "source", "--allow-overwrite"}).status, 0);
    } else {
        expectShortage("custom", GetParam().needed * BLOCK);
    }
}

INSTANTIATE_TEST_SUITE_P(Tool, FreeSpaceForReplacing,
                         ::testing::ValuesIn(whereMountable<ReplacedRow>(
                             {{"by_the_same", 7 * BLOCK, 7 * BLOCK - 1, 0},
                              {"by_the_same_without_room", 12 * BLOCK, 12 * BLOCK - 1, 1 + 12},
                              {"by_a_larger_one", 6 * BLOCK, 8 * BLOCK - 1, 0},
                              {"by_one_that_is_too_large", 12 * BLOCK, 17 * BLOCK - 1, 1 + 5 + 12},
                              {"by_a_smaller_one", 14 * BLOCK, BLOCK - 1, 0}})),
                         rowName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(FreeSpaceForReplacing);

} // namespace
