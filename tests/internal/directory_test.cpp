#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "row_name.h"
#include "unprivileged.h"

#include "fs/directory.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <optional>

namespace {

// An answer of the system about an open directory: a value, or none if the question fails.
struct Answer {
    std::optional<std::uint32_t> value;
};

// The answers that replace the true ones.
std::optional<Answer>& typeAnswer() {
    static std::optional<Answer> answer;
    return answer;
}

std::optional<Answer>& flagsAnswer() {
    static std::optional<Answer> answer;
    return answer;
}

bool streamsFail = false;

int fail(int error) {
    errno = error;
    return -1;
}

} // namespace

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) int fstatfs(int descriptor, struct statfs* status) noexcept {
    static auto* const real = reinterpret_cast<int (*)(int, struct statfs*)>(dlsym(RTLD_NEXT, "fstatfs64"));
    if (!typeAnswer())
        return real(descriptor, status);
    if (!typeAnswer()->value)
        return fail(EIO);
    *status = {};
    status->f_type = static_cast<decltype(status->f_type)>(*typeAnswer()->value);
    return 0;
}

// Replaces the system's own function.
// NOLINTNEXTLINE(cert-dcl50-cpp): the signature is given
extern "C" __attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request, ...) noexcept {
    static auto* const real = reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl"));
    va_list arguments;
    va_start(arguments, request);
    void* const out = va_arg(arguments, void*);
    va_end(arguments);
    if (request != FS_IOC_GETFLAGS || !flagsAnswer())
        return real(descriptor, request, out);
    if (!flagsAnswer()->value)
        return fail(ENOTTY);
    *static_cast<int*>(out) = static_cast<int>(*flagsAnswer()->value);
    return 0;
}

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) DIR* fdopendir(int descriptor) {
    static auto* const real = reinterpret_cast<decltype(&fdopendir)>(dlsym(RTLD_NEXT, "fdopendir"));
    if (!streamsFail)
        return real(descriptor);
    errno = ENOMEM;
    return nullptr;
}

namespace {

using Kelvra::SCADA::hasEntryNamed;
using Kelvra::SCADA::Links;
using namespace Kelvra::SCADA::Test;

constexpr Answer FAILURE{};
constexpr Answer NO_FLAG{0};
constexpr Answer OTHER_FLAGS{FS_EXTENT_FL | FS_NOATIME_FL};
constexpr Answer FOLDS{FS_CASEFOLD_FL | FS_EXTENT_FL};

struct FileSystemRow : NamedRow {
    Answer type;
    Answer flags;
    bool isRead;
};

const FileSystemRow FILE_SYSTEM_ROWS[] = {
    {"ext4", {EXT4_SUPER_MAGIC}, NO_FLAG, false},
    {"tmpfs", {TMPFS_MAGIC}, FAILURE, false},
    {"ramfs", {RAMFS_MAGIC}, FAILURE, false},
    {"overlay", {OVERLAYFS_SUPER_MAGIC}, FAILURE, false},
    {"squashfs", {SQUASHFS_MAGIC}, FAILURE, false},
    {"ubifs", {0x24051905}, NO_FLAG, false},
    {"jffs2", {JFFS2_SUPER_MAGIC}, FAILURE, false},
    {"f2fs", {F2FS_SUPER_MAGIC}, NO_FLAG, false},
    {"btrfs", {BTRFS_SUPER_MAGIC}, NO_FLAG, false},
    {"erofs", {EROFS_SUPER_MAGIC_V1}, FAILURE, false},
    {"other_flags", {EXT4_SUPER_MAGIC}, OTHER_FLAGS, false},
    {"folding_ext4", {EXT4_SUPER_MAGIC}, FOLDS, true},
    {"folding_f2fs", {F2FS_SUPER_MAGIC}, FOLDS, true},
    {"folding_tmpfs", {TMPFS_MAGIC}, FOLDS, true},
    {"vfat", {MSDOS_SUPER_MAGIC}, NO_FLAG, true},
    {"xfs", {XFS_SUPER_MAGIC}, NO_FLAG, true},
    {"nfs", {NFS_SUPER_MAGIC}, NO_FLAG, true},
    {"fuse", {FUSE_SUPER_MAGIC}, NO_FLAG, true},
    {"no_type", {0}, NO_FLAG, true},
    {"unknown_type", FAILURE, NO_FLAG, true},
};

class DirectoryRead : public ::testing::TestWithParam<FileSystemRow> {
protected:
    void SetUp() override {
        typeAnswer() = GetParam().type;
        flagsAnswer() = GetParam().flags;
    }
    void TearDown() override {
        typeAnswer().reset();
        flagsAnswer().reset();
    }
};
INSTANTIATE_TEST_SUITE_P(Rows, DirectoryRead, ::testing::ValuesIn(FILE_SYSTEM_ROWS), rowName);

// A name that the directory does not have shows whether it was read.
TEST_P(DirectoryRead, onlyWhereANameMayReachAnotherEntry) {
    const TempDir dir;
    writeFile(dir / "entry", "");
    for (const Links links : {Links::FOLLOW, Links::NOFOLLOW}) {
        EXPECT_TRUE(hasEntryNamed(dir.path(), "entry", links));
        EXPECT_EQ(hasEntryNamed(dir.path(), "Entry", links), !GetParam().isRead);
    }
}

// A host may have closed its standard input.
TEST_P(DirectoryRead, leavesNoDescriptorOpenNotEvenTheFirst) {
    const TempDir dir;
    writeFile(dir / "entry", "");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        close(STDIN_FILENO);
        return hasEntryNamed(dir.path(), "entry", Links::NOFOLLOW) && fcntl(STDIN_FILENO, F_GETFD) == -1;
    }));
}

// Returns the number that the next descriptor of this process gets.
int nextDescriptor() {
    const int next = dup(STDERR_FILENO);
    close(next);
    return next;
}

TEST(DirectoryStreams, withoutOneThereIsNoEntry) {
    const TempDir dir;
    writeFile(dir / "entry", "");
    typeAnswer() = Answer{MSDOS_SUPER_MAGIC};
    streamsFail = true;
    const int next = nextDescriptor();
    EXPECT_FALSE(hasEntryNamed(dir.path(), "entry", Links::NOFOLLOW));
    EXPECT_EQ(nextDescriptor(), next) << "the directory is closed";
    streamsFail = false;
    typeAnswer().reset();
}

TEST(DirectoryLinks, areFollowedOnRequest) {
    const TempDir dir;
    writeFile(dir / "directory/entry", "");
    makeLink("directory", dir / "link");
    EXPECT_TRUE(hasEntryNamed(dir / "link", "entry", Links::FOLLOW));
    EXPECT_FALSE(hasEntryNamed(dir / "link", "entry", Links::NOFOLLOW));
}

TEST(DirectoryLinks, missingDirectoryHasNoEntry) {
    const TempDir dir;
    EXPECT_FALSE(hasEntryNamed(dir / "missing", "entry", Links::FOLLOW));
}

} // namespace
