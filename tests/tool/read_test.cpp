// The values of sensors in the database, on the test's own server.

#include "RedisServer.h"
#include "ToolTest.h"
#include "json_text.h"

#include <gmock/gmock.h>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;

constexpr const char* PROPERTIES = R"({"decoder": "th1.js", "properties": {
    "temperature": {"name": "Temperature", "unit": "°C", "type": "float", "min": -40, "max": 85},
    "count": {"type": "uint32"}, "on": {"type": "bool"}, "text": {}, "silent": {"type": "float"}, "none": 7}})";

class Read : public ToolTest {
protected:
    Read() {
        writeFile(temp / "default/lora/demo/th1.json", PROPERTIES);
        writeFile(temp / "default/lora/demo/th1.js", "");
        writeList({GOOD_SENSOR, R"({"id": "bb", "src": "lora", "sensor": "demo/th1"})",
                   R"({"id": "cc", "src": "lora", "sensor": "demo/missing"})"});
    }

    ToolRun read(std::vector<std::string> words) const {
        words.insert(words.begin(), {"read", "--socket", server.socket()});
        return run(words);
    }

    void set(const std::string& field, const std::string& value) const { server.run({"HSET", KEY, field, value}); }

    RedisServer server;
};

TEST_F(Read, marksWhatDoesNotFit) {
    for (const auto& [field, value] : std::vector<std::pair<std::string, std::string>>{
             {"temperature", "140"}, {"count", "-1"}, {"on", "1"}, {"text", "a\nb"}, {"other", "7"}})
        set(field, value);
    const ToolRun result = read({"lora", "AA"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "PROPERTY     VALUE   UNIT  NAME         STATE\n"
                          "count        -1      -     -            \"count\" is -1, which is not of the type uint32.\n"
                          "on           1       -     -            ok\n"
                          "other        7       -     -            undeclared\n"
                          "silent       -       -     -            missing\n"
                          "temperature  140     °C    Temperature  \"temperature\" is 140, above its maximum 85.\n"
                          "text         a\\x0ab  -     -            ok\n"
                          "the values do not expire\n");
}

TEST_F(Read, tellsWhenTheValuesExpire) {
    set("temperature", "21.5");
    server.run({"PEXPIRE", KEY, "100000"});
    EXPECT_THAT(read({"aa"}).out, HasSubstr("the values expire in 100 s\n"));
}

TEST_F(Read, wholeTextIsTheNumber) {
    for (const char* text : {"21.5 or so", "", "nan", "inf", "0x10", " 1", "1e400"}) {
        set("temperature", text);
        EXPECT_THAT(read({"aa", "temperature"}).out, HasSubstr("which is not of the type float.")) << text;
    }
    for (const char* text : {"4294967296", "1.0", "1e3", "+1"}) {
        set("count", text);
        EXPECT_THAT(read({"aa", "count"}).out, HasSubstr("which is not of the type uint32.")) << text;
    }
}

TEST_F(Read, forPrograms) {
    set("temperature", "21.5");
    server.run({"PEXPIRE", KEY, "86400000"});
    const Json::Value result = parsed(read({"aa", "temperature", "--json"}).out)["result"];
    EXPECT_EQ(result["values"], parsed(R"([{"property": "temperature", "value": 21.5, "unit": "°C",
        "name": "Temperature", "state": "ok", "fault": null}])"));
    EXPECT_EQ(result["sensor"], KEY);
    EXPECT_GT(result["seconds_left"].asInt(), 86000);
}

TEST_F(Read, namesWhatIsNotThere) {
    ToolRun result = read({"aa"});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err,
              "scada-sensors: The database has no key [lora@aa]: nothing was written, or it has expired.\n"
              "scada-sensors: to find out why: scada-sensors doctor lora aa --default-dir $T/default --custom-dir "
              "$T/custom --staging-dir $T/staging --map $T/list.json --socket " +
                  replaced(server.socket(), temp.path(), "$T") + " --codec-runner ''\n");
    set("temperature", "21.5");
    EXPECT_EQ(read({"aa", "nothing"}).status, 4);
    EXPECT_EQ(read({"dd"}).status, 4);
    result = read({"cc"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("[list/definition-missing]"));
}

TEST_F(Read, refusesAKeyThatIsNoHash) {
    server.run({"SET", KEY, "1"});
    const ToolRun result = read({"aa"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: Key [lora@aa] is not readable as a hash.\n");
}

TEST_F(Read, allSensors) {
    set("temperature", "21.5");
    set("on", "1");
    server.run({"SET", "lora@bb", "1"});
    const ToolRun result = read({"--all"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "SENSOR   DEFINITION         FIELDS  AGE  EXPIRES IN  STATE\n"
                          "lora@aa  lora/demo/th1      2       -    -           values\n"
                          "lora@bb  lora/demo/th1      0       -    -           no hash\n"
                          "lora@cc  lora/demo/missing  0       -    -           no values\n");
}

TEST_F(Read, manySensors) {
    std::vector<std::string> elements;
    for (int number = 1; number <= 1000; ++number) {
        const std::string id = std::to_string(number);
        elements.push_back(R"({"id": ")" + id + R"(", "src": "lora", "sensor": "demo/th1"})");
        server.run({"HSET", "lora@" + id, "text", std::string(2000, 'x') + id});
    }
    writeList(elements);
    const Json::Value result = parsed(read({"--all", "--json"}).out)["result"];
    ASSERT_EQ(result.size(), 1000U);
    EXPECT_EQ(result[999]["sensor"], "lora@1000");
    EXPECT_EQ(result[999]["fields"], 1);
}

TEST_F(Read, needsASensorOrAll) {
    EXPECT_EQ(read({}).status, 2);
    EXPECT_EQ(read({"--all", "aa"}).status, 2);
    EXPECT_EQ(read({"lora", "aa", "temperature", "on"}).status, 2);
}

TEST_F(Read, saysWhyThereIsNoServer) {
    const ToolRun result = run({"read", "aa", "--socket", temp / "none"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "scada-sensors: There is no socket [$T/none]. Start the server, or correct --socket.\n");
}

} // namespace
