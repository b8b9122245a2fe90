#include "NamedRow.h"
#include "demo_sensor.h"
#include "json_text.h"
#include "row_name.h"

#include <scada/SensorMapEntry.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>

namespace {

using Kelvra::SCADA::SensorMapEntry;
using Kelvra::SCADA::Test::NamedRow;
using Kelvra::SCADA::Test::parsed;
using Kelvra::SCADA::Test::rowName;
using Kelvra::SCADA::Test::UNTOUCHED;

static_assert(std::is_same<decltype(SensorMapEntry::id), std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::sensor), std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::src), std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::JSON_ATTR_ID), const std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::JSON_ATTR_SRC), const std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::JSON_ATTR_SENSOR), const std::string>::value);
static_assert(std::is_same<decltype(SensorMapEntry::JSON_ATTR_STATUS), const std::string>::value);
static_assert(std::is_aggregate<SensorMapEntry>::value && !std::is_polymorphic<SensorMapEntry>::value);
static_assert(sizeof(SensorMapEntry) == 3 * sizeof(std::string), "three strings and nothing else");
static_assert(offsetof(SensorMapEntry, id) == 0 && offsetof(SensorMapEntry, sensor) == sizeof(std::string) &&
                  offsetof(SensorMapEntry, src) == 2 * sizeof(std::string),
              "in the order of their names");
static_assert(std::is_copy_constructible<SensorMapEntry>::value && std::is_copy_assignable<SensorMapEntry>::value);

TEST(SensorMapEntry, constants) {
    EXPECT_EQ(SensorMapEntry::JSON_ATTR_ID, "id");
    EXPECT_EQ(SensorMapEntry::JSON_ATTR_SRC, "src");
    EXPECT_EQ(SensorMapEntry::JSON_ATTR_SENSOR, "sensor");
    EXPECT_EQ(SensorMapEntry::JSON_ATTR_STATUS, "status");
}

TEST(SensorMapEntry, startsEmptyWithItsMembersInOrder) {
    const SensorMapEntry entry;
    EXPECT_EQ(entry.id, "");
    EXPECT_EQ(entry.sensor, "");
    EXPECT_EQ(entry.src, "");
    EXPECT_LT(&entry.id, &entry.sensor);
    EXPECT_LT(&entry.sensor, &entry.src);
}

// The members before each element is loaded; they show which ones a fault has left untouched.
const char* const OLD_ID = "old id";
const char* const OLD_SENSOR = "old sensor";
const char* const OLD_SRC = "old src";

struct Good : NamedRow {
    const char* element;
    const char* id;
    const char* src;
    const char* sensor;
};

const Good GOOD[] = {
    {"plain", R"({"id": "i", "src": "s", "sensor": "d"})", "i", "s", "d"},
    {"members_in_another_order", R"({"sensor": "d", "src": "s", "id": "i"})", "i", "s", "d"},
    {"values_in_blanks", R"({"id": " AbC ", "src": " Net ", "sensor": " Model/X "})", "abc", "Net", "Model/X"},
    {"tabs_and_line_ends_around", R"({"id": "\tI\n", "src": "\n\ts", "sensor": "d\r\n"})", "i", "s", "d"},
    {"only_the_identifier_is_lower_cased", R"({"id": "ID", "src": "SRC", "sensor": "SENSOR"})", "id", "SRC", "SENSOR"},
    {"blanks_inside", R"({"id": "a b", "src": "c  d", "sensor": "e f"})", "a b", "c  d", "e f"},
    {"slashes_everywhere", R"({"id": "a/b", "src": "c/d", "sensor": "/e/"})", "a/b", "c/d", "/e/"},
    {"status_is_string", R"({"id": "i", "src": "s", "sensor": "d", "status": "on"})", "i", "s", "d"},
    {"status_is_number", R"({"id": "i", "src": "s", "sensor": "d", "status": 7})", "i", "s", "d"},
    {"status_is_object", R"({"id": "i", "src": "s", "sensor": "d", "status": {}})", "i", "s", "d"},
    {"status_is_null", R"({"id": "i", "src": "s", "sensor": "d", "status": null})", "i", "s", "d"},
    {"status_has_at_sign", R"({"id": "i", "src": "s", "sensor": "d", "status": "@"})", "i", "s", "d"},
    {"unknown_member", R"({"id": "i", "src": "s", "sensor": "d", "comment": "x@y"})", "i", "s", "d"},
    {"keys_in_other_case_are_unknown", R"({"id": "i", "ID": 1, "src": "s", "Src": 2, "sensor": "d"})", "i", "s", "d"},
    {"member_twice_last_wins", R"({"id": 17, "src": "s", "sensor": "d", "id": "i"})", "i", "s", "d"},
};

class SensorMapEntryGood : public ::testing::TestWithParam<Good> {};
INSTANTIATE_TEST_SUITE_P(Rows, SensorMapEntryGood, ::testing::ValuesIn(GOOD), rowName);

TEST_P(SensorMapEntryGood, takesTheThreeValues) {
    SensorMapEntry entry{OLD_ID, OLD_SENSOR, OLD_SRC};
    std::string error = UNTOUCHED;
    EXPECT_TRUE(entry.LoadJson(parsed(GetParam().element), &error));
    EXPECT_EQ(entry.id, GetParam().id);
    EXPECT_EQ(entry.src, GetParam().src);
    EXPECT_EQ(entry.sensor, GetParam().sensor);
    EXPECT_EQ(error, UNTOUCHED);
}

TEST_P(SensorMapEntryGood, needsNoErrorText) {
    SensorMapEntry entry;
    EXPECT_TRUE(entry.LoadJson(parsed(GetParam().element), nullptr));
    EXPECT_EQ(entry.id, GetParam().id);
}

struct Bad : NamedRow {
    const char* element;
    const char* error;
    const char* id;
    const char* src;
    const char* sensor;
};

const char* const NO_OBJECT = "Corresponding json section is not an object.";
const char* const NO_ID = "Identifier of a managed sensor is not provided.";
const char* const ID_NO_STRING = "Specified sensor identifier is not a string.";
const char* const ID_EMPTY = "Specified sensor identifier is empty.";

const Bad BAD[] = {
    {"element_is_array", "[]", NO_OBJECT, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"element_is_string", R"("id")", NO_OBJECT, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"element_is_number", "7", NO_OBJECT, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"element_is_true", "true", NO_OBJECT, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"element_is_null", "null", NO_OBJECT, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"element_is_empty_object", "{}", NO_ID, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_missing", R"({"src": "a", "sensor": "b"})", NO_ID, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_in_other_case", R"({"Id": "i", "src": "a", "sensor": "b"})", NO_ID, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_is_number", R"({"id": 17, "src": "a", "sensor": "b"})", ID_NO_STRING, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_is_null", R"({"id": null, "src": "a", "sensor": "b"})", ID_NO_STRING, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_is_array", R"({"id": ["i"], "src": "a", "sensor": "b"})", ID_NO_STRING, OLD_ID, OLD_SRC, OLD_SENSOR},
    {"id_is_empty", R"({"id": "", "src": "a", "sensor": "b"})", ID_EMPTY, "", OLD_SRC, OLD_SENSOR},
    {"id_is_blank", R"({"id": "   ", "src": "a", "sensor": "b"})", ID_EMPTY, "", OLD_SRC, OLD_SENSOR},
    {"src_missing", R"({"id": "AB"})", "Source value is not specified for the [ab] sensor.", "ab", OLD_SRC, OLD_SENSOR},
    {"src_is_number", R"({"id": "AB", "src": 1})", "Specified source value is not a string for the [ab] sensor.", "ab",
     OLD_SRC, OLD_SENSOR},
    {"src_is_null", R"({"id": "AB", "src": null})", "Specified source value is not a string for the [ab] sensor.", "ab",
     OLD_SRC, OLD_SENSOR},
    {"src_is_empty", R"({"id": "AB", "src": ""})", "Specified source value is empty for the [ab] sensor.", "ab", "",
     OLD_SENSOR},
    {"src_is_blank", R"({"id": "AB", "src": " \t"})", "Specified source value is empty for the [ab] sensor.", "ab", "",
     OLD_SENSOR},
    {"sensor_missing", R"({"id": "AB", "src": "S"})", "Sensor definition is not specified for the [ab] sensor.", "ab",
     "S", OLD_SENSOR},
    {"sensor_is_number", R"({"id": "AB", "src": "S", "sensor": 1})",
     "Sensor definition value is not a string for the [ab] sensor.", "ab", "S", OLD_SENSOR},
    {"sensor_is_null", R"({"id": "AB", "src": "S", "sensor": null})",
     "Sensor definition value is not a string for the [ab] sensor.", "ab", "S", OLD_SENSOR},
    {"sensor_is_empty", R"({"id": "AB", "src": "S", "sensor": ""})",
     "Specified sensor definition value is empty for the [ab] sensor.", "ab", "S", ""},
    {"sensor_is_blank", R"({"id": "AB", "src": "S", "sensor": "  "})",
     "Specified sensor definition value is empty for the [ab] sensor.", "ab", "S", ""},
    {"id_has_at_sign", R"({"id": "x@y", "src": "s", "sensor": "d"})",
     "Invalid identifier [x@y] specified for a managed sensor sensor.", "x@y", "s", "d"},
    {"id_is_at_sign_in_upper_case", R"({"id": "X@Y", "src": "s", "sensor": "d"})",
     "Invalid identifier [x@y] specified for a managed sensor sensor.", "x@y", "s", "d"},
    {"src_has_at_sign", R"({"id": "i", "src": "s@t", "sensor": "d"})",
     "Invalid source value [s@t] specified for [i] the managed sensor sensor.", "i", "s@t", "d"},
    {"sensor_has_at_sign", R"({"id": "i", "src": "s", "sensor": "d@e"})",
     "Invalid sensor definition [d@e] specified for the [s@i] managed sensor sensor.", "i", "s", "d@e"},
    {"id_with_at_sign_is_judged_after_the_source", R"({"id": "X@Y"})",
     "Source value is not specified for the [x@y] sensor.", "x@y", OLD_SRC, OLD_SENSOR},
    {"id_with_at_sign_is_judged_after_the_definition", R"({"id": "X@Y", "src": "s@t"})",
     "Sensor definition is not specified for the [x@y] sensor.", "x@y", "s@t", OLD_SENSOR},
    {"at_sign_everywhere_names_the_identifier", R"({"id": "@", "src": "@", "sensor": "@"})",
     "Invalid identifier [@] specified for a managed sensor sensor.", "@", "@", "@"},
    {"at_sign_in_source_and_definition_names_the_source", R"({"id": "i", "src": "@", "sensor": "@"})",
     "Invalid source value [@] specified for [i] the managed sensor sensor.", "i", "@", "@"},
    {"format_characters_are_text", R"({"id": "%s%n"})", "Source value is not specified for the [%s%n] sensor.", "%s%n",
     OLD_SRC, OLD_SENSOR},
};

class SensorMapEntryBad : public ::testing::TestWithParam<Bad> {};
INSTANTIATE_TEST_SUITE_P(Rows, SensorMapEntryBad, ::testing::ValuesIn(BAD), rowName);

TEST_P(SensorMapEntryBad, givesTheFirstFaultAndKeepsWhatWasRead) {
    SensorMapEntry entry{OLD_ID, OLD_SENSOR, OLD_SRC};
    std::string error = UNTOUCHED;
    EXPECT_FALSE(entry.LoadJson(parsed(GetParam().element), &error));
    EXPECT_EQ(error, GetParam().error);
    EXPECT_EQ(entry.id, GetParam().id);
    EXPECT_EQ(entry.src, GetParam().src);
    EXPECT_EQ(entry.sensor, GetParam().sensor);
}

TEST_P(SensorMapEntryBad, needsNoErrorText) {
    SensorMapEntry entry{OLD_ID, OLD_SENSOR, OLD_SRC};
    EXPECT_FALSE(entry.LoadJson(parsed(GetParam().element), nullptr));
    EXPECT_EQ(entry.id, GetParam().id);
    EXPECT_EQ(entry.src, GetParam().src);
    EXPECT_EQ(entry.sensor, GetParam().sensor);
}

TEST(SensorMapEntry, elementIsNotChanged) {
    const Json::Value element = parsed(R"({"id": " A "})");
    SensorMapEntry entry;
    EXPECT_FALSE(entry.LoadJson(element, nullptr));
    EXPECT_EQ(element, parsed(R"({"id": " A "})"));
}

TEST(SensorMapEntry, valuesHaveNoLengthLimit) {
    const std::string longValue(100000, 'A');
    Json::Value element;
    element["id"] = longValue;
    element["src"] = longValue;
    element["sensor"] = longValue;
    SensorMapEntry entry;
    EXPECT_TRUE(entry.LoadJson(element, nullptr));
    EXPECT_EQ(entry.id, std::string(100000, 'a'));
    EXPECT_EQ(entry.src, longValue);
    EXPECT_EQ(entry.sensor, longValue);
}

TEST(SensorMapEntry, longTextIsCutAt255Bytes) {
    Json::Value element;
    element["id"] = std::string(300, 'i');
    SensorMapEntry entry;
    std::string error;
    EXPECT_FALSE(entry.LoadJson(element, &error));
    const std::string start = "Source value is not specified for the [";
    EXPECT_EQ(error, start + std::string(255 - start.size(), 'i'));
}

TEST(SensorMapEntry, nulIsKeptInTheValueAndEndsItInTheText) {
    SensorMapEntry entry;
    std::string error;
    EXPECT_FALSE(entry.LoadJson(parsed(R"({"id": "A\u0000B"})"), &error));
    EXPECT_EQ(entry.id, std::string("a\0b", 3));
    EXPECT_EQ(error, "Source value is not specified for the [a] sensor.");
}

TEST(SensorMapEntry, atSignBehindNulCounts) {
    SensorMapEntry entry;
    std::string error;
    EXPECT_FALSE(entry.LoadJson(parsed(R"({"id": "a\u0000@", "src": "s", "sensor": "d"})"), &error));
    EXPECT_EQ(error, "Invalid identifier [a] specified for a managed sensor sensor.");
}

} // namespace
