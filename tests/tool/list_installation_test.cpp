// An installation that takes the managed-sensors list of its source, too.

#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

constexpr const char* LIST = R"([{"id": "AA",  "src": "lora", "sensor": "demo/a"}])"
                             "\n";

class ListInstallation : public ToolTest {
protected:
    ListInstallation() {
        StorageBuilder source(temp / "source");
        addDefinition(source, "lora/demo/a");
        writeFile(temp / "source/managed-sensors-list", LIST);
        writeFile(list, "[]");
    }

    ToolRun install(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments = {"install", temp / "source", "--with-list", "--map", list};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
    mode_t modeOfList() const {
        struct stat status {};
        EXPECT_EQ(stat(list.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
    std::set<std::string> besideTheList() const { return treeOf(temp / "device"); }

    const std::string list = temp / "device/list.json";
};

TEST_F(ListInstallation, bringsAnExportToAnEmptyDevice) {
    ASSERT_EQ(install().status, 0);
    ASSERT_EQ(run({"export", temp / "all.tar.gz", "--map", list}).status, 0);
    makeDir(temp / "other");
    const ToolRun result = run({"install", temp / "all.tar.gz", "--with-list", "--custom-dir", temp / "other/custom",
                                "--map", temp / "other/list.json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "installed lora/demo/a\ninstalled managed-sensors list [$T/other/list.json]\n");
    EXPECT_EQ(snapshot(temp / "other/custom"), snapshot(temp / "custom"));
    EXPECT_EQ(readFile(temp / "other/list.json"), LIST);
    ASSERT_EQ(
        run({"export", temp / "again.tar.gz", "--custom-dir", temp / "other/custom", "--map", temp / "other/list.json"})
            .status,
        0);
    EXPECT_TRUE(readFile(temp / "again.tar.gz") == readFile(temp / "all.tar.gz"));
}

TEST_F(ListInstallation, keepsOwnerAndModeOfTheList) {
    chmod(list.c_str(), 0640);
    ASSERT_EQ(chown(list.c_str(), 1, 2), 0);
    const ToolRun result = install();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "installed lora/demo/a\ninstalled managed-sensors list [$T/device/list.json]\n");
    struct stat status {};
    ASSERT_EQ(stat(list.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1U);
    EXPECT_EQ(status.st_gid, 2U);
    EXPECT_EQ(modeOfList(), 0640U);
    EXPECT_EQ(readFile(list), LIST);
    EXPECT_EQ(besideTheList(), std::set<std::string>{"list.json"});
}

TEST_F(ListInstallation, letsHostsReadANewList) {
    std::filesystem::remove(list);
    writeFile(temp / "device/.scada-put-list", "of a killed process");
    const mode_t former = umask(0077);
    const ToolRun result = install({"--json"});
    umask(former);
    EXPECT_EQ(parsed(result.out)["result"]["list"]["state"], "installed");
    EXPECT_EQ(parsed(result.out)["result"]["list"]["file"].asString(), "$T/device/list.json");
    EXPECT_EQ(modeOfList(), 0644U);
    EXPECT_EQ(besideTheList(), std::set<std::string>{"list.json"});
}

TEST_F(ListInstallation, writesNothingThatIsThereAlready) {
    ASSERT_EQ(install().status, 0);
    const auto before = snapshot(temp.path());
    struct stat former {};
    ASSERT_EQ(stat(list.c_str(), &former), 0);
    EXPECT_EQ(install().out, "unchanged lora/demo/a\nunchanged managed-sensors list [$T/device/list.json]\n");
    EXPECT_EQ(install({"--dry-run"}).out,
              "lora/demo/a: unchanged\n    used by sensor lora@aa\n1 definition: 1 unchanged\n"
              "managed-sensors list [$T/device/list.json]: unchanged\n"
              "nothing has been changed\n");
    EXPECT_EQ(snapshot(temp.path()), before);
    struct stat status {};
    ASSERT_EQ(stat(list.c_str(), &status), 0);
    EXPECT_EQ(status.st_ino, former.st_ino);
}

// The definitions are those of the present generation: a new one would only take the place of the one to roll back to.
TEST_F(ListInstallation, replacesTheListAlone) {
    ASSERT_EQ(install().status, 0);
    writeFile(list, "[ ]");
    const auto before = snapshot(temp / "custom.generations");
    EXPECT_EQ(install().out, "unchanged lora/demo/a\ninstalled managed-sensors list [$T/device/list.json]\n");
    EXPECT_EQ(readFile(list), LIST);
    std::filesystem::remove_all(temp / "source/lora");
    writeFile(list, "[ ]");
    EXPECT_EQ(install().out, "installed managed-sensors list [$T/device/list.json]\n");
    EXPECT_EQ(readFile(list), LIST);
    EXPECT_EQ(snapshot(temp / "custom.generations"), before);
}

TEST_F(ListInstallation, isShownByTheDryRun) {
    const auto before = snapshot(temp.path());
    const ToolRun result = install({"--dry-run"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "lora/demo/a: new\n1 definition: 1 new\n"
                          "managed-sensors list [$T/device/list.json]: replaced by that of the source\n"
                          "nothing has been changed\n");
    EXPECT_EQ(parsed(install({"--dry-run", "--json"}).out)["result"]["list"]["state"], "replaces");
    EXPECT_EQ(run({"check", temp / "source", "--with-list", "--map", list}).out, "0 faults in 1 definition\n");
    EXPECT_EQ(run({"check", "--with-list"}).status, 2);
    EXPECT_EQ(snapshot(temp.path()), before);
}

// As a device may have it whose list was exported.
TEST_F(ListInstallation, takesAListWithAFaultyElement) {
    const std::string text = "[\n  {\"id\": \"AA\", \"src\": \"lora\", \"sensor\": \"demo/b\"}\n]";
    writeFile(temp / "source/managed-sensors-list", text);
    const ToolRun result = install();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("$T/source/managed-sensors-list:2:3: warning: element 0: Sensor definition "
                                      "[lora/demo/b] not found. [list/definition-missing]\n"));
    EXPECT_EQ(readFile(list), text);
}

TEST_F(ListInstallation, changesNothingWhenTheListIsRefused) {
    writeFile(temp / "source/managed-sensors-list", "[\n");
    const auto before = snapshot(temp / "device");
    const ToolRun result = install();
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out, HasSubstr("[list/syntax]\n"));
    EXPECT_EQ(result.err, refusal(1));
    EXPECT_EQ(snapshot(temp / "device"), before);
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

TEST_F(ListInstallation, isLeftOutUnlessAsked) {
    const ToolRun result = run({"install", temp / "source", "--map", list});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              withRemedies("$T/source/managed-sensors-list: note: The managed-sensors list of the source is "
                           "left out. [source/list-left]\n") +
                  "installed lora/demo/a\n");
    EXPECT_EQ(readFile(list), "[]");
}

// Who installs for an account has its rights alone.
TEST_F(ListInstallation, isRefusedWhereTheAccountMayNotWrite) {
    chmod(temp.path().c_str(), 0755);
    setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    makeDir(temp / "account/custom");
    for (const char* entry : {"account", "account/custom"})
        ASSERT_EQ(chown((temp / entry).c_str(), 1, 1), 0);
    const ToolRun result =
        install({"--custom-dir", temp / "account/custom", "--staging-dir", temp / "account/staging"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.out, withRemedies("$T/device/list.json: error: The managed-sensors list cannot be replaced: it "
                                       "belongs to the user [root]. [install/list-blocked]\n"));
    std::filesystem::remove(list);
    EXPECT_EQ(
        install({"--custom-dir", temp / "account/custom", "--staging-dir", temp / "account/staging"}).out,
        withRemedies("$T/device/list.json: error: The managed-sensors list cannot be replaced: [$T/device] cannot "
                     "be written: Permission denied. [install/list-blocked]\n"));
    unsetenv("LSAN_OPTIONS");
    EXPECT_EQ(besideTheList(), std::set<std::string>{});
}

struct IrreplaceableRow : NamedRow {
    std::string list;
    std::string reason;
};

class IrreplaceableList : public ListInstallation, public ::testing::WithParamInterface<IrreplaceableRow> {};

TEST_P(IrreplaceableList, refusesTheInstallation) {
    makeFifo(temp / "fifo");
    const std::string path = replaced(GetParam().list, "$T", temp.path());
    const std::string place = path.empty() ? "" : GetParam().list + ": ";
    const std::string expected =
        withRemedies(place + "error: The managed-sensors list cannot be replaced: " + GetParam().reason +
                     ". [install/list-blocked]\n");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"check"}, {"install", "--dry-run"}, {"install"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {temp / "source", "--with-list", "--map", path});
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, command[0] == "check" ? 1 : 5);
        EXPECT_EQ(result.out.substr(0, expected.size()), expected);
    }
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Tool, IrreplaceableList,
                         ::testing::Values(IrreplaceableRow{"without_a_path", "", "its path is empty"},
                                           IrreplaceableRow{"fifo", "$T/fifo", "it is not a regular file"},
                                           IrreplaceableRow{"directory", "$T/device", "it is not a regular file"},
                                           IrreplaceableRow{"without_a_directory", "$T/none/list",
                                                            "[$T/none] cannot be written: No such file or directory"},
                                           IrreplaceableRow{"in_the_generations", "$T/custom.generations/list",
                                                            "it is in the custom storage"}),
                         rowName);

} // namespace
