#include "NamedRow.h"
#include "row_name.h"

#include <scada/Conf.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

namespace {

using Kelvra::SCADA::Conf;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::rowName;

using StringGetter = const std::string& (Conf::*)() const;

static_assert(std::is_same<decltype(Conf::DFN_DATABASE_SOCKET), const std::string>::value);
static_assert(std::is_same<decltype(Conf::DFN_DATABASE_NUMBER), const unsigned int>::value);
static_assert(std::is_same<decltype(Conf::DFN_DATABASE_KEY_TTL), const unsigned int>::value);
static_assert(sizeof(Conf::DFN_DATABASE_NUMBER) == 4 && sizeof(Conf::DFN_DATABASE_KEY_TTL) == 4);

static_assert(std::is_copy_constructible<Conf>::value && std::is_copy_assignable<Conf>::value);
static_assert(!std::is_polymorphic<Conf>::value);

// The layout of the fields that compiled host programs rely on.
struct ConfLayout {
    std::string databaseSocket;
    unsigned char databaseNumber;
    unsigned int databaseKeyTtl;
    std::string defaultDir;
    std::string customDir;
    std::string stagingDir;
    std::string sensorMapFile;
};
static_assert(sizeof(Conf) == sizeof(ConfLayout) && alignof(Conf) == alignof(ConfLayout));

std::size_t offsetIn(const Conf& conf, const std::string& field) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&conf));
}

template <typename Number> Number numberIn(const Conf& conf, std::size_t offset) {
    Number number{};
    std::memcpy(&number, reinterpret_cast<const char*>(&conf) + offset, sizeof number);
    return number;
}

TEST(ConfLayout, keepsTheOrderOfItsFields) {
    Conf conf;
    conf.setDfnDatabaseNumber(201);
    conf.setDfnDatabaseKeyTtl(4000000001U);
    EXPECT_EQ(offsetIn(conf, conf.getDfnDatabaseSocket()), offsetof(ConfLayout, databaseSocket));
    EXPECT_EQ(numberIn<unsigned char>(conf, offsetof(ConfLayout, databaseNumber)), 201);
    EXPECT_EQ(numberIn<unsigned int>(conf, offsetof(ConfLayout, databaseKeyTtl)), 4000000001U);
    EXPECT_EQ(offsetIn(conf, conf.getDfnDefaultDir()), offsetof(ConfLayout, defaultDir));
    EXPECT_EQ(offsetIn(conf, conf.getDfnCustomDir()), offsetof(ConfLayout, customDir));
    EXPECT_EQ(offsetIn(conf, conf.getDfnStagingDir()), offsetof(ConfLayout, stagingDir));
    EXPECT_EQ(offsetIn(conf, conf.getSensorMapFile()), offsetof(ConfLayout, sensorMapFile));
}

struct StringField : NamedRow {
    const std::string& (*constant)();
    const char* text;
    StringGetter get;
    void (*set)(Conf&, const std::string&);
};

const StringField STRING_FIELDS[] = {
    {"database_socket", []() -> const std::string& { return Conf::DFN_DATABASE_SOCKET; },
     "/var/run/redis/redis-server.sock", &Conf::getDfnDatabaseSocket,
     [](Conf& conf, const std::string& value) { conf.setDfnDatabaseSocket(value); }},
    {"default_dir", []() -> const std::string& { return Conf::DFN_STORAGE_DEFAULT_DIR; }, "/etc/scada/sensors",
     &Conf::getDfnDefaultDir, [](Conf& conf, const std::string& value) { conf.setDfnDefaultDir(value); }},
    {"custom_dir", []() -> const std::string& { return Conf::DFN_STORAGE_CUSTOM_DIR; }, "/var/config/scada/sensors",
     &Conf::getDfnCustomDir, [](Conf& conf, const std::string& value) { conf.setDfnCustomDir(value); }},
    {"staging_dir", []() -> const std::string& { return Conf::DFN_STORAGE_STAGING_DIR; },
     "/var/run/scada/sensors/staging", &Conf::getDfnStagingDir,
     [](Conf& conf, const std::string& value) { conf.setDfnStagingDir(value); }},
    {"sensor_map_file", []() -> const std::string& { return Conf::SENSOR_MAP_FILE; },
     "/var/config/scada/sensors_map.json", &Conf::getSensorMapFile,
     [](Conf& conf, const std::string& value) { conf.setSensorMapFile(value); }},
};

class ConfString : public ::testing::TestWithParam<StringField> {};
INSTANTIATE_TEST_SUITE_P(Fields, ConfString, ::testing::ValuesIn(STRING_FIELDS), rowName);

TEST_P(ConfString, constantHasItsText) {
    EXPECT_EQ(GetParam().constant(), GetParam().text);
}

TEST_P(ConfString, startsWithItsConstant) {
    const Conf conf;
    EXPECT_EQ((conf.*GetParam().get)(), GetParam().text);
}

TEST_P(ConfString, isStoredAsGiven) {
    const char* const values[] = {"", "/", "/a/b/", "//a/../b", "relative", " blanks ", "/a/b"};
    for (const char* value : values) {
        Conf conf;
        GetParam().set(conf, value);
        EXPECT_EQ((conf.*GetParam().get)(), value);
    }
}

TEST_P(ConfString, embeddedNulIsStoredToo) {
    const std::string value("a\0b", 3);
    Conf conf;
    GetParam().set(conf, value);
    EXPECT_EQ((conf.*GetParam().get)(), value);
}

TEST_P(ConfString, getterRefersIntoTheRecord) {
    Conf conf;
    const std::string& field = (conf.*GetParam().get)();
    GetParam().set(conf, "changed");
    EXPECT_EQ(field, "changed");
    EXPECT_EQ(&field, &(conf.*GetParam().get)());
    EXPECT_NE(&field, &GetParam().constant());
}

TEST_P(ConfString, settingItLeavesTheOtherFields) {
    Conf conf;
    GetParam().set(conf, "changed");
    for (const StringField& other : STRING_FIELDS) {
        const bool isThis = std::string(other.name) == GetParam().name;
        EXPECT_EQ((conf.*other.get)(), isThis ? "changed" : other.text) << other.name;
    }
    EXPECT_EQ(conf.getDfnDatabaseNumber(), 2U);
    EXPECT_EQ(conf.getDfnDatabaseKeyTtl(), 129600U);
}

TEST_P(ConfString, copyKeepsItsOwnValue) {
    Conf conf;
    GetParam().set(conf, "first");
    const Conf copy = conf;
    GetParam().set(conf, "second");
    EXPECT_EQ((copy.*GetParam().get)(), "first");
}

TEST(ConfNumbers, constants) {
    EXPECT_EQ(Conf::DFN_DATABASE_NUMBER, 2U);
    EXPECT_EQ(Conf::DFN_DATABASE_KEY_TTL, 129600U);
}

TEST(ConfNumbers, startWithTheirConstants) {
    const Conf conf;
    EXPECT_EQ(conf.getDfnDatabaseNumber(), 2U);
    EXPECT_EQ(conf.getDfnDatabaseKeyTtl(), 129600U);
}

TEST(ConfNumbers, holdTheirWholeRange) {
    Conf conf;
    for (const unsigned int value : {0U, 1U, 15U, 128U, 255U}) {
        conf.setDfnDatabaseNumber(static_cast<unsigned char>(value));
        EXPECT_EQ(conf.getDfnDatabaseNumber(), value);
    }
    for (const unsigned int value : {0U, 1U, 2147483648U, 4294967295U}) {
        conf.setDfnDatabaseKeyTtl(value);
        EXPECT_EQ(conf.getDfnDatabaseKeyTtl(), value);
    }
}

TEST(ConfNumbers, settingThemLeavesTheOtherFields) {
    Conf conf;
    conf.setDfnDatabaseNumber(7);
    EXPECT_EQ(conf.getDfnDatabaseKeyTtl(), 129600U);
    conf.setDfnDatabaseKeyTtl(60);
    EXPECT_EQ(conf.getDfnDatabaseNumber(), 7U);
    for (const StringField& field : STRING_FIELDS)
        EXPECT_EQ((conf.*field.get)(), field.text) << field.name;
}

} // namespace
