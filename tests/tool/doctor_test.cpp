// Causes of "no data", planted one by one: doctor names each cause and the next step.

#include "DecoderTest.h"
#include "NamedRow.h"
#include "RedisServer.h"
#include "ScriptedRedis.h"
#include "ToolProcess.h"
#include "json_text.h"
#include "row_name.h"

#include <scada/Conf.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <regex>
#include <sstream>
#include <thread>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* EXAMPLE = R"([{"description": "normal", "input": {"fPort": 1, "bytes": "d7 32"},
    "output": {"data": {"t": 21.5, "b": 50}}}])";

/// A device with one sensor that shows its data.
class Doctor : public DecoderTest {
protected:
    Doctor() {
        addDecoder("th1", SOUND_DECODER, SOUND_PROPERTIES, EXAMPLE);
        writeList({GOOD_SENSOR});
        server.run({"HSET", KEY, "t", "21.5", "b", "50"});
        server.run({"EXPIRE", KEY, "129600"});
        server.run({"CONFIG", "SET", "notify-keyspace-events", "KA"});
    }

    // Below each line is the command that leads on.
    // Each command of the tool repeats the given options, which are taken off here.
    ToolRun doctor(std::vector<std::string> words, const std::string& socket) const {
        words.insert(words.begin(), {"doctor", "--socket", socket});
        ToolRun result = runWith(words);
        const std::string options = optionsWith(socket);
        std::istringstream told(result.out);
        for (std::string line; std::getline(told, line);) {
            if (line.rfind("    scada-sensors ", 0) == 0) {
                EXPECT_THAT(line, ::testing::EndsWith(options));
            }
        }
        result.out = replaced(result.out, options, "");
        std::istringstream lines(result.out);
        std::string command;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_THAT(line, ::testing::ContainsRegex("^(ok|note|fault) [a-z ]+: "));
            EXPECT_TRUE(std::getline(lines, command)) << line;
            EXPECT_THAT(command, ::testing::ContainsRegex("^    [a-z]")) << line;
        }
        return result;
    }

    std::string optionsWith(const std::string& socket) const {
        const bool isPlain = socket.find(' ') == std::string::npos;
        const std::string word = isPlain ? socket : "'" + replaced(socket, "'", "'\\''") + "'";
        return " --default-dir $T/default --custom-dir $T/custom --staging-dir $T/staging --map $T/list.json "
               "--socket " +
               replaced(word, temp.path(), "$T") + " --codec-runner " + replaced(duktape, temp.path(), "$T");
    }

public:
    ToolRun doctor(const std::vector<std::string>& words) const { return doctor(words, socketPath()); }

    std::string socketPath() const { return otherSocket.empty() ? server.socket() : otherSocket; }
    std::string place(const std::string& name) const { return temp / name; }
    void list(const std::vector<std::string>& elements) const { writeList(elements); }
    void decoder(const std::string& script, const std::string& properties) {
        addDecoder("th1", script, properties, EXAMPLE);
    }

    RedisServer server;
    std::string otherSocket;
};

struct Cause : NamedRow {
    std::function<void(Doctor& device)> plant;
    const char* line; ///< that names the cause, and what follows below it
};

class CauseOfNoData : public Doctor, public ::testing::WithParamInterface<Cause> {};

TEST_P(CauseOfNoData, isNamed) {
    GetParam().plant(*this);
    const ToolRun result = doctor({"aa"});
    EXPECT_EQ(result.status, 1) << result.out << result.err;
    EXPECT_THAT(replaced(result.out + result.err, socketPath(), "$S"), HasSubstr(GetParam().line));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, CauseOfNoData,
    ::testing::Values(
        Cause{"no_definition",
              [](Doctor& device) { device.list({R"({"id": "aa", "src": "lora", "sensor": "demo/none"})"}); },
              "fault definition: Sensor definition [lora/demo/none] not found. Install the definition, or correct "
              "\"sensor\"; \"scada-sensors list\" shows what there is.\n    scada-sensors list\n"},
        Cause{"definition_is_no_json",
              [](Doctor& device) { writeFile(device.place("default/lora/demo/th1.json"), "{"); },
              "fault definition: Invalid syntax of the sensor definition [lora/demo/th1]."},
        Cause{
            "definition_without_properties",
            [](Doctor& device) { writeFile(device.place("default/lora/demo/th1.json"), "{\"decoder\": \"th1.js\"}"); },
            "fault definition: Invalid syntax of the sensor definition [lora/demo/th1]: no [properties] section "
            "defined. "
            "Add an object \"properties\" to the definition.\n"},
        Cause{"decoder_is_missing", [](Doctor& device) { unlink(device.place("default/lora/demo/th1.js").c_str()); },
              "fault definition: Invalid sensor definition [lora/demo/th1]: no decoder file found. Add the decoder "
              "file, or "
              "correct its name in \"decoder\".\n"},
        Cause{"custom_definition_hides_a_good_one",
              [](Doctor& device) { writeFile(device.place("custom/lora/demo/th1.json"), ""); },
              "note definition: [lora/demo/th1] is the custom one and hides the default one\n"
              "    scada-sensors remove lora/demo/th1\n"},
        Cause{"decoder_is_cut_off", [](Doctor& device) { device.decoder("function decodeUplink(i) {", "{}"); },
              "fault decoder: It does not load: "},
        Cause{"decoder_has_no_entry_point", [](Doctor& device) { device.decoder("var x = 1;", "{}"); },
              "fault decoder: It has no function decodeUplink, Decode or Decoder after it has run."},
        Cause{"decoder_throws",
              [](Doctor& device) { device.decoder("function decodeUplink(i) { throw 1; }", SOUND_PROPERTIES); },
              "fault decoder: In \"normal\": It threw an exception: "},
        Cause{"decoder_has_another_factor",
              [](Doctor& device) {
                  device.decoder("function decodeUplink(i) { return {data: {t: i.bytes[0] / 100, b: i.bytes[1]}}; }",
                                 SOUND_PROPERTIES);
              },
              "fault decoder: In \"normal\": \"t\" "},
        Cause{"element_is_faulty", [](Doctor& device) { device.list({R"({"id": "aa", "src": "lora"})"}); },
              "fault sensor: Sensor definition is not specified for the [aa] sensor. Give \"sensor\" the name of a "
              "definition, as in \"maker/model\".\n    scada-sensors resolve aa\n"},
        Cause{"list_is_no_json", [](Doctor& device) { writeFile(device.place("list.json"), "["); },
              "fault managed sensors: "},
        Cause{"fields_have_other_names",
              [](Doctor& device) {
                  device.server.run({"DEL", KEY});
                  device.server.run({"HSET", KEY, "temperature", "21.5"});
              },
              "fault values: none of the definition's 2 values is there\n    scada-sensors read lora aa\n"},
        Cause{"no_socket", [](Doctor& device) { device.otherSocket = device.place("none"); },
              "fault database: There is no socket [$T/none]. Start the server, or correct --socket.\n"
              "    systemctl status redis-server\n"},
        Cause{"nobody_listens", [](Doctor& device) { device.server.kill(); },
              "fault database: Nobody listens at the socket [$S]. Start the server, or correct --socket.\n"
              "    sudo systemctl start redis-server\n"},
        Cause{
            "server_is_halted", [](Doctor& device) { device.server.pause(); },
            "fault database: The server at [$S] did not answer within 5 seconds. It may be halted or busy: look at it, "
            "or raise --wait.\n    ps -o pid,stat,time,args -C redis-server\n"},
        Cause{"socket_may_not_be_used", [](Doctor& device) { chmod(device.server.socket().c_str(), 0); },
              "fault database: You may not use the socket [$S]. Run the tool as a user who may write it.\n"
              "    ls -l $S\n"},
        Cause{"password_wanted",
              [](Doctor& device) {
                  device.server.run({"CONFIG", "SET", "requirepass", "secret"});
              },
              "fault database: The server at [$S] wants a password, and the library has none. Remove requirepass "
              "from its configuration.\n    sudo grep -n requirepass /etc/redis/redis.conf\n"},
        Cause{"memory_of_the_server_is_full",
              [](Doctor& device) {
                  device.server.run({"CONFIG", "SET", "maxmemory", "1"});
              },
              "fault writes: the memory of the server is full, and it refuses values. Raise its maxmemory, or let it "
              "remove old keys (maxmemory-policy).\n    redis-cli -s $S info memory\n"},
        Cause{"key_is_missing",
              [](Doctor& device) {
                  device.server.run({"DEL", KEY});
              },
              "fault key: The database has no key [lora@aa]: nothing was written, or it has expired.\n"
              "    scada-sensors watch --timeout 60\n"},
        Cause{"key_is_no_hash",
              [](Doctor& device) {
                  device.server.run({"DEL", KEY});
                  device.server.run({"SET", KEY, "1"});
              },
              "fault key: [lora@aa] is not a hash, so that no host can write to it\n"
              "    redis-cli -s $S -n 2 type lora@aa\n"},
        Cause{"value_is_no_number",
              [](Doctor& device) {
                  device.server.run({"HSET", KEY, "t", "warm"});
              },
              "fault values: \"t\" is \"warm\", which is not of the type float.\n    scada-sensors read lora aa\n"},
        Cause{"value_is_out_of_range",
              [](Doctor& device) {
                  device.server.run({"HSET", KEY, "b", "101"});
              },
              "fault values: \"b\" is 101, above its maximum 100.\n"}),
    rowName);

TEST_F(Doctor, findsNothingOnAGoodDevice) {
    const ToolRun result = doctor({"lora", "AA"});
    EXPECT_EQ(result.status, 0) << result.out;
    const std::regex age("last written [0-9]+ seconds? ago; the values expire in 129[56][0-9]{2} seconds");
    EXPECT_EQ(std::regex_replace(replaced(result.out, server.socket(), "SOCKET"), age, "AGE"),
              "ok sensor: lora@aa in [$T/list.json]\n"
              "    scada-sensors resolve lora aa\n"
              "ok definition: [lora/demo/th1] in "
              "[$T/default/lora/demo/th1.json]\n"
              "    scada-sensors show lora/demo/th1\n"
              "ok decoder: it loads, and its examples pass\n"
              "    scada-sensors show lora/demo/th1\n"
              "ok database: number 2 of the server at [SOCKET] "
              "answers\n"
              "    scada-sensors db get lora@aa\n"
              "ok notifications: the server announces changes of keys (AK)\n"
              "    scada-sensors watch --timeout 10\n"
              "ok age: AGE (configured: 129600 seconds)\n"
              "    scada-sensors read lora aa --watch\n"
              "ok values: 2 values, as the definition says\n"
              "    scada-sensors read lora aa\n");
    const ToolRun unknown = doctor({"dd"});
    EXPECT_EQ(unknown.status, 4);
    EXPECT_EQ(unknown.out, "fault sensor: No managed sensor has the identifier [dd].\n    scada-sensors sensors\n");
    EXPECT_EQ(doctor({"lora", "aa", "t"}).status, 2);
    EXPECT_EQ(doctor({"a", "b", "c", "d"}).status, 2);
}

TEST_F(Doctor, notesWhatKeepsNothingFromShowing) {
    std::filesystem::copy(temp / "default", temp / "custom", std::filesystem::copy_options::recursive);
    server.run({"CONFIG", "SET", "notify-keyspace-events", ""});
    server.run({"PERSIST", KEY});
    server.run({"HSET", KEY, "other", "1"});
    server.run({"HDEL", KEY, "b"});
    const ToolRun result = doctor({"aa"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr("note definition: [lora/demo/th1] is the custom one and hides the default one\n"
                                      "    scada-sensors diff lora/demo/th1\n"));
    EXPECT_THAT(result.out, HasSubstr("note notifications: the server does not announce changes of keys; "));
    EXPECT_THAT(result.out, HasSubstr("note age: not known: the key does not expire, so that old values stay\n"));
    EXPECT_THAT(result.out, HasSubstr("note values: 1 value missing\n"));
    EXPECT_THAT(result.out, HasSubstr("note values: 1 field that the definition does not have\n"));
}

TEST_F(Doctor, findsNothingWrongWithTheDevice) {
    makeDir(temp / "staging");
    const ToolRun result = doctor({});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr("note")));
    for (const char* subject : {"default storage", "custom storage", "staging directory", "definitions",
                                "managed sensors", "operations", "decoders", "database", "notifications"})
        EXPECT_THAT(result.out, HasSubstr(std::string("ok ") + subject + ": "));
    EXPECT_THAT(result.out, HasSubstr("ok definitions: 1 definition without a fault; check also runs the decoders\n"));
}

TEST_F(Doctor, namesTheFaultsOfTheDevice) {
    writeFile(temp / "default/lora/demo/bad.json", "{");
    writeFile(temp / "default/lora/demo/worse.json", "[");
    writeList({GOOD_SENSOR, "7"});
    makeDir(temp / "custom.generations");
    writeFile(temp / "custom.generations/interrupted", "");
    const ToolRun result = doctor({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("fault definitions: "));
    EXPECT_THAT(result.out,
                HasSubstr("fault managed sensors: 1 of 2 list elements are faulty\n    scada-sensors check\n"));
    EXPECT_THAT(result.out, HasSubstr("fault operations: one was interrupted, and the storage is neither old nor new\n"
                                      "    scada-sensors recover\n"));
}

// The definition of the sensor may be of either state.
TEST_F(Doctor, namesAnInterruptedOperationForASensorToo) {
    makeDir(temp / "custom.generations");
    writeFile(temp / "custom.generations/interrupted", "");
    const ToolRun result = doctor({"aa"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("fault operations: one was interrupted, and the storage is neither old nor new\n"
                                      "    scada-sensors recover\n"));
}

// The check says the same.
TEST_F(Doctor, notesMissingDirectories) {
    for (const char* dir : {"custom", "staging"})
        std::filesystem::remove(temp / dir);
    std::filesystem::rename(temp / "default", temp / "custom");
    const ToolRun result = doctor({});
    EXPECT_EQ(result.status, 0) << result.out;
    for (const char* subject : {"default storage: [$T/default]", "staging directory: [$T/staging]"})
        EXPECT_THAT(result.out, HasSubstr(std::string("note ") + subject +
                                          " cannot be used: No such file or directory\n    sudo mkdir -p $T/"));
    const std::string usual = Kelvra::SCADA::Conf().getDfnCustomDir();
    EXPECT_THAT(run({"doctor", "--custom-dir", usual}).out,
                HasSubstr(std::filesystem::exists(usual) ? "    ls -ld " + usual
                                                         : "    sudo systemd-tmpfiles --create scada-sensors.conf\n"));
}

TEST_F(Doctor, notesADirectoryThatEverybodyMayWrite) {
    makeDir(temp / "staging");
    ASSERT_EQ(chmod((temp / "staging").c_str(), 0777), 0);
    EXPECT_THAT(doctor({}).out, ::testing::ContainsRegex(
                                    "note staging directory: \\[\\$T/staging\\] belongs to [^,]+, mode 777, [0-9]+ MiB "
                                    "free; everybody can write in it, so that nothing is installed\n"
                                    "    sudo chmod o-w \\$T/staging\n"));
}

TEST_F(Doctor, namesASensorWithoutADefinition) {
    writeList({GOOD_SENSOR, R"({"id": "bb", "src": "lora", "sensor": "demo/none"})",
               R"({"id": "cc", "src": "lora", "sensor": "demo/none"})"});
    const ToolRun result = doctor({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("fault managed sensors: 2 sensors without a definition, such as: "));
    EXPECT_THAT(result.out, HasSubstr("[lora/demo/none]"));
    EXPECT_THAT(result.out, Not(HasSubstr("ok managed sensors")));
}

// A definition that may not be read is not missing.
TEST_F(Doctor, namesAStorageThatMayNotBeRead) {
    std::filesystem::rename(temp / "default", temp / "custom");
    makeDir(temp / "default");
    ASSERT_EQ(chmod((temp / "custom").c_str(), 0), 0);
    for (const std::vector<std::string>& words : {std::vector<std::string>{}, {"aa"}}) {
        const ToolRun result = doctor(words);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.out,
                    HasSubstr("fault definitions: [$T/custom] cannot be read by this user\n    ls -ld $T/custom\n"));
        EXPECT_THAT(result.out, Not(HasSubstr("not found")));
    }
    ASSERT_EQ(chmod((temp / "custom").c_str(), 0700), 0);
}

TEST_F(Doctor, separatesTheReasonFromTheRemedy) {
    std::filesystem::remove(temp / "list.json");
    EXPECT_THAT(doctor({}).out, HasSubstr("No such file or directory. "));
}

TEST_F(Doctor, namesTheHolderOfTheLock) {
    const int file = open((temp / "custom.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    ASSERT_EQ(fcntl(file, F_SETLK, &whole), 0);
    EXPECT_THAT(doctor({}).out, HasSubstr("note operations: another operation is running (process " +
                                          std::to_string(getpid()) + ", started "));
    close(file);
    EXPECT_THAT(doctor({}).out, HasSubstr("ok operations: none is running, none was interrupted\n"));
}

TEST_F(Doctor, makesNoFiles) {
    const auto before = treeOf(temp.path());
    doctor({});
    doctor({"aa"});
    EXPECT_EQ(treeOf(temp.path()), before);
}

TEST_F(Doctor, tellsOfAMissingRunner) {
    const ToolRun result = runWith({"doctor", "aa", "--socket", server.socket(), "--codec-runner", temp / "none"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("note decoder: There is no such program"));
}

TEST_F(Doctor, saysThatADecoderWasNotRun) {
    const ToolRun result = runWith({"doctor", "aa", "--socket", server.socket(), "--codec-runner", ""});
    EXPECT_THAT(result.out, HasSubstr("note decoder: it was not run: no runner is configured\n"));
}

TEST_F(Doctor, saysThatADecoderHasNoExamples) {
    addDecoder("th1", SOUND_DECODER, SOUND_PROPERTIES);
    EXPECT_THAT(doctor({"aa"}).out, HasSubstr("ok decoder: it loads; it has no examples\n"));
}

TEST_F(Doctor, knowsNoAgeWithALongerExpiry) {
    server.run({"EXPIRE", KEY, "999999"});
    EXPECT_THAT(doctor({"aa"}).out, HasSubstr("note age: not known: the key lives longer than is configured\n"));
}

struct Refusal : NamedRow {
    std::vector<ScriptedRedis::Answer> answers;
    const char* line;
    std::string command;
};

class RefusingServer : public Doctor, public ::testing::WithParamInterface<Refusal> {};

// With and without a sensor.
TEST_P(RefusingServer, isToldApart) {
    for (const std::vector<std::string>& words : {std::vector<std::string>(), {"aa"}}) {
        ScriptedRedis peer(answers({GetParam().answers}));
        otherSocket = peer.socket();
        const ToolRun result = doctor(words);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(
            replaced(result.out, peer.socket(), "$S"),
            HasSubstr(std::string("fault database: ") + GetParam().line + "\n    " + GetParam().command + "\n"));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tool, RefusingServer,
    ::testing::Values(
        Refusal{"loading",
                {{"+OK\r\n"}, {"-LOADING The server is loading the dataset in memory\r\n"}},
                "The server at [$S] is still loading its data. Try again in a moment.",
                "redis-cli -s $S info persistence"},
        Refusal{
            "number",
            {{"-ERR DB index is out of range\r\n"}},
            "The server at [$S] has no database 2: ERR DB index is out of range. Correct --db, or the number of its "
            "databases.",
            "redis-cli -s $S config get databases"},
        Refusal{"selection",
                {{"-NOPERM this user has no permissions\r\n"}},
                "The server at [$S] does not let database 2 be used: NOPERM this user has no permissions. Look at its "
                "configuration.",
                "redis-cli -s $S acl list"},
        Refusal{"closing",
                {{"", true}},
                "The server at [$S] closed the connection. Look at its log.",
                "sudo journalctl -u redis-server -n 50"},
        Refusal{"another_program",
                {{"HTTP/1.1 400 Bad Request\r\n"}},
                "What listens at [$S] does not speak the protocol of the database. Correct --socket.",
                "sudo ss -xlp"}),
    rowName);

struct RefusedWriteRow {
    const char* name;
    const char* error;
    int status;
    const char* line;
};

void PrintTo(const RefusedWriteRow& row, std::ostream* out) {
    *out << row.error;
}

class RefusedWrite : public Doctor, public ::testing::WithParamInterface<RefusedWriteRow> {};

TEST_P(RefusedWrite, isTold) {
    const std::string key = "*4\r\n$1\r\nt\r\n$4\r\n21.5\r\n$1\r\nb\r\n$2\r\n50\r\n";
    ScriptedRedis peer(answers({{{"+OK\r\n"},
                                 {"+PONG\r\n"},
                                 {std::string("-") + GetParam().error + "\r\n"},
                                 {"*2\r\n$22\r\nnotify-keyspace-events\r\n$2\r\nAK\r\n"},
                                 {key},
                                 {":129600000\r\n"}}}));
    otherSocket = peer.socket();
    const ToolRun result = doctor({"aa"});
    EXPECT_EQ(result.status, GetParam().status) << result.out;
    EXPECT_THAT(replaced(result.out, peer.socket(), "$S"), HasSubstr(std::string("answers\n    scada-sensors db get "
                                                                                 "lora@aa\n") +
                                                                     GetParam().line + "ok notifications: "));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, RefusedWrite,
    ::testing::Values(
        RefusedWriteRow{"save_failed", "MISCONF Redis is configured to save RDB snapshots", 1,
                        "fault writes: the server could not save its data, and it refuses values. Make room on its "
                        "disk, or correct its directory.\n    redis-cli -s $S info persistence\n"},
        RefusedWriteRow{"too_few_replicas", "NOREPLICAS Not enough good replicas to write.", 1,
                        "fault writes: the server refuses values: NOREPLICAS Not enough good replicas to write.\n"
                        "    redis-cli -s $S info replication\n"},
        RefusedWriteRow{"command_not_allowed", "NOPERM this user has no permissions", 0, ""}),
    rowName);

// It shows its values all the same.
TEST_F(Doctor, notesAReplica) {
    server.run({"REPLICAOF", "127.0.0.1", "1"});
    const ToolRun result = doctor({"aa"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(replaced(result.out, server.socket(), "$S"),
                HasSubstr("note writes: the server is a replica and refuses them; its values come from its master\n"
                          "    redis-cli -s $S info replication\n"));
}

TEST_F(Doctor, writesNothing) {
    server.run({"DEL", KEY});
    doctor({"aa"});
    EXPECT_EQ(server.run({"DBSIZE"}), "(integer 0)");
}

class DoctorWaits : public Doctor {
protected:
    // Runs the doctor and does `change` when it listens.
    ToolRun doctorDuring(const std::vector<std::string>& words, const std::function<void()>& change) {
        auto result = std::async(std::launch::async, [this, &words] { return doctor(words); });
        EXPECT_TRUE(becomesTrue([this] { return server.run({"PUBSUB", "NUMPAT"}) == "(integer 1)"; }));
        change();
        ToolRun ended = result.get();
        EXPECT_EQ(ended.err, "scada-sensors: waiting " + words[2] + " seconds for a new value of [lora@aa]\n");
        return ended;
    }
};

// The key is judged with the new value.
TEST_F(DoctorWaits, untilAValueComes) {
    server.run({"DEL", KEY});
    const auto start = std::chrono::steady_clock::now();
    const ToolRun result = doctorDuring({"aa", "--wait", "60"}, [this] {
        server.run({"HSET", "lora@bb", "t", "1"});
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        server.run({"HSET", KEY, "t", "21.5", "b", "50"});
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, ::testing::ContainsRegex("ok new values: one came after [12] seconds?\n"
                                                     "    scada-sensors read lora aa\n"));
    EXPECT_THAT(result.out, HasSubstr("ok values: 2 values, as the definition says\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST_F(DoctorWaits, butNotForOtherChanges) {
    const ToolRun result = doctorDuring({"aa", "--wait", "3"}, [this] {
        server.run({"EXPIRE", KEY, "129600"});
        server.run({"HDEL", KEY, "b"});
        server.run({"HSET", "lora@bb", "t", "1"});
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("note new values: none came in 3 seconds\n"
                                      "    scada-sensors read lora aa --watch\n"));
    EXPECT_THAT(result.out, HasSubstr("note values: 1 value missing\n"));
}

TEST_F(DoctorWaits, andTellsOfAServerThatGoes) {
    ToolRun result = doctorDuring({"aa", "--wait", "4"}, [this] { server.kill(); });
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("fault new values: the server did not announce changes all the time\n"
                                      "    scada-sensors doctor\n"
                                      "fault database: Nobody listens at the socket ["));
    server.start();
    result = doctorDuring({"aa", "--wait", "4"}, [this] { server.run({"CLIENT", "KILL", "TYPE", "pubsub"}); });
    EXPECT_THAT(result.out, HasSubstr("note new values: the server did not announce changes all the time\n"));
}

TEST_F(DoctorWaits, andTellsOfAServerThatRefuses) {
    server.run({"ACL", "SETUSER", "default", "-config"});
    const ToolRun result = doctor({"aa", "--wait", "2"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(replaced(result.out, server.socket(), "$S"),
                HasSubstr("note new values: the server refuses to announce them\n"
                          "    redis-cli -s $S config set notify-keyspace-events KA\n"));
}

TEST_F(DoctorWaits, andTellsOfNotificationsThatAreTurnedOff) {
    const ToolRun result = doctorDuring({"aa", "--wait", "8"}, [this] {
        server.run({"CONFIG", "SET", "notify-keyspace-events", ""});
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(replaced(result.out, server.socket(), "$S"),
                HasSubstr("note new values: somebody has turned the notifications off meanwhile\n"
                          "    redis-cli -s $S config set notify-keyspace-events KA\n"));
}

TEST_F(DoctorWaits, untilTheUserEndsIt) {
    ToolProcess tool({"--default-dir", temp / "default", "--custom-dir", temp / "custom", "--map", temp / "list.json",
                      "--codec-runner", "", "--socket", server.socket(), "--log-level", "off", "doctor", "aa", "--wait",
                      "60"},
                     {0, {{"NO_COLOR", "1"}}});
    EXPECT_TRUE(becomesTrue([this] { return server.run({"PUBSUB", "NUMPAT"}) == "(integer 1)"; }));
    // A subscription that the server has confirmed may still be on its way.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    tool.send(SIGINT);
    EXPECT_EQ(tool.wait(), 0);
    const std::string screen = tool.screen();
    EXPECT_THAT(screen, ::testing::ContainsRegex("note new values: none came in [0-9] seconds?\n"));
    EXPECT_THAT(screen, HasSubstr("ok values: 2 values, as the definition says\n"));
}

TEST_F(DoctorWaits, forNoValueWithoutASensor) {
    const ToolRun result = doctor({"--wait", "30"});
    EXPECT_THAT(result.out, Not(HasSubstr("new values")));
    server.pause();
    EXPECT_THAT(doctor({"--wait", "1"}).out, HasSubstr("did not answer within 1 second."));
}

TEST_F(Doctor, quotesWhatAShellWouldChange) {
    otherSocket = place("it's here");
    writeFile(otherSocket, "");
    chmod(otherSocket.c_str(), 0);
    EXPECT_THAT(doctor({}).out, HasSubstr("\n    ls -l '$T/it'\\''s here'\n"));
    writeList({R"({"id": "a b", "src": "lora", "sensor": "demo/th1"})"});
    EXPECT_THAT(doctor({"a b"}).out, HasSubstr("\n    scada-sensors resolve lora 'a b'\n"));
}

TEST_F(Doctor, forPrograms) {
    const Json::Value result = parsed(runWith({"doctor", "aa", "--socket", temp / "none", "--json"}).out);
    EXPECT_EQ(result["code"], "failed");
    EXPECT_EQ(result["error"], "something keeps data from showing");
    const Json::Value& last = result["result"]["lines"][result["result"]["lines"].size() - 1];
    EXPECT_EQ(last["state"], "fault");
    EXPECT_EQ(last["subject"], "database");
    EXPECT_EQ(last["command"], "systemctl status redis-server");
}

} // namespace
