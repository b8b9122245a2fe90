// Counts how often a run opens each file. Each opening is another reading and parsing, and the file may have changed in
// the meantime.

#include "NamedRow.h"
#include "OpenCounter.h"
#include "ToolTest.h"
#include "row_name.h"

#include <map>
#include <set>

namespace {

using namespace Kelvra::SCADA::Test;

using Openings = std::map<std::string, int>;

class OpenCountTest : public ToolTest {
protected:
    /// Makes a device with valid, hidden and faulty definitions and with valid and faulty list elements, a source with
    /// valid and faulty definitions, and an upload with valid ones only.
    OpenCountTest() : source(temp / "source"), upload(temp / "upload") {
        for (const char* name : {"lora/demo/th1", "lora/demo/th2", "lora/demo/th3"})
            addDefinition(standard, name);
        addFaulty(standard);
        addDefinition(custom, "lora/demo/th1", "Water");
        addDefinition(custom, "lora/demo/own");
        for (const char* name : {"lora/demo/th1", "lora/demo/th2", "lora/demo/new"}) {
            addDefinition(source, name, "Soil");
            addDefinition(upload, name, "Soil");
        }
        addFaulty(source);
        writeList({GOOD_SENSOR, R"({"id": "BB", "src": "lora", "sensor": "demo/th1"})",
                   R"({"id": "CC", "src": "lora", "sensor": "demo/th2"})",
                   R"({"id": "DD", "src": "lora", "sensor": "demo/own"})",
                   R"({"id": "EE", "src": "lora", "sensor": "demo/broken"})",
                   R"({"id": "FF", "src": "lora", "sensor": "demo/nosuch"})", GOOD_SENSOR,
                   R"({"src": "lora", "sensor": "demo/th2"})", R"({"id": "a@b", "src": "lora", "sensor": "demo/th2"})",
                   "17"});
    }

    /// Runs the tool. Returns the files below the temporary directory that were opened, by their relative paths.
    Openings openingsOf(std::vector<std::string> arguments, int status) const {
        for (std::string& argument : arguments)
            argument = replaced(argument, "$T", temp.path());
        OpenCounter counter(temp.path());
        const ToolRun result = run(arguments);
        EXPECT_EQ(result.status, status) << result.out << result.err;
        Openings openings;
        for (const auto& [path, count] : counter.take())
            openings[path.substr(temp.path().size() + 1)] = count;
        return openings;
    }

    StorageBuilder source;
    StorageBuilder upload;

private:
    static void addFaulty(StorageBuilder& storage) {
        storage.definition("lora/demo/broken", "{");
        storage.definition("lora/demo/empty", R"({"decoder": "empty.js"})").decoder("lora/demo/empty", "empty.js");
        storage.definition("lora/demo/lost", R"({"decoder": "nosuch.js", "properties": {}})");
    }
};

/// A command that only reads, and the files that it must open exactly once.
struct ReadingRow : NamedRow {
    std::vector<std::string> arguments; ///< "$T" stands for the temporary directory
    int status;
    std::vector<std::string> once; ///< relative to the temporary directory
};

class Reading : public OpenCountTest, public ::testing::WithParamInterface<ReadingRow> {};

// A second opening is allowed to find the places in a faulty definition, and to compare an installed definition byte
// for byte with its replacement.
TEST_P(Reading, opensNoFileTooOften) {
    Openings openings = openingsOf(GetParam().arguments, GetParam().status);
    EXPECT_FALSE(openings.empty());
    for (const auto& [path, count] : openings) {
        const bool ofSource = path.rfind("source/", 0) == 0 || path.rfind("upload/", 0) == 0;
        EXPECT_LE(count, ofSource || path == "list.json" ? 1 : 2) << path;
    }
    for (const std::string& path : GetParam().once)
        EXPECT_EQ(openings[path], 1) << path;
}

const std::vector<std::string> IN_FORCE = {"custom/lora/demo/own.json", "custom/lora/demo/th1.json",
                                           "default/lora/demo/th2.json", "default/lora/demo/th3.json"};
const std::vector<std::string> IN_USE = {"list.json", "custom/lora/demo/own.json", "custom/lora/demo/th1.json",
                                         "default/lora/demo/th2.json"};
const std::vector<std::string> ALL = {"list.json",
                                      "custom/lora/demo/own.json",
                                      "custom/lora/demo/th1.json",
                                      "default/lora/demo/th1.json",
                                      "default/lora/demo/th2.json",
                                      "default/lora/demo/th3.json"};
const std::vector<std::string> OF_SOURCE = {"source/lora/demo/new.json", "source/lora/demo/th1.json",
                                            "source/lora/demo/th2.json"};

std::vector<std::string> forInstallationOf(const std::string& source) {
    return {"list.json", source + "/lora/demo/new.json", source + "/lora/demo/th1.json", source + "/lora/demo/th2.json",
            "default/lora/demo/th2.json"};
}

INSTANTIATE_TEST_SUITE_P(
    Tool, Reading,
    ::testing::Values(ReadingRow{"list", {"list"}, 0, IN_FORCE},
                      ReadingRow{"show", {"show", "lora/demo/th1"}, 0, {"custom/lora/demo/th1.json"}},
                      ReadingRow{
                          "show_property", {"show", "lora/demo/th1", "temperature"}, 0, {"custom/lora/demo/th1.json"}},
                      ReadingRow{"show_broken", {"show", "lora/demo/broken"}, 1, {}},
                      ReadingRow{"check", {"check"}, 1, ALL},
                      ReadingRow{"report", {"report", "/dev/null", "--socket", "$T/none"}, 0, ALL},
                      ReadingRow{"sensors", {"sensors"}, 0, IN_USE},
                      ReadingRow{"resolve", {"resolve", "lora", "CC"}, 0, {"list.json", "default/lora/demo/th2.json"}},
                      ReadingRow{"resolve_property",
                                 {"resolve", "lora", "CC", "temperature"},
                                 0,
                                 {"list.json", "default/lora/demo/th2.json"}},
                      ReadingRow{"resolve_unmanaged", {"resolve", "lora", "00"}, 4, {"list.json"}},
                      ReadingRow{"check_source", {"check", "$T/source"}, 1, OF_SOURCE},
                      ReadingRow{"dry_run", {"install", "$T/source", "--dry-run"}, 5, forInstallationOf("source")},
                      ReadingRow{"dry_run_overwriting",
                                 {"install", "$T/source", "--dry-run", "--allow-overwrite"},
                                 5,
                                 forInstallationOf("source")},
                      ReadingRow{"dry_run_without_fault",
                                 {"install", "$T/upload", "--dry-run", "--allow-overwrite"},
                                 0,
                                 forInstallationOf("upload")}),
    rowName);

// If nothing was written, nothing is verified.
TEST_F(OpenCountTest, anUnchangedInstallationOpensNoFileMoreThanTwice) {
    openingsOf({"install", "$T/upload", "--allow-overwrite"}, 0);
    const Openings openings = openingsOf({"install", "$T/upload"}, 0);
    EXPECT_FALSE(openings.empty());
    for (const auto& [path, count] : openings)
        EXPECT_LE(count, 2) << path;
}

// The tool copies the source; everything that reads a file after that reads the copy.
TEST_F(OpenCountTest, installationOpensEachFileOfItsSourceOnce) {
    const Openings openings = openingsOf({"install", "$T/upload", "--allow-overwrite"}, 0);
    std::set<std::string> opened;
    for (const auto& [path, count] : openings) {
        if (path.rfind("upload/", 0) != 0)
            continue;
        opened.insert(path.substr(path.rfind('/') + 1));
        EXPECT_EQ(count, 1) << path;
    }
    EXPECT_EQ(opened, (std::set<std::string>{"new.js", "new.json", "th1.js", "th1.json", "th2.js", "th2.json"}));
}

} // namespace
