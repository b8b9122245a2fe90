#include "NamedRow.h"
#include "RedisServer.h"
#include "ScriptedRedis.h"
#include "ToolTest.h"
#include "json_text.h"
#include "option_texts.h"
#include "row_name.h"

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
using Words = std::vector<std::string>;

class Db : public ToolTest {
protected:
    ToolRun db(Words arguments) const {
        arguments.insert(arguments.begin(), {"--socket", server.socket(), "db"});
        return run(arguments);
    }

    RedisServer server;
};

struct GetRow : NamedRow {
    const char* type;  ///< null: no type is requested
    const char* value; ///< null: the field is missing
    int status;
    const char* out;
    const char* err;
    const char* json; ///< the value in the JSON answer
};

class DbGet : public Db, public ::testing::WithParamInterface<GetRow> {
protected:
    static Words arguments() {
        Words words = {"get", "lora@aa", "field"};
        if (GetParam().type != nullptr)
            words.insert(words.end(), {"--as", GetParam().type});
        return words;
    }
    void store() const {
        if (GetParam().value != nullptr)
            server.run({"HSET", "lora@aa", "field", GetParam().value});
    }
};

TEST_P(DbGet, forPeople) {
    store();
    const ToolRun result = db(arguments());
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, GetParam().out);
    EXPECT_EQ(result.err, GetParam().err);
}

TEST_P(DbGet, forPrograms) {
    store();
    Words words = arguments();
    words.emplace_back("--json");
    const ToolRun result = db(words);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.err, "");
    std::string text = GetParam().err;
    if (text.empty()) {
        Json::Value answer = parsed(result.out);
        EXPECT_EQ(answer["result"]["value"], parsed(GetParam().json));
        answer.removeMember("result");
        EXPECT_EQ(answer, envelope(0));
        return;
    }
    text = text.substr(std::string("scada-sensors: ").size());
    text.pop_back();
    Json::Value expected = envelope(GetParam().status);
    expected["error"] = text;
    EXPECT_EQ(parsed(result.out), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbGet,
    ::testing::Values(
        GetRow{"text", nullptr, "a b", 0, "a b\n", "", R"("a b")"},
        GetRow{"empty_text", nullptr, "", 0, "\n", "", R"("")"},
        GetRow{"escaped_text", nullptr, "\x1b[2J", 0, "\\x1b[2J\n", "", R"("\u001b[2J")"},
        GetRow{"missing", nullptr, nullptr, 4, "", "scada-sensors: There is no field [field] of [lora@aa].\n", nullptr},
        GetRow{"missing_as_float", "float", nullptr, 4, "", "scada-sensors: There is no field [field] of [lora@aa].\n",
               nullptr},
        GetRow{"float_shortest", "float", "21.1", 0, "21.1\n", "", "21.100000381469727"},
        GetRow{"float_with_rest", "float", "2.5abc", 0, "2.5\n", "", "2.5"},
        GetRow{"float_infinite", "float", "-inf", 0, "-inf\n", "", R"("-inf")"},
        GetRow{"float_out_of_range", "float", "1e999", 1, "",
               "scada-sensors: Field [field] of [lora@aa] is not of the type float: [1e999].\n", nullptr},
        GetRow{"bool_false", "bool", "0", 0, "false\n", "", "false"},
        GetRow{"bool_true", "bool", "-3", 0, "true\n", "", "true"},
        GetRow{"bool_is_a_word", "bool", "true", 1, "",
               "scada-sensors: Field [field] of [lora@aa] is not of the type bool: [true].\n", nullptr},
        GetRow{"int32_lowest", "int32", "-2147483648", 0, "-2147483648\n", "", "-2147483648"},
        GetRow{"int32_out_of_range", "int32", "2147483648", 1, "",
               "scada-sensors: Field [field] of [lora@aa] is not of the type int32: [2147483648].\n", nullptr},
        GetRow{"uint32_highest", "uint32", "4294967295", 0, "4294967295\n", "", "4294967295"},
        GetRow{"uint32_is_a_word", "uint32", "x", 1, "",
               "scada-sensors: Field [field] of [lora@aa] is not of the type uint32: [x].\n", nullptr}),
    rowName);

TEST_F(Db, getWithoutAFieldPrintsThemAll) {
    for (const auto& [field, value] : std::vector<std::pair<std::string, std::string>>{
             {"temperature", "21.5"}, {"on", ""}, {"a\x1b[2J", "x\ny"}, {"B", "a  b"}, {"", "nameless"}})
        server.run({"HSET", "lora@aa", field, value});
    const ToolRun people = db({"get", "lora@aa"});
    EXPECT_EQ(people.status, 0);
    EXPECT_EQ(people.err, "");
    EXPECT_EQ(people.out, "FIELD        VALUE\n"
                          "             nameless\n"
                          "B            a  b\n"
                          "a\\x1b[2J     x\\x0ay\n"
                          "on\n"
                          "temperature  21.5\n");
    Json::Value expected = envelope(0);
    expected["result"] = parsed(R"({"key": "lora@aa", "fields": {"": "nameless", "B": "a  b", "a\u001b[2J": "x\ny",
        "on": "", "temperature": "21.5"}})");
    EXPECT_EQ(parsed(db({"get", "lora@aa", "--json"}).out), expected);
    EXPECT_EQ(db({"get", "lora@aa", ""}).out, "nameless\n");
}

// The library's texts would end at the first NUL byte.
TEST_F(Db, getWithoutAFieldKeepsEveryByte) {
    server.run({"HSET", "k", std::string("a\0b", 3), std::string("1\0\xff", 3)});
    EXPECT_EQ(db({"get", "k"}).out, "FIELD   VALUE\na\\x00b  1\\x00\\xff\n");
    EXPECT_EQ(parsed(db({"get", "k", "--json"}).out)["result"]["fields"], parsed(R"({"a\u0000b": "1\u0000\\xff"})"));
}

struct NoHashRow : NamedRow {
    Words arguments;
    int status;
    const char* err;
};

class DbGetAll : public Db, public ::testing::WithParamInterface<NoHashRow> {};

TEST_P(DbGetAll, saysWhyThereIsNoHash) {
    server.run({"SET", "text\x1b", "1"});
    const ToolRun result = db(GetParam().arguments);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, GetParam().err);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbGetAll,
    ::testing::Values(
        NoHashRow{"missing", {"get", "none"}, 4, "scada-sensors: The database has no key [none].\n"},
        NoHashRow{"a_text", {"get", "text\x1b"}, 1, "scada-sensors: Key [text\\x1b] is not readable as a hash.\n"}),
    rowName);

struct WriteRow : NamedRow {
    Words arguments;
    const char* result; ///< in the JSON answer
    Words question;
    const char* answer; ///< of the server afterwards
};

class DbWrite : public Db, public ::testing::WithParamInterface<WriteRow> {
protected:
    DbWrite() { server.run({"HSET", "hash", "a", "1"}); }
};

TEST_P(DbWrite, saysNothingToPeople) {
    const ToolRun result = db(GetParam().arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(server.run(GetParam().question), GetParam().answer);
}

TEST_P(DbWrite, repeatsToPrograms) {
    Words words = GetParam().arguments;
    words.insert(words.begin(), "--json");
    const ToolRun result = db(words);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(parsed(result.out)["result"], parsed(GetParam().result));
    EXPECT_EQ(server.run(GetParam().question), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Tool, DbWrite,
                         ::testing::Values(WriteRow{"set",
                                                    {"set", "hash", "a", "2 3"},
                                                    R"({"key": "hash", "field": "a", "value": "2 3"})",
                                                    {"HGETALL", "hash"},
                                                    R"(["a", "2 3"])"},
                                           WriteRow{"set_empty",
                                                    {"set", "hash", "b", ""},
                                                    R"({"key": "hash", "field": "b", "value": ""})",
                                                    {"HGET", "hash", "b"},
                                                    R"("")"},
                                           WriteRow{"set_negative",
                                                    {"set", "hash", "b", "--", "-5"},
                                                    R"({"key": "hash", "field": "b", "value": "-5"})",
                                                    {"HGET", "hash", "b"},
                                                    R"("-5")"},
                                           WriteRow{"push",
                                                    {"push", "list", "x"},
                                                    R"({"key": "list", "value": "x"})",
                                                    {"LRANGE", "list", "0", "-1"},
                                                    R"(["x"])"},
                                           WriteRow{"expire_at_once",
                                                    {"expire", "hash", "0"},
                                                    R"({"key": "hash", "seconds": 0})",
                                                    {"EXISTS", "hash"},
                                                    "(integer 0)"},
                                           WriteRow{"expire_of_a_missing_key",
                                                    {"expire", "nosuch", "5"},
                                                    R"({"key": "nosuch", "seconds": 5})",
                                                    {"TTL", "nosuch"},
                                                    "(integer -2)"}),
                         rowName);

struct ExpireRow : NamedRow {
    Words arguments;
    int seconds;
};

class DbExpire : public Db, public ::testing::WithParamInterface<ExpireRow> {};

TEST_P(DbExpire, setsTheTimeLeft) {
    server.run({"HSET", "hash", "a", "1"});
    EXPECT_EQ(db(GetParam().arguments).status, 0);
    const std::string left = server.run({"TTL", "hash"});
    const int remaining = std::stoi(left.substr(std::string("(integer ").size()));
    EXPECT_LE(remaining, GetParam().seconds);
    EXPECT_GT(remaining, GetParam().seconds - 60);
}

INSTANTIATE_TEST_SUITE_P(Tool, DbExpire,
                         ::testing::Values(ExpireRow{"by_default", {"expire", "hash"}, 129600},
                                           ExpireRow{"given", {"expire", "hash", "1000"}, 1000}),
                         rowName);

TEST_F(Db, popTakesTheValueThatWasPushedFirst) {
    db({"push", "list", "first"});
    db({"push", "list", "second"});
    const ToolRun result = db({"pop", "list"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "first\n");
    EXPECT_EQ(result.err, "");
    const ToolRun json = db({"pop", "list", "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(parsed(json.out)["result"], parsed(R"({"key": "list", "value": "second"})"));
}

TEST_F(Db, popOfAnEmptyListFailsAfterItsTime) {
    const ToolRun result = db({"pop", "list", "--timeout", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: Nothing came into list [list] within 1 second.\n");
}

TEST_F(Db, databaseNumberCounts) {
    EXPECT_EQ(db({"set", "hash", "a", "1", "--db", "7"}).status, 0);
    EXPECT_EQ(server.run({"HGET", "hash", "a"}, 7), R"("1")");
    EXPECT_EQ(server.run({"HGET", "hash", "a"}), "(nil)");
}

struct FailureRow : NamedRow {
    Words arguments;
    int status;
    std::string message;
};

class DbFailure : public Db, public ::testing::WithParamInterface<FailureRow> {
protected:
    DbFailure() { server.run({"SET", "text", "1"}); }
};

TEST_P(DbFailure, isTold) {
    const ToolRun result = db(GetParam().arguments);
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(replaced(result.err, server.socket(), "$S"), "scada-sensors: " + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbFailure,
    ::testing::Values(FailureRow{"get_from_no_hash", {"get", "text", "a"}, 1, "Key [text] is not readable as a hash."},
                      FailureRow{"get_typed_from_no_hash",
                                 {"get", "text", "a", "--as", "int32"},
                                 1,
                                 "Key [text] is not readable as a hash."},
                      FailureRow{"set_in_no_hash",
                                 {"set", "text", "a", "1"},
                                 1,
                                 "The server refused the command for key [text]: its type is string, not hash."},
                      FailureRow{"push_to_no_list",
                                 {"push", "text", "1"},
                                 1,
                                 "The server refused the command for key [text]: its type is string, not list."},
                      FailureRow{"pop_from_no_list",
                                 {"pop", "text"},
                                 1,
                                 "The server refused the command for key [text]: its type is string, not list."},
                      FailureRow{"database_that_the_server_lacks",
                                 {"get", "text", "a", "--db", "200"},
                                 3,
                                 "The server at [$S] has no database 200: ERR DB index is out of range. Correct --db, "
                                 "or the number of its databases."}),
    rowName);

// A full memory refuses other commands, but not this one.
TEST_F(Db, typeOfAKeyIsToldBeforeAFullMemory) {
    server.run({"SET", "text", "1"});
    server.run({"CONFIG", "SET", "maxmemory", "1"});
    EXPECT_EQ(db({"pop", "text"}).err,
              "scada-sensors: The server refused the command for key [text]: its type is string, not list.\n");
    EXPECT_THAT(db({"set", "hash", "a", "1"}).err,
                ::testing::HasSubstr("The server refused the command for key [hash]: OOM "));
}

using Answers = std::vector<std::vector<ScriptedRedis::Answer>>;

struct AnswersRow : NamedRow {
    Answers answers;
    int status;
    std::string message;
    std::size_t commands; ///< received by the peer, including the selections of the database
};

class DbGetFromAPeer : public ToolTest, public ::testing::WithParamInterface<AnswersRow> {};

const char* const OK = "+OK\r\n";
const char* const PONG = "+PONG\r\n";
const char* const LOADING = "-LOADING\r\n";
const char* const TEXT = "$1\r\nx\r\n";

// A value that does not convert is read once more for the message, and may have changed by then.
TEST_P(DbGetFromAPeer, saysWhatItKnows) {
    ScriptedRedis peer(answers(GetParam().answers));
    const ToolRun result = run({"--socket", peer.socket(), "db", "get", "k", "f", "--as", "int32"});
    EXPECT_EQ(result.status, GetParam().status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(replaced(result.err, peer.socket(), "$S"), "scada-sensors: " + GetParam().message + "\n");
    EXPECT_TRUE(peer.waitForCommands(GetParam().commands));
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbGetFromAPeer,
    ::testing::Values(
        AnswersRow{"still_there",
                   {{{OK}, {PONG}}, {{OK}, {TEXT}, {TEXT}}},
                   1,
                   "Field [f] of [k] is not of the type int32: [x].",
                   5},
        AnswersRow{"gone", {{{OK}, {PONG}}, {{OK}, {TEXT}, {"$-1\r\n"}}}, 4, "There is no field [f] of [k].", 5},
        AnswersRow{"no_text", {{{OK}, {PONG}}, {{OK}, {TEXT}, {LOADING}}}, 1, "Key [k] is not readable as a hash.", 5},
        AnswersRow{"server_gone",
                   {{{OK}, {PONG}}, {{OK}, {TEXT, true}}, {{"-ERR no\r\n"}}},
                   3,
                   "The server at [$S] does not let database 2 be used: ERR no. Look at its configuration.",
                   6},
        AnswersRow{"reply_lost",
                   {{{OK}, {PONG}}, {{OK}, {"", true}}, {{OK}, {"", true}}, {{OK}, {PONG}}},
                   3,
                   "The server at [$S] lost the command or its reply. It may have carried it out.",
                   8}),
    rowName);

TEST_F(ToolTest, dbGetReadsATextOnce) {
    ScriptedRedis peer(answers({{{OK}, {PONG}}, {{OK}, {LOADING}, {TEXT}}}));
    const ToolRun result = run({"--socket", peer.socket(), "db", "get", "k", "f"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "scada-sensors: Key [k] is not readable as a hash.\n");
    const Words expected = {encoded({"SELECT", "2"}) + encoded({"PING"}),
                            encoded({"SELECT", "2"}) + encoded({"HGET", "k", "f"})};
    EXPECT_EQ(peer.received(), expected);
}

struct CommandRow : NamedRow {
    Words arguments;
};

class NoServer : public ToolTest, public ::testing::WithParamInterface<CommandRow> {};

constexpr const char* NO_SOCKET = "There is no socket [/nosuch/redis.sock]. Start the server, or correct --socket.";

TEST_P(NoServer, hasItsOwnExitCode) {
    Words words = GetParam().arguments;
    words.insert(words.begin(), {"--socket", "/nosuch/redis.sock"});
    const ToolRun result = run(words);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("scada-sensors: ") + NO_SOCKET + "\n");
    words.insert(words.begin(), "--json");
    const ToolRun json = run(words);
    EXPECT_EQ(json.status, 3);
    EXPECT_EQ(json.err, "");
    Json::Value expected = envelope(3);
    expected["error"] = NO_SOCKET;
    EXPECT_EQ(parsed(json.out), expected);
}

INSTANTIATE_TEST_SUITE_P(Tool, NoServer,
                         ::testing::Values(CommandRow{"get", {"db", "get", "k", "f"}},
                                           CommandRow{"get_typed", {"db", "get", "k", "f", "--as", "bool"}},
                                           CommandRow{"set", {"db", "set", "k", "f", "v"}},
                                           CommandRow{"expire", {"db", "expire", "k"}},
                                           CommandRow{"push", {"db", "push", "k", "v"}},
                                           CommandRow{"pop", {"db", "pop", "k"}}, CommandRow{"watch", {"watch"}}),
                         rowName);

struct UsageRow : NamedRow {
    Words arguments;
    std::string message;
};

class DbUsage : public ToolTest, public ::testing::WithParamInterface<UsageRow> {};

TEST_P(DbUsage, isToldOnStderr) {
    const ToolRun result = runTool(GetParam().arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "scada-sensors: " + GetParam().message + "\nscada-sensors: try --help\n");
}

INSTANTIATE_TEST_SUITE_P(
    Tool, DbUsage,
    ::testing::Values(
        UsageRow{"no_operation", {"db"}, "A subcommand is required"},
        UsageRow{"get_type_without_field", {"db", "get", "k", "--as", "bool"}, "--as requires FIELD"},
        UsageRow{"set_without_value", {"db", "set", "k", "f"}, "VALUE is required"},
        UsageRow{
            "unknown_type", {"db", "get", "k", "f", "--as", "double"}, "--as: double not in {float,bool,int32,uint32}"},
        UsageRow{"negative_seconds", {"db", "pop", "k", "--timeout", "-1"}, "Could not convert: --timeout = -1"},
        UsageRow{"seconds_are_a_word", {"db", "expire", "k", "x"}, "Could not convert: SECONDS = x"},
        UsageRow{"no_wait", {"db", "get", "k", "f", "--wait", "0"}, "--wait: " + notInRange(1, 3600, "0")},
        UsageRow{"watch_for_no_change", {"watch", "--count", "0"}, "--count: " + notInRange(1, 4294967295, "0")},
        UsageRow{"watch_for_no_time", {"watch", "--timeout", "0"}, "--timeout: " + notInRange(1, 4294967295, "0")}),
    rowName);

} // namespace
