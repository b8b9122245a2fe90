// What an installation needs, on one file system and on two. A dry run tells it and copies nothing.

#include "ToolTest.h"
#include "rowName.h"

#include <sched.h>
#include <sys/mount.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <ostream>

namespace {

using namespace Kelvra::SCADA::Test;

constexpr std::uintmax_t BLOCK = 4096;
constexpr std::uintmax_t FOUR_TERABYTES = std::uintmax_t{1} << 42U;

std::uintmax_t inBlocks(std::uintmax_t size) {
    return (size / BLOCK + 1) * BLOCK;
}

/// A file system of 64 KiB at a directory, where the process may mount one: in a namespace of its own, which goes with
/// the process.
class SmallDisk {
public:
    explicit SmallDisk(std::string at)
        : place(std::move(at)),
          mounted(unshare(CLONE_NEWNS) == 0 && mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("tmpfs", place.c_str(), "tmpfs", 0, "size=64k") == 0) {}
    ~SmallDisk() {
        if (mounted)
            umount(place.c_str());
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return mounted; }

private:
    std::string place;
    bool mounted;
};

class FreeSpace : public ToolTest {
protected:
    FreeSpace() : source(temp / "source") { addDefinition(source, "lora/demo/th1"); }

    /// Gives the decoder a size and no content.
    void growDecoder(std::uintmax_t size) const {
        std::filesystem::resize_file(temp / "source/lora/demo/th1.js", size);
    }

    void expectShortage(const std::string& directory, std::uintmax_t needed) const {
        const ToolRun result = run({"install", temp / "source", "--allow-overwrite", "--dry-run"});
        EXPECT_EQ(result.status, 1);
        const std::string text =
            "$T/source: not enough free space for " + directory + ": " + std::to_string(needed) + " bytes needed, ";
        EXPECT_EQ(result.out.substr(0, text.size()), text);
    }

    /// For less than there is, and more than half of it.
    void expectShortageOfOneDiskForBoth() const {
        const std::uintmax_t size = std::filesystem::space(temp.path()).available / 4 * 3;
        growDecoder(size);
        expectShortage("--custom-dir [$T/custom]", 2 * (BLOCK + inBlocks(size) + 2 * BLOCK));
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
    expectShortage("--staging-dir [$T/staging]", inBlocks(written) + inBlocks(FOUR_TERABYTES) + 2 * BLOCK);
}

TEST_F(FreeSpace, countsTheFileOfADocumentThatCannotBeWritten) {
    source.definition("lora/demo/th2", std::string(3 * BLOCK, '{'));
    growDecoder(FOUR_TERABYTES);
    expectShortage("--staging-dir [$T/staging]", BLOCK + 4 * BLOCK + inBlocks(FOUR_TERABYTES) + 2 * BLOCK);
}

TEST_F(FreeSpace, isNeededTwiceOnOneFileSystem) {
    expectShortageOfOneDiskForBoth();
}

struct DirectoryRow {
    const char* name;
    std::vector<const char*> standing; ///< in the custom directory
    std::uintmax_t missing;
};

void PrintTo(const DirectoryRow& row, std::ostream* out) {
    *out << row.name;
}

class FreeSpaceForCustom : public FreeSpace, public ::testing::WithParamInterface<DirectoryRow> {};

TEST_P(FreeSpaceForCustom, isCountedWithTheDirectoriesThatItLacks) {
    const SmallDisk disk(temp / "custom");
    if (!disk.isMounted()) {
        std::printf("no tmpfs here: one file system for both instead\n");
        expectShortageOfOneDiskForBoth();
        return;
    }
    for (const char* directory : GetParam().standing)
        makeDir(temp / "custom" + ("/" + std::string(directory)));
    addDefinition(source, "lora/demo/th2");
    addDefinition(source, "lora/other/x");
    constexpr std::uintmax_t MEGABYTE = std::uintmax_t{1} << 20U;
    growDecoder(MEGABYTE);
    expectShortage("--custom-dir [$T/custom]", 5 * BLOCK + inBlocks(MEGABYTE) + GetParam().missing * BLOCK);
}

INSTANTIATE_TEST_SUITE_P(Tool, FreeSpaceForCustom,
                         ::testing::Values(DirectoryRow{"empty", {}, 3}, DirectoryRow{"family_stands", {"lora"}, 2},
                                           DirectoryRow{"all_stand", {"lora/demo", "lora/other"}, 0}),
                         rowName);

} // namespace
