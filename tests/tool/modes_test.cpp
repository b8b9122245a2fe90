// Read and write permissions after an installation.

#include "NamedRow.h"
#include "ToolTest.h"
#include "row_name.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

gid_t groupOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_gid;
}

/// The umask of the runs.
class Umask {
public:
    explicit Umask(mode_t mask) : before(umask(mask)) {}
    ~Umask() { umask(before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t before;
};

struct ModeRow : NamedRow {
    mode_t mask;
    mode_t upload;
};

class Modes : public ToolTest, public ::testing::WithParamInterface<ModeRow> {
protected:
    Modes() : source(temp / "source") {
        addDefinition(source, "lora/demo/th1");
        addDefinition(source, "lora/other/th2");
        for (const char* file : {"lora/demo/th1.json", "lora/demo/th1.js", "lora/other/th2.json", "lora/other/th2.js"})
            chmod((temp / ("source/" + std::string(file))).c_str(), GetParam().upload);
    }

    void expectModes() const {
        for (const char* file :
             {"lora/demo/th1.json", "lora/demo/th1-decoder", "lora/other/th2.json", "lora/other/th2-decoder"})
            EXPECT_EQ(modeOf(temp / ("custom/" + std::string(file))), 0644U) << file;
    }

    StorageBuilder source;
};

TEST_P(Modes, areThoseOfNeitherUploadNorUmask) {
    chmod((temp / "custom").c_str(), 02755);
    // Root may set any group; others keep their own.
    const gid_t group = geteuid() == 0 ? 1 : getegid();
    ASSERT_EQ(chown((temp / "custom").c_str(), geteuid(), group), 0);
    chmod((temp / "custom").c_str(), 02755);
    const Umask mask(GetParam().mask);
    ASSERT_EQ(run({"install", temp / "source"}).status, 0);
    expectModes();
    EXPECT_EQ(modeOf(temp / "custom"), 02755U);
    for (const char* directory : {"custom/lora", "custom/lora/demo", "custom/lora/other"}) {
        EXPECT_EQ(modeOf(temp / directory), 02755U) << directory;
        EXPECT_EQ(groupOf(temp / directory), group) << directory;
    }
}

TEST_P(Modes, ofReplacedFilesAreCorrectedToo) {
    addDefinition(custom, "lora/demo/th1", "Cellar");
    writeFile(temp / "custom/lora/demo/th1-decoder", "");
    for (const char* file : {"custom/lora/demo/th1.json", "custom/lora/demo/th1-decoder"})
        chmod((temp / file).c_str(), 0666);
    chmod((temp / "custom/lora").c_str(), 0750);
    const Umask mask(GetParam().mask);
    ASSERT_EQ(run({"install", temp / "source", "--allow-overwrite"}).status, 0);
    expectModes();
    EXPECT_EQ(modeOf(temp / "custom/lora"), 0750U);
    EXPECT_EQ(modeOf(temp / "custom/lora/other"), 0750U);
}

TEST_P(Modes, ofAMissingStorageDoNotOpenItToAll) {
    std::filesystem::remove(temp / "custom");
    makeDir(temp / "shared");
    chmod((temp / "shared").c_str(), 01777);
    const Umask mask(GetParam().mask);
    ASSERT_EQ(run({"install", temp / "source", "--custom-dir", temp / "shared/a/custom"}).status, 0);
    for (const char* directory : {"shared/a", "shared/a/custom", "shared/a/custom/lora", "shared/a/custom/lora/demo"})
        EXPECT_EQ(modeOf(temp / directory) & 0757U, 0755U) << directory;
}

INSTANTIATE_TEST_SUITE_P(Tool, Modes,
                         ::testing::Values(ModeRow{"private_private", 077, 0600}, ModeRow{"private_open", 077, 0666},
                                           ModeRow{"open_private", 0, 0600}, ModeRow{"open_open", 0, 0666},
                                           ModeRow{"open_program", 0, 0755}, ModeRow{"open_setuid", 0, 04755}),
                         rowName);

} // namespace
