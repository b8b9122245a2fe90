// The command decode: one uplink, a stream of uplinks, and their way into the database.

#include "DecoderTest.h"
#include "RedisServer.h"
#include "decoder_plants.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using Words = std::vector<std::string>;

class Decode : public DecoderTest {
protected:
    Decode() {
        addDecoder("th1", SOUND_DECODER, SOUND_PROPERTIES);
        addDecoder("odd",
                   "function decodeUplink(i) { if (!i.bytes.length) throw new Error('empty');\n"
                   "return {data: {t: NaN, b: null, x: i.fPort, w: 'a\\nb', f: true, n: -1}}; }",
                   R"({"t": {"type": "float"}, "b": {}, "f": {"type": "bool"}, "n": {"type": "uint32"}, "w": {}})");
        addDecoder("newer", "function decodeUplink(i) { return {data: {x: [1].includes(1)}}; }", "{}");
        standard.definition("lora/demo/none", R"({"properties": {}})");
        writeList({GOOD_SENSOR, R"({"id": "bb", "src": "lora", "sensor": "demo/odd"})",
                   R"({"id": "cc", "src": "lora", "sensor": "demo/none"})",
                   R"({"id": "dd", "src": "lora", "sensor": "demo/missing"})",
                   R"({"id": "ee", "src": "lora", "sensor": "demo/newer"})"});
    }

    ToolRun decode(Words words) const {
        words.insert(words.begin(), "decode");
        return runWith(words);
    }
};

class DecodeOne : public Decode, public ::testing::WithParamInterface<RunRow> {};

TEST_P(DecodeOne, showsValuesAndWhatIsWrong) {
    const ToolRun result = decode(GetParam().arguments);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, GetParam().out);
    EXPECT_EQ(result.err, GetParam().err);
}

constexpr const char* VALUES = "b  50    -   -\n"
                               "t  21.5  °C  Temperature\n";

INSTANTIATE_TEST_SUITE_P(
    Tool, DecodeOne,
    ::testing::Values(
        RunRow{"of_a_sensor", {"lora", "AA", "--port", "1", "d732"}, 0, VALUES, ""},
        RunRow{"of_an_identifier", {"aa", "--port", "1", "d732"}, 0, VALUES, ""},
        RunRow{"bytes_with_blanks",
               {"aa", "--port", "1", "d7", "3 2"},
               2,
               "",
               "scada-sensors: [d7 3 2 ] is not a text of hexadecimal digits, two for each byte\n"},
        RunRow{"port_with_leading_zeros", {"aa", "--port", "0010", "d7", "32"}, 0, VALUES, ""},
        RunRow{"port_that_would_not_be_octal", {"aa", "--port", "008", "d7", "32"}, 0, VALUES, ""},
        RunRow{"bytes_in_several_words", {"aa", "--port", "1", "D7", "32"}, 0, VALUES, ""},
        RunRow{"of_a_definition", {"--definition", "lora/demo/th1", "--port", "1", " d7 32 "}, 0, VALUES, ""},
        RunRow{"warning",
               {"aa", "--port", "1", "d705"},
               0,
               "b  5     -   -\n"
               "t  21.5  °C  Temperature\n"
               "warning of the decoder: battery is low\n",
               ""},
        RunRow{"refused_by_the_decoder", {"aa", "--port", "1", ""}, 1, "error of the decoder: expected 2 bytes\n", ""},
        RunRow{"exception",
               {"bb", "--port", "1", ""},
               1,
               "$T/default/lora/demo/odd.js:1: error: It threw an exception: Error: empty [codec/threw]\n"
               "    Correct the decoder or the example; --no-codec leaves decoders out.\n",
               ""},
        RunRow{"newer_function",
               {"ee", "--port", "1", "00"},
               1,
               "$T/default/lora/demo/newer.js:1: note: It asks for \"includes\" of newer JavaScript: TypeError: "
               "undefined not callable (property 'includes' of [object Array]) [codec/needs-newer]\n"
               "    Check the decoder with a runner that knows newer JavaScript, given with --codec-runner.\n",
               ""},
        RunRow{
            "what_does_not_fit",
            {"bb", "--port", "7", "00"},
            1,
            "b  null    -  -\n"
            "f  true    -  -\n"
            "n  -1      -  -\n"
            "t  NaN     -  -\n"
            "w  a\\x0ab  -  -\n"
            "x  7       -  -\n"
            "$T/default/lora/demo/odd.json: error: \"n\" is -1, which is not of the type uint32. [codec/value-type]\n"
            "    Correct the decoder, or the type of the property.\n"
            "$T/default/lora/demo/odd.json: error: \"t\" is NaN, which is not a value. [codec/value-special]\n"
            "    Let the decoder leave the value out, or make it null.\n"
            "$T/default/lora/demo/odd.json: note: The definition has no property \"x\". [codec/undeclared]\n"
            "    Describe the value in \"properties\", or leave it out.\n",
            ""},
        RunRow{"unknown_sensor",
               {"zz", "--port", "1", "00"},
               4,
               "",
               "scada-sensors: No managed sensor has the identifier [zz].\n"
               "scada-sensors: \"scada-sensors sensors\" shows the managed sensors\n"},
        RunRow{"missing_definition",
               {"dd", "--port", "1", "00"},
               4,
               "",
               "scada-sensors: Sensor definition [lora/demo/missing] not found.\n"
               "scada-sensors: \"scada-sensors list\" shows the definitions\n"},
        RunRow{"without_decoder",
               {"cc", "--port", "1", "00"},
               1,
               "",
               "scada-sensors: LoRaWAN decoder is not defined for [lora/demo/none] sensor definition.\n"},
        RunRow{"without_bytes", {"aa", "--port", "1"}, 2, "", "scada-sensors: BYTES are required; try decode --help\n"},
        RunRow{"store_without_sensor",
               {"--definition", "lora/demo/th1", "--store", "--port", "1", "d732"},
               2,
               "",
               "scada-sensors: --store needs a sensor\n"},
        RunRow{"bad_time",
               {"aa", "--port", "1", "--time", "noon", "d732"},
               2,
               "",
               "scada-sensors: [noon] is not a time such as 2024-05-01T10:00:00Z\n"},
        RunRow{"without_runner",
               {"aa", "--port", "1", "d732", "--codec-runner", "/none"},
               1,
               "",
               "scada-sensors: There is no program [/none] to run decoders.\n"}),
    rowName);

TEST_F(Decode, answersPrograms) {
    const Json::Value answer = parsed(decode({"bb", "--port", "7", "00", "--json"}).out);
    EXPECT_EQ(answer["code"].asString(), "failed");
    EXPECT_EQ(answer["error"].asString(), "\"n\" is -1, which is not of the type uint32.");
    const Json::Value& result = answer["result"];
    EXPECT_EQ(result["sensor"].asString(), "lora@bb");
    EXPECT_EQ(result["values"][3], parsed(R"({"property": "t", "value": null, "unit": null, "special": "NaN"})"));
    EXPECT_EQ(result["values"][1], parsed(R"({"property": "f", "value": true, "unit": null})"));
    EXPECT_EQ(result["findings"].size(), 3U);
    EXPECT_EQ(parsed(decode({"aa", "--port", "1", "d705", "--json"}).out)["result"]["warnings"],
              parsed(R"(["battery is low"])"));
}

TEST_F(Decode, goesOnBehindABadLine) {
    const ToolRun result = feed("d732\nxyz\n\nd733", {"decode", "aa", "--port", "1", "-"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "b 50, t 21.5 °C\n"
                          "line 2 is not a text of hexadecimal digits, two for each byte\n"
                          "error of the decoder: expected 2 bytes\n"
                          "b 51, t 21.5 °C\n");
    EXPECT_EQ(feed("d732\nd733\n", {"decode", "aa", "--port", "1", "-"}).status, 0);
}

TEST_F(Decode, answersProgramsLineByLine) {
    const ToolRun result = feed("d732\nxyz\n00\nd733\n", {"decode", "aa", "--port", "1", "-", "--json"});
    std::istringstream lines(result.out);
    std::vector<std::string> codes;
    for (std::string line; std::getline(lines, line);) {
        const Json::Value answer = parsed(line);
        codes.push_back(answer["code"].asString() + answer["result"]["line"].asString());
    }
    EXPECT_EQ(codes, (Words{"done1", "failed2", "failed3", "done4"}));
    EXPECT_EQ(result.status, 1);
}

// One process serves the whole stream: the decoder's own variables persist.
TEST_F(Decode, keepsTheRunnerForAStream) {
    addDecoder("count", "var n = 0; function decodeUplink(i) { return {data: {n: ++n}}; }", R"({"n": {}})");
    EXPECT_EQ(feed("\n\n\n", {"decode", "--definition", "lora/demo/count", "--port", "1", "-"}).out, "n 1\nn 2\nn 3\n");
}

TEST_F(Decode, startsTheRunnerAgainBehindACallThatTookTooLong) {
    addDecoder("loop", "function decodeUplink(i) { while (i.bytes[0]); return {data: {n: 1}}; }", R"({"n": {}})");
    const ToolRun result =
        feed("00\n01\n00\n", {"decode", "--definition", "lora/demo/loop", "--port", "1", "--codec-time", "0.1", "-"});
    EXPECT_EQ(result.out, "n 1\n"
                          "$T/default/lora/demo/loop.js: error: It takes more than 0.1 s of CPU time. "
                          "[codec/over-limit]\n"
                          "    Correct the decoder, or raise the limit with --codec-time or --codec-memory.\n"
                          "n 1\n");
    EXPECT_EQ(result.status, 1);
}

class DecodeToStore : public Decode {
protected:
    ToolRun store(const std::string& id, const std::string& bytes) const {
        return decode({id, "--port", "7", bytes, "--store", "--socket", server.socket()});
    }

    RedisServer server;
};

TEST_F(DecodeToStore, writesTheHashOfTheSensor) {
    EXPECT_EQ(store("aa", "d732").status, 0);
    EXPECT_EQ(server.run({"HGET", "lora@aa", "t"}), "\"21.5\"");
    EXPECT_EQ(server.run({"HGET", "lora@aa", "b"}), "\"50\"");
    EXPECT_EQ(server.run({"HLEN", "lora@aa"}), "(integer 2)");
    // Time passes on a busy machine.
    EXPECT_THAT(server.run({"TTL", "lora@aa"}), ::testing::ContainsRegex("^.integer 129(600|5[0-9][0-9]).$"));
}

TEST_F(DecodeToStore, writesNothingThatIsNoValueOrDoesNotFit) {
    EXPECT_EQ(store("bb", "00").status, 1);
    EXPECT_EQ(server.run({"HGET", "lora@bb", "f"}), "\"1\"");
    EXPECT_EQ(server.run({"HGET", "lora@bb", "x"}), "\"7\"");
    EXPECT_EQ(server.run({"HGET", "lora@bb", "w"}), "\"a\nb\"");
    EXPECT_EQ(server.run({"HLEN", "lora@bb"}), "(integer 3)");
}

TEST_F(DecodeToStore, writesNothingThatTheDecoderRefuses) {
    EXPECT_EQ(store("aa", "d7").status, 1);
    EXPECT_EQ(server.run({"EXISTS", "lora@aa"}), "(integer 0)");
}

TEST_F(DecodeToStore, writesEachLineOfAStream) {
    const ToolRun result =
        feed("d732\nd233\n", {"decode", "aa", "--port", "1", "--store", "--socket", server.socket(), "-", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("\"stored\":2"));
    EXPECT_EQ(server.run({"HGET", "lora@aa", "t"}), "\"21\"");
}

TEST_F(DecodeToStore, tellsThatAKeyIsNoHash) {
    server.run({"SET", "lora@aa", "text"});
    const ToolRun result = store("aa", "d732");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "scada-sensors: The server refused the command for key [lora@aa]: its type is string, not hash.\n");
}

TEST_F(DecodeToStore, tellsThatThereIsNoServer) {
    const ToolRun result = decode({"aa", "--port", "1", "d732", "--store", "--socket", temp / "none"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "scada-sensors: There is no socket [$T/none]. Start the server, or correct --socket.\n");
}

TEST_F(DecodeToStore, tellsAPersonBehindAStreamThatThereIsNoServer) {
    const ToolRun result = feed("d732\n", {"decode", "aa", "--port", "1", "--store", "--socket", temp / "none", "-"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "scada-sensors: There is no socket [$T/none]. Start the server, or correct --socket.\n");
}

} // namespace
