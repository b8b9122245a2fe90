// With --root the tool works on the files of another device. A link there leads where it leads on that device, and
// nothing outside is opened.

#include "NamedRow.h"
#include "OpenCounter.h"
#include "ToolTest.h"
#include "device/HiddenDefaults.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::Tool::hiddenEntry;
using Kelvra::SCADA::Tool::installedFiles;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* DEFAULT_DIR = "/etc/scada/sensors";
constexpr const char* CUSTOM_DIR = "/var/config/scada/sensors";
constexpr const char* LIST_PATH = "/var/config/scada/sensors_map.json";

void nameDecoder(const std::string& storage, const std::string& decoder) {
    writeFile(storage + "/" + NAME + ".json", R"({"decoder": ")" + decoder + R"(", "properties": {}})");
}

/// An image with the standard directories, and beside it files of this device that nothing may lead to.
class Root : public ToolTest {
protected:
    Root() : image(temp / "image"), defaults(image + DEFAULT_DIR), customs(image + CUSTOM_DIR) {
        addDefinition(defaults, NAME);
        makeDir(image + CUSTOM_DIR);
        writeFile(image + LIST_PATH, "[" + std::string(GOOD_SENSOR) + "]");
        // Every path of the image could be one of this device.
        addDefinition(outside, NAME, "Outside");
        writeFile(outside.dir() + "/list.json", "[7]");
        writeFile(outside.dir() + "/decoder.js", "// outside\n");
    }

    ToolRun runRoot(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--codec-runner", "", "--log-level", "off", "--root", image});
        ToolRun result = runTool(arguments);
        result.out = replaced(result.out, temp.path(), "$T");
        result.err = replaced(result.err, temp.path(), "$T");
        return result;
    }

    std::string image;
    StorageBuilder defaults;
    StorageBuilder customs;
    StorageBuilder outside{temp / "outside"};
};

TEST_F(Root, listsWhatTheImageHas) {
    addDefinition(customs, "lora/own/a");
    const ToolRun list = runRoot({"list"});
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_THAT(list.out, HasSubstr("  $T/image/etc/scada/sensors/lora/demo/th1.js  "));
    EXPECT_THAT(list.out, HasSubstr("$T/image/var/config/scada/sensors/lora/own/a.js"));
    const ToolRun check = runRoot({"check"});
    EXPECT_EQ(check.out, "0 faults in 2 definitions and 1 list element\n") << check.err;
    EXPECT_EQ(check.status, 0);
}

TEST_F(Root, servesTheOtherCommandsThatRead) {
    addDefinition(customs, NAME, "Water");
    const ToolRun resolved = runRoot({"resolve", "AA", "temperature"});
    EXPECT_EQ(resolved.status, 0) << resolved.err;
    EXPECT_THAT(resolved.out, HasSubstr("$T/image/var/config/scada/sensors/lora/demo/th1.json"));
    const ToolRun diff = runRoot({"diff", NAME});
    EXPECT_EQ(diff.status, 1);
    EXPECT_THAT(diff.out, HasSubstr("property [temperature] changes its name from \"Air\" to \"Water\""));
    EXPECT_EQ(runRoot({"diff", "lora/demo/none"}).status, 4);
    EXPECT_EQ(runRoot({"show", NAME}).status, 0);
    EXPECT_THAT(runRoot({"sensors"}).out, HasSubstr("lora@aa  lora/demo/th1  ok\n"));
    writeFile(image + CUSTOM_DIR + ".generations/history",
              R"({"number":3,"operation":"install","definitions":[],"time":"2030-01-31T12:00:00Z","user":"root"})");
    EXPECT_EQ(runRoot({"history"}).out, "3  2030-01-31T12:00:00Z  root  install  0 definitions\n");
}

TEST_F(Root, reportsAnImageWithoutADatabase) {
    const ToolRun result = runRoot({"report", "-"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("Sensors of $T/image</"));
    EXPECT_THAT(result.out, HasSubstr("lora@aa"));
    EXPECT_EQ(result.err, "scada-sensors: the page has no values: with --root no database is asked\n");
}

TEST_F(Root, tellsOfADefaultThatHasChangedInTheImage) {
    addDefinition(standard, NAME);
    addDefinition(outside, "lora/demo/other");
    ASSERT_EQ(run({"install", outside.dir(), "--allow-overwrite"}).status, 0);
    std::filesystem::remove_all(image + CUSTOM_DIR);
    std::filesystem::rename(temp / "custom", image + CUSTOM_DIR);
    std::filesystem::rename(temp / "custom.generations", image + CUSTOM_DIR + ".generations");
    EXPECT_THAT(runRoot({"check"}).out, Not(HasSubstr("storage/default-changed")));
    addDefinition(defaults, NAME, "Newer");
    EXPECT_THAT(runRoot({"check"}).out, HasSubstr("[storage/default-changed]"));
    EXPECT_THAT(runRoot({"diff", NAME}).out, HasSubstr("from \"Air\" to \"Newer\""));
}

// Anybody may have put files beside the storage of an image.
TEST_F(Root, opensNoKeptDefaultOutside) {
    writeFile(outside.dir() + "/demo/th1.json", R"({"properties": {}})");
    addDefinition(customs, NAME);
    std::filesystem::rename(image + CUSTOM_DIR + "/lora/demo/th1.js", image + CUSTOM_DIR + "/lora/demo/th1-decoder");
    nameDecoder(image + CUSTOM_DIR, "th1-decoder");
    const std::string kept =
        image + CUSTOM_DIR + ".generations/hidden/" + hiddenEntry(NAME, installedFiles(image + CUSTOM_DIR, NAME));
    makeLink(outside.dir(), kept + "/lora");
    OpenCounter counter(outside.dir());
    EXPECT_THAT(runRoot({"check"}).out, Not(HasSubstr("storage/default-changed")));
    EXPECT_EQ(counter.take().size(), 0U);
    std::filesystem::remove(kept + "/lora");
    std::filesystem::copy(outside.dir(), kept + "/lora", std::filesystem::copy_options::recursive);
    EXPECT_THAT(runRoot({"check"}).out, HasSubstr("storage/default-changed"));
}

TEST_F(Root, takesPathsOfOptionsFromTheImage) {
    addDefinition(customs, "lora/own/a");
    std::filesystem::rename(image + CUSTOM_DIR, image + "/data");
    for (const char* option : {"/data", "data", "/../data", "data/"}) {
        const ToolRun list = runRoot({"list", "--custom-dir", option, "--storage", "custom"});
        EXPECT_THAT(list.out, HasSubstr("$T/image/data/lora/own/a.js")) << option;
    }
    EXPECT_THAT(runRoot({"check", "--custom-dir", ""}).out, HasSubstr("[storage/not-configured]"));
    EXPECT_THAT(runRoot({"check", "--map", temp / "outside/list.json"}).out, HasSubstr("[list/unreadable]"));
    const ToolRun whole = runTool(
        {"--root", "/", "--codec-runner", "", "list", "--default-dir", image + DEFAULT_DIR, "--custom-dir", ""});
    EXPECT_THAT(whole.out, HasSubstr(image + DEFAULT_DIR + "/lora/demo/th1.js  ok\n"));
}

TEST_F(Root, isADirectory) {
    const ToolRun result = runTool({"list", "--root", temp / "none"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("--root: Directory does not exist: "));
    EXPECT_EQ(runTool({"list", "--root", image + LIST_PATH}).status, 2);
}

// Owner, mounts, the lock and the exchange are those of a device that runs.
TEST_F(Root, saysNothingAboutOperations) {
    writeFile(image + CUSTOM_DIR + "/.scada-sensors.lock", "");
    EXPECT_EQ(runRoot({"check"}).out, "0 faults in 1 definition and 1 list element\n");
    writeFile(image + CUSTOM_DIR + ".generations/interrupted", "{}");
    EXPECT_THAT(runRoot({"check"}).out, HasSubstr("[storage/interrupted]"));
}

// --- links

/// Something in the image that leads elsewhere, and what the tool finds then.
struct LinkRow : NamedRow {
    std::function<void(const std::string& image, const std::string& outside)> plant;
    std::vector<std::string> arguments;
    int status;
    const char* part; ///< of the answer; of standard error where that is empty
};

class RootLink : public Root, public ::testing::WithParamInterface<LinkRow> {};

TEST_P(RootLink, leadsNowhereOutside) {
    GetParam().plant(image, outside.dir());
    OpenCounter counter(outside.dir());
    const ToolRun result = runRoot(GetParam().arguments);
    EXPECT_EQ(result.status, GetParam().status) << result.out << result.err;
    EXPECT_THAT(result.out.empty() ? result.err : result.out, HasSubstr(GetParam().part));
    const auto opened = counter.take();
    EXPECT_TRUE(opened.empty()) << opened.begin()->first;
}

void replace(const std::string& path, const std::string& target) {
    std::filesystem::remove_all(path);
    makeLink(target, path);
}

void moveBehind(const std::string& image, const std::string& path, const std::string& target) {
    makeDir(std::filesystem::path(image + target).parent_path().string());
    std::filesystem::rename(image + path, image + target);
    makeLink(target, image + path);
}

constexpr const char* NO_FAULTS = "0 faults in 1 definition and 1 list element\n";

INSTANTIATE_TEST_SUITE_P(Tool, RootLink,
                         ::testing::
                             Values(LinkRow{"storage_behind_an_absolute_link",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                moveBehind(image, "/etc/scada", "/usr/share/scada");
                                            },
                                            {"check"},
                                            0,
                                            NO_FAULTS},
                                    LinkRow{"chain_of_links",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                moveBehind(image, "/etc/scada", "/usr/share/scada");
                                                moveBehind(image, "/usr/share", "/opt/../data");
                                            },
                                            {"list"},
                                            0,
                                            "$T/image/data/scada/sensors/lora/demo/th1.js  ok\n"},
                                    LinkRow{"link_that_climbs_out",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                std::filesystem::rename(image + "/etc", image + "/usr");
                                                makeLink("../../../../../../../usr", image + "/etc");
                                            },
                                            {"check"},
                                            0,
                                            NO_FAULTS},
                                    LinkRow{"storage_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                replace(image + DEFAULT_DIR, outside);
                                            },
                                            {"check"},
                                            1,
                                            "/outside: note: The default storage does not exist. [storage/missing]"},
                                    LinkRow{"storage_outside_by_a_relative_link",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                replace(image + DEFAULT_DIR, "../../../outside");
                                            },
                                            {"check"},
                                            1,
                                            "$T/image/outside: note: The default storage does not exist. "
                                            "[storage/missing]"},
                                    LinkRow{"list_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                replace(image + LIST_PATH, outside + "/list.json");
                                            },
                                            {"check"},
                                            1,
                                            "[list/unreadable]"},
                                    LinkRow{"links_in_a_circle",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                replace(image + DEFAULT_DIR, DEFAULT_DIR);
                                            },
                                            {"list"},
                                            1,
                                            "scada-sensors: [/etc/scada/sensors] leads nowhere in the image\n"},
                                    LinkRow{"way_through_what_does_not_exist",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                replace(image + DEFAULT_DIR, "/none/../etc");
                                            },
                                            {"list"},
                                            1,
                                            "leads nowhere in the image\n"},
                                    LinkRow{"way_through_a_file",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                writeFile(image + "/file", "");
                                                replace(image + DEFAULT_DIR, "/file/sensors");
                                            },
                                            {"check"},
                                            1,
                                            "[storage/"},
                                    LinkRow{"decoder_behind_an_absolute_link",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                writeFile(image + "/usr/lib/decoder.js", "");
                                                makeLink("/usr/lib/decoder.js",
                                                         image + DEFAULT_DIR + "/lora/demo/link.js");
                                                nameDecoder(image + DEFAULT_DIR, "link.js");
                                            },
                                            {"list"},
                                            0,
                                            "$T/image/usr/lib/decoder.js  ok\n"},
                                    LinkRow{"decoder_behind_a_relative_link",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                makeLink("th1.js", image + DEFAULT_DIR + "/lora/demo/link.js");
                                                nameDecoder(image + DEFAULT_DIR, "./link.js");
                                            },
                                            {"check"},
                                            0,
                                            NO_FAULTS},
                                    LinkRow{"decoder_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                makeLink(outside + "/decoder.js",
                                                         image + DEFAULT_DIR + "/lora/demo/link.js");
                                                nameDecoder(image + DEFAULT_DIR, "link.js");
                                            },
                                            {"check"},
                                            1,
                                            "th1.json:1:13: error: Invalid sensor definition [lora/demo/th1]: no "
                                            "decoder file found. "},
                                    LinkRow{"decoder_in_a_directory_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                makeLink(outside, image + DEFAULT_DIR + "/lora/demo/link");
                                                nameDecoder(image + DEFAULT_DIR, "link/decoder.js");
                                            },
                                            {"check"},
                                            1,
                                            "[definition/decoder-missing]"},
                                    LinkRow{"decoder_of_an_override_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                makeLink(outside + "/decoder.js",
                                                         image + CUSTOM_DIR + "/lora/demo/link.js");
                                                writeFile(image + CUSTOM_DIR + "/" + NAME + ".json",
                                                          R"({"decoder": "link.js", "properties": {}})");
                                            },
                                            {"diff"},
                                            1,
                                            "they cannot be compared: "},
                                    LinkRow{"definition_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                makeLink(outside + "/lora/demo/th1.json",
                                                         image + DEFAULT_DIR + "/lora/demo/th2.json");
                                            },
                                            {"check"},
                                            1,
                                            "th2.json: warning: Not listed: it is a symbolic link. [tree/behind-link]"},
                                    LinkRow{"definition_outside_without_its_suffix",
                                            [](const std::string& image, const std::string& outside) {
                                                makeLink(outside + "/lora/demo/th1.json",
                                                         image + DEFAULT_DIR + "/lora/demo/th2");
                                            },
                                            {"check"},
                                            0,
                                            NO_FAULTS},
                                    LinkRow{"definition_in_the_image_without_its_suffix",
                                            [](const std::string& image, const std::string& /*outside*/) {
                                                writeFile(image + "/usr/th2", R"({"properties": {}})");
                                                makeLink("/usr/th2", image + DEFAULT_DIR + "/lora/demo/th2");
                                            },
                                            {"check"},
                                            1,
                                            "[tree/wrong-suffix]"},
                                    LinkRow{"generations_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                writeFile(outside + "/history", "{}\n");
                                                writeFile(outside + "/interrupted", "{}");
                                                makeLink(outside, image + CUSTOM_DIR + ".generations");
                                            },
                                            {"check"},
                                            0,
                                            NO_FAULTS},
                                    LinkRow{"history_outside",
                                            [](const std::string& image, const std::string& outside) {
                                                writeFile(outside + "/history", "{}\n");
                                                makeLink(outside + "/history",
                                                         image + CUSTOM_DIR + ".generations/history");
                                            },
                                            {"history"},
                                            0,
                                            "no operations\n"}),
                         rowName);

// --- commands that are about this device

class NotForImages : public Root, public ::testing::WithParamInterface<const char*> {};

TEST_P(NotForImages, isRefused) {
    const auto before = snapshot(image);
    const std::map<std::string, std::vector<std::string>> words = {
        {"doctor", {}},     {"read", {"--all"}}, {"decode", {"aa", "--port", "1", "00"}},
        {"install", {"x"}}, {"remove", {NAME}},  {"export", {"-"}},
        {"rollback", {}},   {"recover", {}},     {"db", {"get", "a", "b"}},
        {"watch", {}}};
    std::vector<std::string> arguments = words.at(GetParam());
    arguments.insert(arguments.begin(), GetParam());
    const ToolRun result = runRoot(arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: " + std::string(GetParam()) + " is for this device only: leave --root out\n");
    EXPECT_EQ(snapshot(image), before);
}

INSTANTIATE_TEST_SUITE_P(Tool, NotForImages,
                         ::testing::Values("doctor", "read", "decode", "install", "remove", "export", "rollback",
                                           "recover", "db", "watch"));

TEST_F(Root, hasNothingToDoWithASource) {
    for (const char* command : {"check", "diff"}) {
        const ToolRun result = runRoot({command, outside.dir()});
        EXPECT_NE(result.status, 0) << command;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(runRoot({"check", outside.dir()}).err, "scada-sensors: SRC and --root do not go together\n");
}

} // namespace
