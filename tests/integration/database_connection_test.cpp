#include "NamedRow.h"
#include "ScriptedRedis.h"
#include "TempDir.h"
#include "connect_call.h"
#include "database_helpers.h"
#include "files.h"
#include "hiredis_pointers.h"
#include "row_name.h"

#include <scada/Conf.h>
#include <scada/Env.h>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <array>
#include <ostream>
#include <type_traits>

namespace {

using namespace Kelvra::SCADA;
using namespace Kelvra::SCADA::Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Answer = ScriptedRedis::Answer;
using Base = Opened<DatabaseBase>;

static_assert(DatabaseBase::RESULT_OK == 0 && DatabaseBase::RESULT_NOT_FOUND == 1);
static_assert(DatabaseBase::RESULT_BAD_VALUE == 2 && DatabaseBase::RESULT_NO_REPLY == 3);
static_assert(DatabaseBase::RESULT_TIMEOUT == 4 && DatabaseBase::RESULT_UNEXPECTED == 255);
static_assert(std::has_virtual_destructor<DatabaseBase>::value);
static_assert(std::is_default_constructible<DatabaseBase>::value);
static_assert(!std::is_copy_constructible<DatabaseBase>::value && !std::is_copy_assignable<DatabaseBase>::value);
static_assert(!std::is_copy_constructible<Database>::value && !std::is_copy_assignable<Database>::value);
static_assert(!std::is_copy_constructible<DatabaseSubscriber>::value);
constexpr void (DatabaseBase::*SETUP_WITH_TTL)(const std::string&, unsigned char, unsigned int) = &DatabaseBase::setup;
constexpr void (DatabaseBase::*SETUP)(const std::string&, unsigned char) = &DatabaseBase::setup;
static_assert(sizeof(Database) == sizeof(DatabaseBase), "no field of its own");

// The layout of the fields that compiled host programs rely on.
struct Layout {
    virtual ~Layout() = default;
    std::string socketPath;
    unsigned char dbNumber;
    unsigned int keyTtl;
    redisContext* context;
    bool reconnectNeeded;
    std::string valueBuffer;
};
static_assert(sizeof(DatabaseBase) == sizeof(Layout));

class DatabaseConnection : public SupportTest {
protected:
    void TearDown() override {
        connectCall().fails = false;
        SupportTest::TearDown();
    }

    std::vector<FakeSupport::LogLine>& logs = FakeSupport::inst().logs;
};

std::string selectBytes(int number = 2) {
    return encoded({"SELECT", std::to_string(number)});
}

std::string command(Base* base, const char* word) {
    return text(ReplyPtr(base->executeCommand(word)).get());
}

template <typename Field> std::ptrdiff_t offsetIn(const void* object, const Field& field) {
    return reinterpret_cast<const char*>(&field) - static_cast<const char*>(object);
}

TEST_F(DatabaseConnection, fieldsStandInTheirOrder) {
    const Base base;
    const Layout layout{};
    EXPECT_EQ(offsetIn(&base, base.socketPath), offsetIn(&layout, layout.socketPath));
    EXPECT_EQ(offsetIn(&base, base.dbNumber), offsetIn(&layout, layout.dbNumber));
    EXPECT_EQ(offsetIn(&base, base.keyTtl), offsetIn(&layout, layout.keyTtl));
    EXPECT_EQ(offsetIn(&base, base.context), offsetIn(&layout, layout.context));
    EXPECT_EQ(offsetIn(&base, base.reconnectNeeded), offsetIn(&layout, layout.reconnectNeeded));
    EXPECT_EQ(offsetIn(&base, base.valueBuffer), offsetIn(&layout, layout.valueBuffer));
}

struct TableRow : NamedRow {
    const char* symbol;
};

class VirtualTable : public ::testing::TestWithParam<TableRow> {};

// clang's address sanitizer counts the zone that it adds after an object.
#if defined(__clang__)
constexpr std::size_t ZONE = __has_feature(address_sanitizer) ? 32 : 0;
#else
constexpr std::size_t ZONE = 0;
#endif

// Two words, then the slots.
TEST_P(VirtualTable, hasTheTwoDestructorsAndComesFromTheLibrary) {
    void* const table = dlsym(RTLD_DEFAULT, GetParam().symbol);
    ASSERT_NE(table, nullptr);
    Dl_info info{};
    void* symbol = nullptr;
    ASSERT_NE(dladdr1(table, &info, &symbol, RTLD_DL_SYMENT), 0);
    EXPECT_THAT(info.dli_fname, ::testing::HasSubstr("libscada-sensors.so"));
    EXPECT_EQ(static_cast<const ElfW(Sym)*>(symbol)->st_size, 4 * sizeof(void*) + ZONE);
}

INSTANTIATE_TEST_SUITE_P(, VirtualTable,
                         ::testing::Values(TableRow{"database_base", "_ZTVN6Kelvra5SCADA12DatabaseBaseE"},
                                           TableRow{"database", "_ZTVN6Kelvra5SCADA8DatabaseE"},
                                           TableRow{"database_subscriber", "_ZTVN6Kelvra5SCADA18DatabaseSubscriberE"}),
                         rowName);

TEST_F(DatabaseConnection, startsWithTheConstantsWhateverTheConfigurationSays) {
    Env::inst().conf().setDfnDatabaseSocket("/elsewhere");
    Env::inst().conf().setDfnDatabaseNumber(9);
    Env::inst().conf().setDfnDatabaseKeyTtl(9);
    const Base base;
    EXPECT_EQ(base.socketPath, "/var/run/redis/redis-server.sock");
    EXPECT_EQ(base.dbNumber, 2);
    EXPECT_EQ(base.keyTtl, 129600U);
    EXPECT_EQ(base.context, nullptr);
    EXPECT_FALSE(base.reconnectNeeded);
    EXPECT_EQ(base.valueBuffer, "");
}

TEST_F(DatabaseConnection, setupStoresWhatItIsGiven) {
    Base base;
    (base.*SETUP_WITH_TTL)("/a", 3, 60);
    EXPECT_EQ(base.socketPath, "/a");
    EXPECT_EQ(base.dbNumber, 3);
    EXPECT_EQ(base.keyTtl, 60U);
    (base.*SETUP)("/b", 5);
    EXPECT_EQ(base.socketPath, "/b");
    EXPECT_EQ(base.dbNumber, 5);
    EXPECT_EQ(base.keyTtl, 129600U) << "the constant, not what it was before";
    EXPECT_EQ(base.context, nullptr);
}

TEST_F(DatabaseConnection, connectsOnDemandAndSelectsOnce) {
    ScriptedRedis peer(answers({{{OK}}}));
    Base base;
    base.setup(peer.socket(), 2);
    EXPECT_EQ(peer.connections(), 0U);
    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_THAT(peer.received(), ElementsAre(selectBytes()));
    EXPECT_THAT(logs, ElementsAre(connectedLine()));
    EXPECT_EQ(connectCall().seconds, 0);
    EXPECT_EQ(connectCall().microseconds, 500000);
}

TEST_F(DatabaseConnection, asksBeforeEachMessageAndWritesNoneThatIsSwitchedOff) {
    ScriptedRedis peer(answers({{{OK}}}));
    FakeSupport::inst().allPrintable(false);
    Base base;
    base.setup(peer.socket(), 2);
    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_THAT(logs, IsEmpty());
    EXPECT_THAT(FakeSupport::inst().asked, ElementsAre(Kelvra::Logger::PrintLevel::DEBUG_LEVEL));
}

TEST_F(DatabaseConnection, saysWhenNoContextCanBeAllocatedAndStaysFresh) {
    ScriptedRedis peer(answers({{{OK}}}));
    Base base;
    base.setup(peer.socket(), 2);
    connectCall().fails = true;
    EXPECT_EQ(base.ensureConnected(), 3);
    EXPECT_EQ(base.context, nullptr);
    EXPECT_FALSE(base.reconnectNeeded);
    EXPECT_THAT(logs, ElementsAre(FakeSupport::LogLine{Kelvra::Logger::PrintLevel::ERROR_LEVEL,
                                                       Kelvra::Logger::PrintLevel::ERROR_LABEL,
                                                       "[DB ] Connection error: can't allocate redis context"}));
    connectCall().fails = false;
    logs.clear();
    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_THAT(logs, ElementsAre(connectedLine()));
}

struct SelectRow : NamedRow {
    Answer answer;
    int result;
};

class SelectReply : public DatabaseConnection, public ::testing::WithParamInterface<SelectRow> {};

TEST_P(SelectReply, decides) {
    ScriptedRedis peer(answers({{GetParam().answer}, {{OK}}}));
    Base base;
    base.setup(peer.socket(), 2);
    const bool good = GetParam().result == 0;
    EXPECT_EQ(base.ensureConnected(), GetParam().result);
    EXPECT_EQ(base.reconnectNeeded, !good);
    EXPECT_THAT(logs, ElementsAre(connectedLine()));
    logs.clear();

    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_FALSE(base.reconnectNeeded);
    if (good) {
        EXPECT_THAT(peer.received(), ElementsAre(selectBytes()));
        EXPECT_THAT(logs, IsEmpty());
    } else {
        EXPECT_THAT(peer.received(), ElementsAre(selectBytes(), selectBytes()));
        EXPECT_THAT(logs, ElementsAre(reconnectedLine()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    , SelectReply,
    ::testing::Values(SelectRow{"upper_case", {"+OK\r\n"}, 0}, //
                      SelectRow{"lower_case", {"+ok\r\n"}, 0}, //
                      SelectRow{"mixed_case", {"+oK\r\n"}, 0}, SelectRow{"other_status", {"+QUEUED\r\n"}, 3},
                      SelectRow{"longer_status", {"+OKAY\r\n"}, 3}, SelectRow{"shorter_status", {"+O\r\n"}, 3},
                      SelectRow{"empty_status", {"+\r\n"}, 3},
                      SelectRow{"error", {"-ERR DB index is out of range\r\n"}, 3},
                      SelectRow{"error_ok", {"-OK\r\n"}, 3},                                            //
                      SelectRow{"integer", {":0\r\n"}, 3}, SelectRow{"string_ok", {"$2\r\nOK\r\n"}, 3}, //
                      SelectRow{"nil", {"$-1\r\n"}, 3}, SelectRow{"array_of_ok", {"*1\r\n+OK\r\n"}, 3},
                      SelectRow{"empty_array", {"*0\r\n"}, 3}, SelectRow{"closed_without_reply", {"", true}, 3},
                      SelectRow{"closed_in_the_middle", {"+O", true}, 3}, SelectRow{"garbage", {"?!\r\n"}, 3}),
    rowName);

struct NumberRow : NamedRow {
    unsigned char number;
};

class SelectNumber : public DatabaseConnection, public ::testing::WithParamInterface<NumberRow> {};

TEST_P(SelectNumber, isSentInDecimal) {
    ScriptedRedis peer(answers({{{OK}}}));
    Base base;
    base.setup(peer.socket(), GetParam().number);
    EXPECT_EQ(base.ensureConnected(), 0);
    EXPECT_THAT(peer.received(), ElementsAre(selectBytes(GetParam().number)));
}

INSTANTIATE_TEST_SUITE_P(, SelectNumber,
                         ::testing::Values(NumberRow{"none", 0}, NumberRow{"usual", 2}, NumberRow{"two_digits", 15},
                                           NumberRow{"largest", 255}),
                         rowName);

struct PathRow : NamedRow {
    std::function<std::string(const TempDir&)> make;
};

class NoServer : public DatabaseConnection, public ::testing::WithParamInterface<PathRow> {};

TEST_P(NoServer, isSilentAndTheContextIsKept) {
    const TempDir dir;
    Base base;
    base.setup(GetParam().make(dir), 2);
    EXPECT_EQ(base.ensureConnected(), 3);
    EXPECT_TRUE(base.reconnectNeeded);
    const redisContext* const kept = base.context;
    EXPECT_NE(kept, nullptr);
    EXPECT_EQ(base.executeCommand("PING"), nullptr);
    EXPECT_EQ(base.context, kept);
    EXPECT_TRUE(base.reconnectNeeded);
    EXPECT_THAT(logs, IsEmpty());
    EXPECT_THAT(FakeSupport::inst().asked, IsEmpty());
}

std::string madeFile(const TempDir& dir) {
    writeFile(dir / "file", "");
    return dir / "file";
}

std::string madeSocket(const TempDir& dir) {
    makeSocket(dir / "socket");
    return dir / "socket";
}

INSTANTIATE_TEST_SUITE_P(, NoServer,
                         ::testing::Values(PathRow{"missing_socket", [](const TempDir& dir) { return dir / "none"; }},
                                           PathRow{"missing_directory",
                                                   [](const TempDir& dir) { return dir / "none/none"; }},
                                           PathRow{"regular_file", madeFile}, PathRow{"nobody_listens", madeSocket},
                                           PathRow{"empty_path", [](const TempDir&) { return std::string(); }},
                                           PathRow{"path_longer_than_an_address",
                                                   [](const TempDir& dir) { return dir / std::string(200, 'x'); }}),
                         rowName);

TEST_F(DatabaseConnection, comesUpOnTheKeptContextOnceThereIsAServer) {
    RedisServer server;
    server.kill();
    Base base;
    base.setup(server.socket(), 2);
    EXPECT_EQ(base.ensureConnected(), 3);
    const redisContext* const kept = base.context;
    server.start();
    EXPECT_EQ(command(&base, "PING"), "(status PONG)");
    EXPECT_EQ(base.context, kept);
    EXPECT_THAT(logs, ElementsAre(reconnectedLine()));
}

TEST_F(DatabaseConnection, takesAPathOfTheGreatestLength) {
    const RedisServer server;
    const TempDir dir;
    const std::string longest = dir / std::string(106 - dir.path().size() - 1, 'x');
    makeLink(server.socket(), longest);
    Base base;
    base.setup(longest, 2);
    EXPECT_EQ(base.ensureConnected(), 0);
    base.reconnectNeeded = true;
    EXPECT_EQ(base.ensureConnected(), 0);
}

TEST_F(DatabaseConnection, setupLeavesTheConnectionAlone) {
    ScriptedRedis peer(answers({{{OK}, {"+A\r\n"}, {"+B\r\n", true}}, {{OK}, {"+C\r\n"}}}));
    ScriptedRedis other(answers({{{OK}}}));
    Base base;
    base.setup(peer.socket(), 2);
    EXPECT_EQ(command(&base, "ONE"), "(status A)");
    base.setup(other.socket(), 7);
    EXPECT_EQ(command(&base, "TWO"), "(status B)") << "neither a new connection nor a new selection";
    EXPECT_EQ(command(&base, "THREE"), "(status C)");
    EXPECT_THAT(peer.received(),
                ElementsAre(selectBytes(2) + encoded({"ONE"}) + encoded({"TWO"}), selectBytes(7) + encoded({"THREE"})));
    EXPECT_EQ(other.connections(), 0U) << "a reconnection keeps the address";
}

TEST_F(DatabaseConnection, setupAfterAFailedFirstConnectionKeepsItsAddressToo) {
    const TempDir dir;
    ScriptedRedis peer(answers({{{OK}}}));
    Base base;
    base.setup(dir / "none", 2);
    EXPECT_EQ(base.ensureConnected(), 3);
    base.setup(peer.socket(), 2);
    EXPECT_EQ(base.ensureConnected(), 3);
    EXPECT_EQ(peer.connections(), 0U);
}

TEST_F(DatabaseConnection, outlivesItsObject) {
    ScriptedRedis peer(answers({{{OK}}}));
    int descriptor = -1;
    {
        Base base;
        base.setup(peer.socket(), 2);
        EXPECT_EQ(base.ensureConnected(), 0);
        descriptor = base.descriptor();
    }
    char byte = 0;
    peer.send("x");
    EXPECT_EQ(read(descriptor, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    close(descriptor);
}

struct AttemptsRow : NamedRow {
    std::vector<std::vector<Answer>> script;
    const char* reply;
    std::vector<std::vector<std::string>> commands; // per connection
    std::size_t reconnections;
    bool broken;
};

class Attempts : public DatabaseConnection, public ::testing::WithParamInterface<AttemptsRow> {
protected:
    void expectSeen(const ScriptedRedis& peer, const std::string& sent) {
        std::vector<std::string> expected;
        for (const auto& connection : GetParam().commands) {
            expected.emplace_back();
            for (const std::string& word : connection)
                expected.back() += word == "SELECT" ? selectBytes() : sent;
        }
        EXPECT_EQ(peer.received(), expected);
        std::vector<FakeSupport::LogLine> lines(1 + GetParam().reconnections, reconnectedLine());
        lines[0] = connectedLine();
        EXPECT_EQ(logs, lines);
    }
};

TEST_P(Attempts, ofAFormattedCommand) {
    ScriptedRedis peer(answers(GetParam().script));
    Base base;
    base.setup(peer.socket(), 2);
    const ReplyPtr reply(base.executeCommand("CMD %s %d %b", "text with blanks", 42, "a\0b", std::size_t{3}));
    EXPECT_EQ(text(reply.get()), GetParam().reply);
    EXPECT_EQ(base.reconnectNeeded, GetParam().broken);
    expectSeen(peer, encoded({"CMD", "text with blanks", "42", std::string("a\0b", 3)}));
}

TEST_P(Attempts, ofAnArgumentVector) {
    ScriptedRedis peer(answers(GetParam().script));
    Base base;
    base.setup(peer.socket(), 2);
    std::array<const char*, 3> arguments{"CMD", "a\0b", "%s %"};
    const std::array<unsigned int, 3> lengths{3, 3, 4};
    const ReplyPtr reply(base.executeCommandArgv(3, arguments.data(), lengths.data()));
    EXPECT_EQ(text(reply.get()), GetParam().reply);
    EXPECT_EQ(base.reconnectNeeded, GetParam().broken);
    expectSeen(peer, encoded({"CMD", std::string("a\0b", 3), "%s %"}));
}

const char* const NONE = "(null)";
const std::string MEGABYTE(1 << 20, 'x');

INSTANTIATE_TEST_SUITE_P(
    , Attempts,
    ::testing::Values(
        AttemptsRow{"first_is_answered", {{{OK}, {"+A\r\n"}}}, "(status A)", {{"SELECT", "CMD"}}, 0, false},
        AttemptsRow{"error_is_a_reply", {{{OK}, {"-ERR no\r\n"}}}, "(error ERR no)", {{"SELECT", "CMD"}}, 0, false},
        AttemptsRow{"closed_once",
                    {{{OK}, {"", true}}, {{OK}, {"+B\r\n"}}},
                    "(status B)",
                    {{"SELECT", "CMD"}, {"SELECT", "CMD"}},
                    1,
                    false},
        AttemptsRow{"closed_in_the_middle_once",
                    {{{OK}, {"$9\r\nhalf", true}}, {{OK}, {"+B\r\n"}}},
                    "(status B)",
                    {{"SELECT", "CMD"}, {"SELECT", "CMD"}},
                    1,
                    false},
        AttemptsRow{"closed_after_select",
                    {{{OK, true}}, {{OK}, {"+B\r\n"}}},
                    "(status B)",
                    {{"SELECT"}, {"SELECT", "CMD"}},
                    1,
                    false},
        AttemptsRow{"garbage_once",
                    {{{OK}, {"HTTP/1.1 400\r\n"}}, {{OK}, {":1\r\n"}}},
                    "(integer 1)",
                    {{"SELECT", "CMD"}, {"SELECT", "CMD"}},
                    1,
                    false},
        AttemptsRow{"endless_until_closed",
                    {{{OK}, {"+" + MEGABYTE, true}}, {{OK}, {"$99999999\r\n" + MEGABYTE, true}}},
                    NONE,
                    {{"SELECT", "CMD"}, {"SELECT", "CMD"}},
                    1,
                    true},
        AttemptsRow{"closed_twice",
                    {{{OK}, {"", true}}, {{OK}, {"", true}}},
                    NONE,
                    {{"SELECT", "CMD"}, {"SELECT", "CMD"}},
                    1,
                    true},
        AttemptsRow{"garbage_twice", {{{OK}, {"\r\n"}}}, NONE, {{"SELECT", "CMD"}, {"SELECT", "CMD"}}, 1, true},
        AttemptsRow{"second_selection_refused",
                    {{{OK}, {"", true}}, {{"-ERR no\r\n"}}},
                    NONE,
                    {{"SELECT", "CMD"}, {"SELECT"}},
                    1,
                    true},
        AttemptsRow{"first_selection_refused", {{{"-ERR no\r\n"}}}, NONE, {{"SELECT"}}, 0, true}),
    rowName);

TEST_F(DatabaseConnection, recoversAtTheNextCommandAfterTwoFailures) {
    ScriptedRedis peer(answers({{{OK}, {"", true}}, {{OK}, {"", true}}, {{OK}, {"+C\r\n"}}}));
    Base base;
    base.setup(peer.socket(), 2);
    EXPECT_EQ(command(&base, "ONE"), NONE);
    EXPECT_EQ(command(&base, "TWO"), "(status C)");
    EXPECT_EQ(peer.connections(), 3U);
    EXPECT_THAT(logs, ElementsAre(connectedLine(), reconnectedLine(), reconnectedLine()));
}

TEST_F(DatabaseConnection, takesArgumentsUpToTheirEndWithoutLengths) {
    ScriptedRedis peer(answers({{{OK}, {"+A\r\n"}}}));
    Base base;
    base.setup(peer.socket(), 2);
    std::array<const char*, 3> arguments{"CMD", "a\0b", ""};
    const ReplyPtr reply(base.executeCommandArgv(3, arguments.data(), nullptr));
    EXPECT_EQ(text(reply.get()), "(status A)");
    EXPECT_THAT(peer.received(), ElementsAre(selectBytes() + encoded({"CMD", "a", ""})));
}

TEST_F(DatabaseConnection, sendsNothingForAFormatThatIsNone) {
    ScriptedRedis peer(answers({{{OK}}}));
    Base base;
    base.setup(peer.socket(), 2);
    EXPECT_EQ(command(&base, "CMD %q"), NONE);
    EXPECT_TRUE(base.reconnectNeeded);
    EXPECT_THAT(peer.received(), ElementsAre(selectBytes(), selectBytes()));
}

TEST_F(DatabaseConnection, selectsAgainAfterARestartBetweenTwoCommands) {
    RedisServer server;
    Base base;
    base.setup(server.socket(), 5);
    EXPECT_EQ(command(&base, "SET k before"), "(status OK)");
    server.restart();
    EXPECT_EQ(command(&base, "SET k after"), "(status OK)");
    EXPECT_EQ(server.run({"GET", "k"}, 5), "\"after\"");
    EXPECT_EQ(server.run({"GET", "k"}, 0), "(nil)");
    EXPECT_THAT(logs, ElementsAre(connectedLine(), reconnectedLine()));
}

TEST_F(DatabaseConnection, getsNothingFromAServerWithoutThatDatabase) {
    RedisServer server;
    Base base;
    base.setup(server.socket(), 255);
    EXPECT_EQ(base.ensureConnected(), 3);
    base.setup(server.socket(), 15);
    EXPECT_EQ(base.ensureConnected(), 0);
}

} // namespace
