#include "NamedRow.h"
#include "ToolTest.h"
#include "findings.h"
#include "json_text.h"
#include "row_name.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

namespace {

using namespace Kelvra::SCADA::Test;

struct SourceRow : NamedRow {
    std::function<void(const std::string& dir)> plant;
    const char* out;
};

class CheckSource : public ToolTest, public ::testing::WithParamInterface<SourceRow> {};

TEST_P(CheckSource, namesEveryFault) {
    StorageBuilder source(temp / "source");
    addDefinition(source, "lora/demo/good");
    GetParam().plant(source.dir());
    const ToolRun result = run({"check", source.dir()});
    EXPECT_EQ(replaced(result.out, "$T/source", "$S"), withRemedies(GetParam().out));
    EXPECT_EQ(result.status, result.out.rfind("0 faults", 0) == 0 ? 0 : 1);
    EXPECT_EQ(result.err, "");
}

void plantStray(const std::string& dir) {
    writeFile(dir + "/lorax/demo/bad.json", "{}");
    writeFile(dir + "/other/demo/good.json", R"({"properties": {}})");
}

void plantNoDecoder(const std::string& dir) {
    writeFile(dir + "/lora/demo/a.json", R"({"properties": {}})");
    writeFile(dir + "/lora/demo/b.json", R"({"properties": 7, "decoder": " "})");
    writeFile(dir + "/lora/demo/c.json", R"({"properties": {}, "decoder": "nosuch"})");
}

void plantDecoderOutside(const std::string& dir) {
    writeFile(dir + "/../outside/x.js", "");
    makeLink("../../../outside/x.js", dir + "/lora/demo/x.js");
    writeFile(dir + "/lora/demo/x.json", R"({"properties": {}, "decoder": "x.js"})");
}

void plantStrayWithDecoderOutside(const std::string& dir) {
    writeFile(dir + "/../outside/x.js", "");
    makeLink("../../../outside/x.js", dir + "/other/demo/x.js");
    writeFile(dir + "/other/demo/x.json", R"({"properties": {}, "decoder": "x.js"})");
    writeFile(dir + "/other/demo/y.json", R"({"properties": {}, "decoder": "y.js"})");
    writeFile(dir + "/other/demo/y.js", "");
    chmod((dir + "/other/demo/y.js").c_str(), 0);
}

// A decoder outside the source, whose path starts with the letters of the source's path: the library would accept it.
void plantDecoderBesideThePrefix(const std::string& dir) {
    writeFile(dir + "2/x.js", "");
    makeLink("../../../source2/x.js", dir + "/lora/demo/x.js");
    writeFile(dir + "/lora/demo/x.json", R"({"properties": {}, "decoder": "x.js"})");
}

void plantDecoderInside(const std::string& dir) {
    writeFile(dir + "/shared/x.js", "");
    makeLink("../../shared/x.js", dir + "/lora/demo/x.js");
    writeFile(dir + "/lora/demo/x.json", R"({"properties": {}, "decoder": "x.js"})");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, CheckSource,
    ::testing::Values(
        SourceRow{"good", nothing, "0 faults in 1 definition\n"},
        SourceRow{"outside_the_family", plantStray,
                  "$S/lorax/demo/bad.json:1:1: error: Invalid syntax of the sensor definition [lorax/demo/bad]: no "
                  "[properties] section defined. [definition/no-properties]\n"
                  "$S/lorax/demo/bad.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]\n"
                  "$S/other/demo/good.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]\n"
                  "3 faults in 3 definitions\n"},
        SourceRow{
            "without_decoder", plantNoDecoder,
            "$S/lora/demo/a.json:1:1: error: LoRaWAN decoder is not defined for [lora/demo/a] sensor definition. "
            "[source/no-decoder]\n"
            "$S/lora/demo/b.json:1:16: error: Invalid syntax of the sensor definition [lora/demo/b]: no "
            "[properties] section defined. [definition/no-properties]\n"
            "$S/lora/demo/b.json:1:30: error: LoRaWAN decoder is not defined for [lora/demo/b] sensor definition. "
            "[source/no-decoder]\n"
            "$S/lora/demo/c.json:1:31: error: Invalid sensor definition [lora/demo/c]: no decoder file found. "
            "[definition/decoder-missing]\n"
            "4 faults in 4 definitions\n"},
        SourceRow{
            "decoder_outside", plantDecoderOutside,
            "$S/lora/demo/x.json:1:31: error: Invalid sensor definition [lora/demo/x]: bad decoder file location. "
            "[source/decoder-outside]\n"
            "1 fault in 2 definitions\n"},
        SourceRow{
            "outside_the_family_with_decoder", plantStrayWithDecoderOutside,
            "$S/other/demo/x.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]\n"
            "$S/other/demo/x.json:1:31: error: Invalid sensor definition [other/demo/x]: bad decoder file location. "
            "[source/decoder-outside]\n"
            "$S/other/demo/y.json: error: Only LoRaWAN sensors are currently supported. [source/not-lorawan]\n"
            "$S/other/demo/y.js: error: File copying error while importing decoder for the [other/demo/y] definition. "
            "[source/decoder-unreadable]\n"
            "4 faults in 3 definitions\n"},
        SourceRow{"decoder_beside_the_prefix", plantDecoderBesideThePrefix,
                  "$S/lora/demo/x.json:1:31: error: Invalid sensor definition [lora/demo/x]: bad decoder file "
                  "location. [source/decoder-outside]\n"
                  "1 fault in 2 definitions\n"},
        SourceRow{"decoder_linked_inside", plantDecoderInside, "0 faults in 2 definitions\n"},
        SourceRow{"not_listed", [](const std::string& dir) { writeFile(dir + "/lora/x.json", "{}"); },
                  "$S/lora/x.json: warning: Not listed: a definition must be exactly two directories below its "
                  "storage. [tree/wrong-level]\n"
                  "1 fault in 1 definition\n"}),
    rowName);

struct SourcePlaceRow : NamedRow {
    const char* source;
    const char* out;
};

class CheckSourcePlace : public ToolTest, public ::testing::WithParamInterface<SourcePlaceRow> {};

TEST_P(CheckSourcePlace, isJudgedAsAnInstallationJudgesIt) {
    makeDir(temp / "empty");
    makeDir(temp / "staging");
    makeFifo(temp / "fifo");
    const ToolRun result = run({"check", replaced(GetParam().source, "$T", temp.path())});
    EXPECT_EQ(result.out, withRemedies(GetParam().out));
    EXPECT_EQ(result.status, result.out.rfind("0 faults", 0) == 0 ? 0 : 1);
    EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, CheckSourcePlace,
    ::testing::Values(SourcePlaceRow{"missing", "$T/nosuch",
                                     "$T/nosuch: error: No definition files provided. [source/missing]\n"
                                     "1 fault in 0 definitions\n"},
                      SourcePlaceRow{"no_name", "",
                                     "error: No definition files provided. [source/missing]\n"
                                     "1 fault in 0 definitions\n"},
                      SourcePlaceRow{"no_directory", "$T/fifo",
                                     "$T/fifo: error: Source directory is not provided. [source/not-a-directory]\n"
                                     "1 fault in 0 definitions\n"},
                      SourcePlaceRow{"empty", "$T/empty", "0 faults in 0 definitions\n"},
                      SourcePlaceRow{"staging", "$T/staging",
                                     "$T/staging: error: --staging-dir [$T/staging] is the same directory as SRC "
                                     "[$T/staging]. [install/unsafe-directory]\n"
                                     "1 fault in 0 definitions\n"},
                      SourcePlaceRow{"staging_with_a_slash", "$T/staging/",
                                     "$T/staging: error: --staging-dir [$T/staging] is the same directory as SRC "
                                     "[$T/staging/]. [install/unsafe-directory]\n1 fault in 0 definitions\n"}),
    rowName);

TEST_F(CheckSource, asJson) {
    writeFile(temp / "source/lora/demo/a.json", R"({"properties": {}})");
    const ToolRun result = run({"check", temp / "source", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, R"({
  "code" : "failed",
  "error" : "1 fault in 1 definition",
  "format_version" : 2,
  "result" : 
  {
    "definitions" : 1,
    "findings" : 
    [
      {
        "column" : 1,
        "definition" : "lora/demo/a",
        "file" : "$T/source/lora/demo/a.json",
        "line" : 1,
        "remedy" : "Add the decoder file and name it in \"decoder\".",
        "rule" : "source/no-decoder",
        "severity" : "error",
        "text" : "LoRaWAN decoder is not defined for [lora/demo/a] sensor definition."
      }
    ]
  },
  "status" : "fail"
}
)");
}

// Remains of killed runs in the directory where sources are copied.
class LeftCopies : public ToolTest {
protected:
    LeftCopies() : source(temp / "source") {
        addDefinition(source, "lora/demo/th1");
        makeDir(temp / "tmp");
        leave("scada-source-a1B2c3");
        setenv("TMPDIR", (temp / "tmp").c_str(), 1);
    }
    ~LeftCopies() override { unsetenv("TMPDIR"); }

    void leave(const std::string& name, mode_t mode = 0700) const {
        writeFile(temp / ("tmp/" + name + "/source/lora/demo/x.json"), "{}");
        chmod((temp / ("tmp/" + name)).c_str(), mode);
    }
    std::set<std::string> left() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(temp / "tmp"))
            names.insert(entry.path().filename().string());
        return names;
    }

    StorageBuilder source;
};

TEST_F(LeftCopies, areRemoved) {
    EXPECT_EQ(run({"check", source.dir()}).status, 0);
    EXPECT_EQ(left(), std::set<std::string>{});
}

TEST_F(LeftCopies, areToldFromOtherDirectories) {
    leave("scada-source-open12", 0755);
    leave("scada-source-longer-name");
    leave("scada-sourceX-a1B2c3");
    EXPECT_EQ(run({"check", source.dir()}).status, 0);
    EXPECT_EQ(left(),
              (std::set<std::string>{"scada-source-longer-name", "scada-source-open12", "scada-sourceX-a1B2c3"}));
}

TEST_F(LeftCopies, areToldFromThoseInUse) {
    const int held = open((temp / "tmp/scada-source-a1B2c3").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    EXPECT_EQ(run({"check", source.dir()}).status, 0);
    EXPECT_EQ(left(), std::set<std::string>{"scada-source-a1B2c3"});
    close(held);
    EXPECT_EQ(run({"check", source.dir()}).status, 0);
    EXPECT_EQ(left(), std::set<std::string>{});
}

// Nothing is made or removed where other users could replace it.
TEST_F(LeftCopies, stayWhereOthersMayWrite) {
    chmod((temp / "tmp").c_str(), 0777);
    EXPECT_EQ(run({"check", source.dir()}).status, 0);
    EXPECT_EQ(left(), std::set<std::string>{"scada-source-a1B2c3"});
}

} // namespace
