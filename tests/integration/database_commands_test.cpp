#include "NamedRow.h"
#include "ScriptedRedis.h"
#include "database_helpers.h"
#include "hiredis_pointers.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <map>
#include <ostream>
#include <type_traits>
#include <utility>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Answer = ScriptedRedis::Answer;
using Text = const std::string&;

static_assert(std::is_base_of<DatabaseBase, Database>::value);
constexpr int (Database::*EXPIRE_IN)(Text, unsigned int) = &Database::expire;
constexpr int (Database::*EXPIRE)(Text) = &Database::expire;

// The out-parameters of the operations, with values that must stay untouched.
struct Outputs {
    std::string text = "untouched";
    float real = -1.5F;
    bool truth = true;
    unsigned int positive = 4711;
    int number = -4711;
};

bool operator==(const Outputs& left, const Outputs& right) {
    const bool sameReal = std::isnan(left.real)
                              ? std::isnan(right.real)
                              : left.real == right.real && std::signbit(left.real) == std::signbit(right.real);
    return left.text == right.text && sameReal && left.truth == right.truth && left.positive == right.positive &&
           left.number == right.number;
}

std::ostream& operator<<(std::ostream& out, const Outputs& outputs) {
    return out << '"' << outputs.text << "\" " << outputs.real << ' ' << outputs.truth << ' ' << outputs.positive << ' '
               << outputs.number;
}

struct Operation : NamedRow {
    std::vector<std::string> command;
    std::function<int(Database&, Outputs&)> run;
    std::map<std::string, int> results; ///< by reply; those not named give 255
};

struct Reply : NamedRow {
    Answer answer;
};

using Row = std::pair<Operation, Reply>;

const std::map<std::string, int> INTEGERS{{"zero", 0}, {"one", 0}, {"negative", 0}};
const std::map<std::string, int> OKS{{"status_ok", 0}, {"status_ok_in_lower_case", 0}};

// A read that gives only result codes here: none of the replies' texts is a number.
std::map<std::string, int> readResults(std::map<std::string, int> strings) {
    for (const char* const other :
         {"status_ok", "status_ok_in_lower_case", "other_status", "error", "zero", "one", "negative", "empty_array",
          "array_of_one", "array_of_two", "array_of_three", "array_with_nil", "array_with_integer", "array_with_array"})
        strings[other] = 2;
    strings["nil"] = 1;
    strings["nil_array"] = 1;
    return strings;
}

std::vector<Operation> readOperations() {
    const std::vector<std::string> command{"HGET", "the key", "a %s field"};
    const auto noNumber = readResults({{"string", 2}, {"empty_string", 2}});
    return {{"hget", command, [](Database& db, Outputs& out) { return db.hget("the key", "a %s field", &out.text); },
             readResults({{"string", 0}, {"empty_string", 0}})},
            {"hget_nowhere", command, [](Database& db, Outputs&) { return db.hget("the key", "a %s field", nullptr); },
             readResults({{"string", 0}, {"empty_string", 0}})},
            {"hget_float", command,
             [](Database& db, Outputs& out) { return db.hgetFloat("the key", "a %s field", &out.real); }, noNumber},
            {"hget_bool", command,
             [](Database& db, Outputs& out) { return db.hgetBool("the key", "a %s field", &out.truth); }, noNumber},
            {"hget_uint32", command,
             [](Database& db, Outputs& out) { return db.hgetUint32("the key", "a %s field", &out.positive); },
             noNumber},
            {"hget_int32", command,
             [](Database& db, Outputs& out) { return db.hgetInt32("the key", "a %s field", &out.number); }, noNumber}};
}

std::vector<Operation> writeOperations() {
    const std::map<std::string, int> pops{{"array_of_two", 0}, {"nil", 4}, {"nil_array", 4}};
    std::map<std::string, int> popsNowhere = pops;
    for (const char* const pair : {"array_with_nil", "array_with_integer", "array_with_array"})
        popsNowhere[pair] = 0;
    return {
        {"hset",
         {"HSET", "k", "f", "v %d w"},
         [](Database& db, Outputs&) { return db.hset("k", "f", "v %d w"); },
         INTEGERS},
        {"hset_empty_texts",
         {"HSET", "", "", ""},
         [](Database& db, Outputs&) { return db.hset("", "", ""); },
         INTEGERS},
        {"expire_in",
         {"EXPIRE", "k", "4294967295"},
         [](Database& db, Outputs&) { return (db.*EXPIRE_IN)("k", 4294967295U); },
         INTEGERS},
        {"expire_at_once", {"EXPIRE", "k", "0"}, [](Database& db, Outputs&) { return db.expire("k", 0); }, INTEGERS},
        {"expire", {"EXPIRE", "k", "60"}, [](Database& db, Outputs&) { return (db.*EXPIRE)("k"); }, INTEGERS},
        {"lpush", {"LPUSH", "k", "v w"}, [](Database& db, Outputs&) { return db.lpush("k", "v w"); }, INTEGERS},
        {"brpop", {"BRPOP", "k", "7"}, [](Database& db, Outputs& out) { return db.brpop("k", 7, &out.text); }, pops},
        {"brpop_nowhere",
         {"BRPOP", "k", "4294967295"},
         [](Database& db, Outputs&) { return db.brpop("k", 4294967295U, nullptr); },
         popsNowhere},
        {"hmset",
         {"HMSET", "k", "f1", "v1 w", "f2", "", "f1", "%s"},
         [](Database& db, Outputs&) {
             return db.hmset("k", {{"f1", "v1 w"}, {"f2", ""}, {"f1", "%s"}});
         },
         OKS},
        {"hmset_nothing", {"HMSET", "k"}, [](Database& db, Outputs&) { return db.hmset("k", {}); }, OKS},
        {"hdel",
         {"HDEL", "k", "f1", "", "f 2"},
         [](Database& db, Outputs&) {
             return db.hdel("k", {"f1", "", "f 2"});
         },
         INTEGERS},
        {"hdel_nothing", {"HDEL", "k"}, [](Database& db, Outputs&) { return db.hdel("k", {}); }, INTEGERS}};
}

std::vector<Reply> replies() {
    return {{"status_ok", {OK}},
            {"status_ok_in_lower_case", {"+ok\r\n"}},
            {"other_status", {"+QUEUED\r\n"}},
            {"error", {"-WRONGTYPE of key\r\n"}},
            {"zero", {":0\r\n"}},
            {"one", {":1\r\n"}},
            {"negative", {":-1\r\n"}},
            {"nil", {"$-1\r\n"}},
            {"nil_array", {"*-1\r\n"}},
            {"string", {"$2\r\nOK\r\n"}},
            {"empty_string", {"$0\r\n\r\n"}},
            {"empty_array", {"*0\r\n"}},
            {"array_of_one", {"*1\r\n$1\r\nk\r\n"}},
            {"array_of_two", {"*2\r\n$1\r\nk\r\n$3\r\nv\0w\r\n"s}},
            {"array_of_three", {"*3\r\n$1\r\nk\r\n$1\r\nv\r\n$1\r\nw\r\n"}},
            {"array_with_nil", {"*2\r\n$1\r\nk\r\n$-1\r\n"}},
            {"array_with_integer", {"*2\r\n$1\r\nk\r\n:7\r\n"}},
            {"array_with_array", {"*2\r\n$1\r\nk\r\n*1\r\n$1\r\nv\r\n"}},
            {"garbage", {"?\r\n"}},
            {"closed_without_reply", {"", true}},
            {"closed_in_the_middle", {"*2\r\n$1\r\nk\r\n$3\r\nv", true}}};
}

std::vector<Row> rows() {
    std::vector<Row> all;
    for (const auto& operations : {readOperations(), writeOperations()})
        for (const Operation& operation : operations)
            for (const Reply& reply : replies())
                all.emplace_back(operation, reply);
    return all;
}

// These give no reply at all, after two attempts.
bool fails(const Reply& reply) {
    return reply.name == "garbage" || reply.answer.thenClose;
}

int expectedResult(const Row& row) {
    if (fails(row.second))
        return 3;
    const auto found = row.first.results.find(row.second.name);
    return found == row.first.results.end() ? 255 : found->second;
}

Outputs expectedOutputs(const Row& row) {
    Outputs outputs;
    if (row.first.name == "hget" && row.second.name == "string")
        outputs.text = "OK";
    if (row.first.name == "hget" && row.second.name == "empty_string")
        outputs.text = "";
    if (row.first.name == "brpop" && row.second.name == "array_of_two")
        outputs.text = "v";
    return outputs;
}

class Command : public SupportTest, public ::testing::WithParamInterface<Row> {};

TEST_P(Command, givesItsCode) {
    ScriptedRedis peer(answers({{{OK}, GetParam().second.answer, {":7\r\n"}}}));
    Opened<Database> db;
    db.setup(peer.socket(), 2, 60);
    Outputs outputs;
    EXPECT_EQ(GetParam().first.run(db, outputs), expectedResult(GetParam()));
    EXPECT_EQ(outputs, expectedOutputs(GetParam()));

    const std::string once = encoded({"SELECT", "2"}) + encoded(GetParam().first.command);
    const bool failed = fails(GetParam().second);
    EXPECT_EQ(peer.received(), std::vector<std::string>(failed ? 2 : 1, once));
    EXPECT_EQ(db.reconnectNeeded, failed);
    std::vector<FakeSupport::LogLine> lines{connectedLine()};
    if (failed)
        lines.push_back(reconnectedLine());
    EXPECT_EQ(FakeSupport::inst().logs, lines);
    if (!failed) {
        EXPECT_EQ(text(ReplyPtr(db.executeCommand("NEXT")).get()), "(integer 7)") << "the connection is in step";
    }
}

std::string commandName(const ::testing::TestParamInfo<Row>& info) {
    return info.param.first.name + "_" + info.param.second.name;
}

INSTANTIATE_TEST_SUITE_P(, Command, ::testing::ValuesIn(rows()), commandName);

struct Operations : SupportTest, ::testing::WithParamInterface<Operation> {};

TEST_P(Operations, giveThreeWithoutAServer) {
    Database db;
    db.setup("/nowhere/at/all", 2);
    Outputs outputs;
    EXPECT_EQ(GetParam().run(db, outputs), 3);
    EXPECT_EQ(GetParam().run(db, outputs), 3);
    EXPECT_EQ(outputs, Outputs());
    EXPECT_THAT(FakeSupport::inst().logs, IsEmpty());
}

std::string operationName(const ::testing::TestParamInfo<Operation>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Read, Operations, ::testing::ValuesIn(readOperations()), operationName);
INSTANTIATE_TEST_SUITE_P(Write, Operations, ::testing::ValuesIn(writeOperations()), operationName);

// One connection for all conversions: the peer answers each command with the value.
class Conversion : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        db.setup(peer.socket(), 2);
        ASSERT_EQ(db.ensureConnected(), 0);
    }

    std::string value;
    ScriptedRedis peer{[this](std::size_t, std::size_t command) -> Answer {
        return {command == 0 ? OK : "$" + std::to_string(value.size()) + "\r\n" + value + "\r\n"};
    }};
    Database db;
};

struct FloatRow : NamedRow {
    const char* text;
    int result;
    float number;
};

constexpr float FLOAT_INF = std::numeric_limits<float>::infinity();
constexpr float FLOAT_NAN = std::numeric_limits<float>::quiet_NaN();
constexpr float UNTOUCHED = -1.5F;

class FloatConversion : public Conversion, public ::testing::WithParamInterface<FloatRow> {};

TEST_P(FloatConversion, readsTheBeginning) {
    value = GetParam().text;
    Outputs outputs;
    Outputs expected;
    expected.real = GetParam().number;
    errno = 77;
    EXPECT_EQ(db.hgetFloat("k", "f", &outputs.real), GetParam().result);
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(outputs, expected);
    EXPECT_EQ(db.hgetFloat("k", "f", nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(
    , FloatConversion,
    ::testing::Values(
        FloatRow{"plain", "2.5", 0, 2.5F}, FloatRow{"text_behind", "2.5abc", 0, 2.5F},
        FloatRow{"word", "abc", 2, UNTOUCHED}, FloatRow{"empty", "", 2, UNTOUCHED},
        FloatRow{"blank", " ", 2, UNTOUCHED}, FloatRow{"point", ".", 2, UNTOUCHED}, FloatRow{"sign", "-", 2, UNTOUCHED},
        FloatRow{"comma", "1,5", 0, 1.0F}, FloatRow{"no_exponent", "1e", 0, 1.0F},
        FloatRow{"exponent", "25e-1", 0, 2.5F}, FloatRow{"leading_blanks", " \t\n7", 0, 7.0F},
        FloatRow{"plus", "+7", 0, 7.0F}, FloatRow{"minus_zero", "-0", 0, -0.0F},
        FloatRow{"hexadecimal", "0x10", 0, 16.0F}, FloatRow{"hexadecimal_exponent", "0x1.8p1", 0, 3.0F},
        FloatRow{"hexadecimal_prefix", "0x", 0, 0.0F}, FloatRow{"infinity", "inf", 0, FLOAT_INF},
        FloatRow{"minus_infinity", "-INFINITY", 0, -FLOAT_INF}, FloatRow{"not_a_number", "nan", 0, FLOAT_NAN},
        FloatRow{"not_a_number_tagged", "NaN(1)x", 0, FLOAT_NAN}, FloatRow{"overflow", "1e999", 2, UNTOUCHED},
        FloatRow{"overflow_below", "-1e999", 2, UNTOUCHED}, FloatRow{"largest", "3.4028235e38", 0, 3.4028235e38F},
        FloatRow{"above_largest", "3.5e38", 2, UNTOUCHED}, FloatRow{"underflow", "1e-999", 2, UNTOUCHED},
        FloatRow{"denormal", "1e-40", 2, UNTOUCHED},
        FloatRow{"exact_denormal", "0x1p-149", 0, std::numeric_limits<float>::denorm_min()},
        FloatRow{"smallest_normal", "0x1p-126", 0, std::numeric_limits<float>::min()},
        FloatRow{"many_digits", "0.1000000000000000000000000000000000000001", 0, 0.1F}),
    rowName);

struct BoolRow : NamedRow {
    const char* text;
    int result;
    bool truth;
};

class BoolConversion : public Conversion, public ::testing::WithParamInterface<BoolRow> {};

TEST_P(BoolConversion, readsTheBeginningWithinThirtyTwoBits) {
    value = GetParam().text;
    for (const bool before : {false, true}) {
        bool truth = before;
        errno = 77;
        EXPECT_EQ(db.hgetBool("k", "f", &truth), GetParam().result);
        EXPECT_EQ(errno, 77);
        EXPECT_EQ(truth, GetParam().result == 0 ? GetParam().truth : before);
    }
    EXPECT_EQ(db.hgetBool("k", "f", nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(
    , BoolConversion,
    ::testing::Values(BoolRow{"zero", "0", 0, false}, BoolRow{"one", "1", 0, true}, BoolRow{"negative", "-3", 0, true},
                      BoolRow{"minus_zero", "-0", 0, false}, BoolRow{"word", "true", 2, false},
                      BoolRow{"other_word", "yes", 2, false}, BoolRow{"empty", "", 2, false},
                      BoolRow{"blank", " ", 2, false}, BoolRow{"sign", "-", 2, false},
                      BoolRow{"largest", "2147483647", 0, true}, BoolRow{"above_largest", "2147483648", 2, false},
                      BoolRow{"smallest", "-2147483648", 0, true}, BoolRow{"below_smallest", "-2147483649", 2, false},
                      BoolRow{"thirty_two_bits", "3000000000", 2, false},
                      BoolRow{"no_bits_of_an_int", "4294967296", 2, false},
                      BoolRow{"beyond_a_long", "99999999999999999999", 2, false},
                      BoolRow{"below_a_long", "-99999999999999999999", 2, false},
                      BoolRow{"hexadecimal", "0x10", 0, false}, BoolRow{"leading_zero", "010", 0, true},
                      BoolRow{"leading_blanks", " \t\n1", 0, true}, BoolRow{"plus", "+1", 0, true},
                      BoolRow{"text_behind_zero", "0abc", 0, false}, BoolRow{"text_behind", "7 of 9", 0, true},
                      BoolRow{"fraction", "1.5", 0, true}, BoolRow{"fraction_below_one", "0.9", 0, false}),
    rowName);

struct IntegerRow : NamedRow {
    const char* text;
    int signedResult;
    int number;
    int unsignedResult;
    unsigned int positive;
};

class IntegerConversion : public Conversion, public ::testing::WithParamInterface<IntegerRow> {};

TEST_P(IntegerConversion, isThatOfTheSupportLibrary) {
    const IntegerRow& row = GetParam();
    value = row.text;
    Outputs outputs;
    EXPECT_EQ(db.hgetInt32("k", "f", &outputs.number), row.signedResult);
    EXPECT_EQ(db.hgetUint32("k", "f", &outputs.positive), row.unsignedResult);
    if (row.signedResult == 0) {
        EXPECT_EQ(outputs.number, row.number);
    }
    if (row.unsignedResult == 0) {
        EXPECT_EQ(outputs.positive, row.positive);
    }
    EXPECT_EQ(db.hgetInt32("k", "f", nullptr), 0) << "nothing is converted into nothing";
    EXPECT_EQ(db.hgetUint32("k", "f", nullptr), 0);
}

INSTANTIATE_TEST_SUITE_P(, IntegerConversion,
                         ::testing::Values(IntegerRow{"zero", "0", 0, 0, 0, 0},
                                           IntegerRow{"negative", "-7", 0, -7, 2, 0},
                                           IntegerRow{"largest_signed", "2147483647", 0, 2147483647, 0, 2147483647U},
                                           IntegerRow{"above_signed", "2147483648", 2, 0, 0, 2147483648U},
                                           IntegerRow{"largest_unsigned", "4294967295", 2, 0, 0, 4294967295U},
                                           IntegerRow{"above_unsigned", "4294967296", 2, 0, 2, 0},
                                           IntegerRow{"word", "abc", 2, 0, 2, 0}, IntegerRow{"empty", "", 2, 0, 2, 0},
                                           IntegerRow{"text_behind", "7abc", 2, 0, 2, 0},
                                           IntegerRow{"fraction", "7.5", 2, 0, 2, 0}),
                         rowName);

TEST_F(Conversion, textsEndAtTheirFirstZeroByte) {
    value = std::string("2\0003", 3);
    Outputs outputs;
    EXPECT_EQ(db.hget("k", "f", &outputs.text), 0);
    EXPECT_EQ(outputs.text, "2");
    EXPECT_EQ(db.hgetInt32("k", "f", &outputs.number), 0);
    EXPECT_EQ(outputs.number, 2);
}

class DatabaseCommands : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        db.setup(server.socket(), 2, 60);
    }

    RedisServer server;
    Database db;
    Outputs outputs;
};

TEST_F(DatabaseCommands, writeAndReadHashes) {
    EXPECT_EQ(db.hget("k", "f", &outputs.text), 1);
    EXPECT_EQ(outputs, Outputs());
    EXPECT_EQ(db.hset("k", "f", "a value with %s and\r\nlines"), 0);
    EXPECT_EQ(db.hset("k", "f", "a value with %s and\r\nlines"), 0) << "also when it is there";
    EXPECT_EQ(db.hget("k", "f", &outputs.text), 0);
    EXPECT_EQ(outputs.text, "a value with %s and\r\nlines");
    EXPECT_EQ(db.hmset("k", {{"f", "21.5"}, {"g", "1"}, {"h", "-7"}, {"g", "0"}}), 0);
    EXPECT_EQ(db.hgetFloat("k", "f", &outputs.real), 0);
    EXPECT_EQ(outputs.real, 21.5F);
    EXPECT_EQ(db.hgetBool("k", "g", &outputs.truth), 0);
    EXPECT_FALSE(outputs.truth);
    EXPECT_EQ(db.hgetInt32("k", "h", &outputs.number), 0);
    EXPECT_EQ(outputs.number, -7);
    EXPECT_EQ(db.hgetUint32("k", "h", nullptr), 0);
    EXPECT_EQ(db.hdel("k", {"g", "h", "none"}), 0);
    EXPECT_EQ(db.hdel("k", {"none"}), 0);
    EXPECT_EQ(server.run({"HGETALL", "k"}), R"(["f", "21.5"])");
}

TEST_F(DatabaseCommands, areRefusedByTheServer) {
    EXPECT_EQ(db.hmset("k", {}), 255);
    EXPECT_EQ(db.hdel("k", {}), 255);
    EXPECT_EQ(db.lpush("list", "v"), 0);
    EXPECT_EQ(db.hset("list", "f", "v"), 255);
    EXPECT_EQ(db.hget("list", "f", &outputs.text), 2);
    EXPECT_EQ(db.hset("hash", "f", "v"), 0);
    EXPECT_EQ(db.lpush("hash", "v"), 255);
    EXPECT_EQ(db.brpop("hash", 1, &outputs.text), 255);
    EXPECT_EQ(outputs, Outputs());
    EXPECT_THAT(FakeSupport::inst().logs, ElementsAre(connectedLine())) << "one connection, not broken by refusals";
}

TEST_F(DatabaseCommands, pushInFrontAndPopFromBehind) {
    EXPECT_EQ(db.lpush("k", "first"), 0);
    EXPECT_EQ(db.lpush("k", "second"), 0);
    EXPECT_EQ(db.brpop("k", 1, &outputs.text), 0);
    EXPECT_EQ(outputs.text, "first");
    EXPECT_EQ(db.brpop("k", 1, nullptr), 0) << "popped, and thrown away";
    outputs = Outputs();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(db.brpop("k", 1, &outputs.text), 4);
    EXPECT_GE(since(start).count(), 900);
    EXPECT_EQ(outputs, Outputs());
}

TEST_F(DatabaseCommands, letKeysExpire) {
    EXPECT_EQ(db.expire("k"), 0) << "no such key";
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
    EXPECT_EQ(db.expire("k"), 0);
    EXPECT_EQ(server.run({"TTL", "k"}), "(integer 60)");
    EXPECT_EQ(db.expire("k", 500), 0);
    EXPECT_EQ(server.run({"TTL", "k"}), "(integer 500)");
    db.setup(server.socket(), 2);
    EXPECT_EQ(db.expire("k"), 0);
    EXPECT_EQ(server.run({"TTL", "k"}), "(integer 129600)");
    EXPECT_EQ(db.expire("k", 0), 0);
    EXPECT_EQ(server.run({"EXISTS", "k"}), "(integer 0)");
}

TEST_F(DatabaseCommands, cutTextsAtAZeroByte) {
    const std::string withZero("ab\0cd", 5);
    EXPECT_EQ(db.hset(withZero, withZero, withZero), 0);
    EXPECT_EQ(db.hmset("m" + withZero, {{withZero, withZero}}), 0);
    EXPECT_EQ(server.run({"HGETALL", "ab"}), R"(["ab", "ab"])");
    EXPECT_EQ(server.run({"HGETALL", "mab"}), R"(["ab", "ab"])");
    EXPECT_EQ(db.hdel("m" + withZero, {withZero}), 0);
    EXPECT_EQ(server.run({"EXISTS", "mab"}), "(integer 0)");
}

TEST_F(DatabaseCommands, carryLargeValuesAndManyFields) {
    const std::string large(3 << 20, 'x');
    EXPECT_EQ(db.hset("large", "f", large), 0);
    EXPECT_EQ(db.hget("large", "f", &outputs.text), 0);
    EXPECT_EQ(outputs.text, large);
    std::vector<std::pair<std::string, std::string>> fields;
    std::vector<std::string> names;
    for (int i = 0; i < 10000; ++i) {
        names.push_back("field" + std::to_string(i));
        fields.emplace_back(names.back(), std::to_string(i));
    }
    EXPECT_EQ(db.hmset("many", fields), 0);
    EXPECT_EQ(server.run({"HLEN", "many"}), "(integer 10000)");
    EXPECT_EQ(db.hdel("many", names), 0);
    EXPECT_EQ(server.run({"EXISTS", "many"}), "(integer 0)");
}

TEST_F(DatabaseCommands, liveThroughARestart) {
    EXPECT_EQ(db.hset("k", "f", "v"), 0);
    server.restart();
    EXPECT_EQ(db.hmset("k", {{"f", "w"}}), 0);
    server.restart();
    EXPECT_EQ(db.hget("k", "f", &outputs.text), 1) << "connected anew, and empty";
    server.kill();
    EXPECT_EQ(db.hget("k", "f", &outputs.text), 3);
    EXPECT_EQ(outputs, Outputs());
    server.start();
    EXPECT_EQ(db.hset("k", "f", "x"), 0);
    EXPECT_THAT(FakeSupport::inst().logs,
                ElementsAre(connectedLine(), reconnectedLine(), reconnectedLine(), reconnectedLine()));
}

TEST_F(DatabaseCommands, leaveNothingBehindInTheOutputsOfAnUnreadableField) {
    EXPECT_EQ(db.hset("k", "f", "no number"), 0);
    EXPECT_EQ(db.hgetFloat("k", "f", &outputs.real), 2);
    EXPECT_EQ(db.hgetBool("k", "f", &outputs.truth), 2);
    EXPECT_EQ(outputs, Outputs());
}

} // namespace
