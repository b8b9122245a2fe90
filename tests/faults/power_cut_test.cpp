// Power cuts. The content of the disk is copied at some moments of an operation, and each copy is mounted. If there is
// no loop device, a trace of the operation is replayed instead, and the name of each case says so.

#include "ReplayTest.h"
#include "files.h"
#include "mount_privately.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;

constexpr std::size_t IMAGE_SIZE = std::size_t{8} << 20U;
constexpr std::size_t BLOCK = 4096;

struct Disk {
    const char* name;
    const char* make;  ///< the shell command that makes the file system in the file $IMAGE
    const char* mount; ///< the command that mounts it at $PLACE; empty if there is none
    Way way;
};

struct Cut {
    Disk disk;
    Operation operation;
};

void PrintTo(const Cut& cut, std::ostream* out) {
    *out << cut.disk.name << "_" << nameOf({cut.operation, cut.disk.way});
}

bool runShell(const std::string& image, const std::string& place, const std::string& command) {
    return std::system(("IMAGE='" + image + "'; PLACE='" + place +
                        "'; PATH=$PATH:/usr/sbin:/sbin; exec >/dev/null 2>&1; " + command)
                           .c_str()) == 0;
}

bool mountImage(const Disk& disk, const std::string& image, const std::string& place) {
    makeDir(place);
    return runShell(image, place, disk.mount);
}

bool makeDisk(const Disk& disk, const std::string& image, const std::string& place) {
    return runShell(image, place, "truncate -s " + std::to_string(IMAGE_SIZE) + " $IMAGE && " + disk.make) &&
           mountImage(disk, image, place);
}

const std::vector<Disk>& disks() {
    static const std::vector<Disk> rows = {
        {"ext4", "mkfs.ext4 -q $IMAGE", "mount -t ext4 -o loop $IMAGE $PLACE", Way::EXCHANGE},
        {"ext4", "mkfs.ext4 -q $IMAGE", "mount -t ext4 -o loop $IMAGE $PLACE", Way::IN_PLACE},
    };
    return rows;
}

// Runs in its own mount namespace. Returns whether the kernel has the file system and a loop device.
bool isMountable(const Disk& disk) {
    const TempDir dir;
    const pid_t child = fork();
    if (child == 0)
        _exit(mountPrivately(dir / "disk", "size=64m") && makeDisk(disk, dir / "disk/image", dir / "place") &&
                      umount((dir / "place").c_str()) == 0
                  ? EXIT_SUCCESS
                  : EXIT_FAILURE);
    int status = -1;
    waitpid(child, &status, 0);
    return status == 0;
}

bool isReplayed(const Cut& cut) {
    return std::string(cut.disk.mount).empty();
}

std::vector<Cut> cuts() {
    static const std::vector<Operation> cutOperations = {operationNamed("first_installation"),
                                                         operationNamed("overwriting_installation"),
                                                         operationNamed("removal"), operationNamed("rollback")};
    std::vector<Cut> rows;
    for (const Disk& disk : disks()) {
        const bool canBeMounted = canMount() && isMountable(disk);
        for (const Operation& operation : cutOperations)
            rows.push_back({canBeMounted ? disk : Disk{"no_loop_device_replayed", "", "", disk.way}, operation});
    }
    return rows;
}

class PowerCut : public ReplayTest, public ::testing::WithParamInterface<Cut> {
protected:
    void SetUp() override {
        if (isReplayed(GetParam())) {
            prepare(GetParam().operation, GetParam().disk.way);
            return;
        }
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()), 0);
        ASSERT_EQ(fcntl(ends[0], F_SETFD, FD_CLOEXEC), 0);
        ASSERT_TRUE(mountPrivately(temp / "disk", "size=256m"));
        ASSERT_TRUE(makeDisk(GetParam().disk, image, place));
        prepare(GetParam().operation, GetParam().disk.way);
    }
    void TearDown() override {
        if (isReplayed(GetParam()))
            return;
        umount(place.c_str());
        umount((temp / "disk").c_str());
        for (const int end : ends)
            close(end);
    }

    std::string readImage() const {
        std::string bytes(IMAGE_SIZE, '\0');
        const int file = open(image.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(pread(file, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        close(file);
        return bytes;
    }

    /// Returns the content of the disk at one moment: two readings of it must agree. Empty if it changes all the time.
    std::string momentOfDisk() const {
        constexpr int READINGS = 20;
        std::string one = readImage();
        for (int left = READINGS; left > 0; --left) {
            std::string other = readImage();
            if (one == other)
                return one;
            one.swap(other);
        }
        return "";
    }

    // Leaves out empty blocks, which are most of them.
    void writeCopy(const std::string& bytes) const {
        static const std::string emptyBlock(BLOCK, '\0');
        const int file =
            open((temp / "disk/copy").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
        ASSERT_EQ(ftruncate(file, static_cast<off_t>(bytes.size())), 0);
        for (std::size_t at = 0; at < bytes.size(); at += BLOCK) {
            if (bytes.compare(at, BLOCK, emptyBlock) != 0) {
                ASSERT_EQ(pwrite(file, bytes.data() + at, BLOCK, static_cast<off_t>(at)), static_cast<ssize_t>(BLOCK));
            }
        }
        close(file);
    }

    /// Mounts a copy as after a restart, and checks everything that must hold after a power cut.
    void expectWhole(const std::string& bytes, bool mustBeNew) {
        const std::string running = place;
        writeCopy(bytes);
        place = temp / "restarted";
        ASSERT_TRUE(mountImage(GetParam().disk, temp / "disk/copy", place));
        ++copies;
        const std::string found = expectAfterCut(mustBeNew);
        ++phases[found];
        lastFound = found;
        EXPECT_EQ(umount(place.c_str()), 0);
        place = running;
    }

    /// Returns the step at which the tool waits, or 0 if it has ended.
    long nextStep(RunningTool* tool) const {
        pollfd wait{ends[0], POLLIN, 0};
        while (poll(&wait, 1, 1) == 0) {
            if (tool->hasEnded() && poll(&wait, 1, 0) == 0)
                return 0;
        }
        std::array<char, 4096> line{};
        EXPECT_GT(read(ends[0], line.data(), line.size() - 1), 0);
        return std::strtol(line.data(), nullptr, 10);
    }

    void letGoOn() const { EXPECT_EQ(write(ends[0], "!", 1), 1); }

    void syncDisk() const {
        const int directory = open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(syncfs(directory), 0);
        close(directory);
    }

    /// Another program's sync brings earlier changes to the disk, but not the content of files.
    void syncOther() const {
        const int file = open((place + "/other").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
        EXPECT_EQ(write(file, "!", 1), 1);
        EXPECT_EQ(fsync(file), 0);
        close(file);
    }

    void expectAtMoment(bool mustBeNew) {
        const std::string bytes = momentOfDisk();
        if (bytes.empty()) {
            ++missed;
            return;
        }
        ++moments;
        if (bytes == last && !mustBeNew)
            return;
        expectWhole(bytes, mustBeNew);
        last = bytes;
    }

    /// Runs the operation once. In each run the other program syncs at other steps.
    void cutRun(long number) {
        const long stride = chosen({1, 16, 60});
        reset();
        syncDisk();
        RunningTool tool(commandLine(operation.arguments), asking(), temp / "said");
        while (const long step = nextStep(&tool)) {
            SCOPED_TRACE("run " + std::to_string(number) + ", step " + std::to_string(step));
            if ((step + number) % (number + 2) == 0)
                syncOther();
            if (step % stride == 0 || step == 1)
                expectAtMoment(!tool.output().empty());
            letGoOn();
            ASSERT_FALSE(HasFailure());
        }
        EXPECT_EQ(tool.wait().status, 0);
        lastFound = "not looked at";
        expectAtMoment(true);
        EXPECT_TRUE(lastFound == "new" || lastFound == "new when recovered") << lastFound;
        EXPECT_TRUE(isNew());
    }

    Variables asking() const {
        Variables variables = environment({{"SCADA_TEST_FAULT", "ask"}});
        variables["SCADA_TEST_FAULT_DESCRIPTOR"] = std::to_string(ends[1]);
        variables.erase("SCADA_TEST_NO_SYNC");
        return variables;
    }

    std::array<int, 2> ends{-1, -1};
    const std::string image = temp / "disk/image";
    std::string last;
    std::string lastFound;
    Phases phases;
    int moments = 0; ///< moments at which the disk was read
    int copies = 0;  ///< moments whose copy was mounted: the disk had changed since the last one
    int missed = 0;  ///< moments at which the disk changed all the time
};

TEST_P(PowerCut, leavesOldOrNew) {
    const std::string name = nameOf({operation, way});
    if (isReplayed(GetParam())) {
        std::printf("NO LOOP DEVICE: no disk is cut off; a trace of %s is replayed\n", name.c_str());
        expectWholeAfterEachCut();
        return;
    }
    makeDir(temp / "said"); // for the output of the commands that run meanwhile
    const long wanted = chosen({200, 1, 1});
    for (long number = 0; moments < wanted && !HasFailure(); ++number)
        cutRun(number);
    EXPECT_GT(phases["old"], 0);
    EXPECT_GE(moments, wanted);
    EXPECT_GT(copies, 1) << "the disk was looked at, but as good as never mounted";
    EXPECT_GT(moments, missed) << "most of the time the disk changed while it was read";
    std::printf("%s, %s: %d moments, %d copies mounted; %d moments missed\n", GetParam().disk.name, name.c_str(),
                moments, copies, missed);
    for (const auto& [phase, count] : phases)
        std::printf("%s, %s: %s: %d\n", GetParam().disk.name, name.c_str(), phase.c_str(), count);
}

INSTANTIATE_TEST_SUITE_P(Disks, PowerCut, ::testing::ValuesIn(cuts()),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });

} // namespace
