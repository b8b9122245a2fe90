// Where definitions do not fit their schema, and how little a hostile document costs.

#include "DecoderTest.h"
#include "NamedRow.h"
#include "ToolTest.h"
#include "check/Schema.h"
#include "check/schema_texts.h"
#include "json_text.h"
#include "row_name.h"

#include <gmock/gmock.h>

#include <chrono>
#include <stdexcept>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::Tool::DEFINITION_SCHEMA;
using Kelvra::SCADA::Tool::Schema;
using Kelvra::SCADA::Tool::SchemaFault;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;

Texts faultsOf(const std::string& schema, const std::string& document) {
    Texts texts;
    for (const SchemaFault& fault : Schema(schema).faultsOf(parsed(document), 100))
        texts.push_back(fault.text + " [" + fault.rule->id + "]");
    return texts;
}

struct SchemaRow : NamedRow {
    const char* document;
    Texts faults;
};

class DefinitionSchema : public ::testing::TestWithParam<SchemaRow> {};

TEST_P(DefinitionSchema, saysWhatDoesNotFit) {
    EXPECT_EQ(faultsOf(DEFINITION_SCHEMA, GetParam().document), GetParam().faults);
}

constexpr const char* BAD_BYTES =
    "\"examples.0.input.bytes\" has none of its possible forms: Numbers, or hexadecimal digits "
    "in pairs, with or without blanks between the pairs. [schema/form]";

INSTANTIATE_TEST_SUITE_P(
    Tool, DefinitionSchema,
    ::testing::Values(
        SchemaRow{"sound", R"({"properties": {"a": {"type": "bool", "min": -1.5, "other": 7}}, "title": 1})", {}},
        SchemaRow{"misspelt_type",
                  R"({"properties": {"a": {"type": "flaot"}}})",
                  {"\"properties.a.type\" is \"flaot\". It must be \"float\", \"bool\", \"uint32\", \"int32\" or "
                   "\"string\". [schema/enum]"}},
        SchemaRow{"type_of_another_kind",
                  R"({"properties": {"a": {"type": {"b": 1}}}})",
                  {"\"properties.a.type\" is an object. It must be \"float\", \"bool\", \"uint32\", \"int32\" or "
                   "\"string\". [schema/enum]"}},
        SchemaRow{"other_types",
                  R"({"properties": {"a": {"max": "1", "name": 5, "unit": null, "values": [1]}}})",
                  {"\"properties.a.max\" must be a number, and is a string. [schema/type]",
                   "\"properties.a.name\" must be a string, and is a number. [schema/type]",
                   "\"properties.a.unit\" must be a string, and is null. [schema/type]",
                   "\"properties.a.values.0\" must be a string, and is a number. [schema/type]"}},
        SchemaRow{"root_is_no_object", "[]", {"The document must be an object, and is an array. [schema/type]"}},
        SchemaRow{"port_too_small",
                  R"({"properties": {}, "examples": [{"input": {"fPort": -1, "bytes": ""}, "throws": true}]})",
                  {"\"examples.0.input.fPort\" is -1, below its minimum 0. [schema/range]"}},
        SchemaRow{"port_too_large",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1e3, "bytes": ""}, "throws": true}]})",
                  {"\"examples.0.input.fPort\" is 1000.0, above its maximum 255. [schema/range]"}},
        SchemaRow{"half_a_byte",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": "0"}, "throws": true}]})",
                  {BAD_BYTES}},
        SchemaRow{"bytes_with_tabs",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": "\t00 d7"}, "throws": true}]})",
                  {}},
        SchemaRow{"bytes_with_nul",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": "00\u0000"}, "throws": true}]})",
                  {BAD_BYTES}},
        SchemaRow{"no_output",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": []}}]})",
                  {"\"examples.0\" needs the member \"output\". [schema/required]"}},
        SchemaRow{"output_and_throws",
                  R"({"properties": {}, "examples":
                      [{"input": {"fPort": 1, "bytes": []}, "output": {"data": {}}, "throws": true}]})",
                  {"\"examples.0\" must not have the member \"output\" here. [schema/form]"}},
        SchemaRow{"empty_output",
                  R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": []}, "output": {}}]})",
                  {"\"examples.0.output\" needs the member \"data\" or \"errors\". [schema/form]"}},
        SchemaRow{"texts",
                  R"({"properties": {}, "examples":
                      [{"input": {"fPort": 1, "bytes": []}, "output": {"errors": [1]}}]})",
                  {"\"examples.0.output.errors\" has none of its possible forms. [schema/form]"}}),
    rowName);

struct RefusedSchemaRow : NamedRow {
    const char* schema;
};

class RefusedSchema : public ::testing::TestWithParam<RefusedSchemaRow> {};

TEST_P(RefusedSchema, isNotEnforcedInPart) {
    EXPECT_THROW(Schema(GetParam().schema).faultsOf(Json::Value(1), 1), std::logic_error);
}

INSTANTIATE_TEST_SUITE_P(Tool, RefusedSchema,
                         ::testing::Values(RefusedSchemaRow{"syntax", "{"},
                                           RefusedSchemaRow{"keyword", R"({"minLength": 1})"},
                                           RefusedSchemaRow{"keyword_below", R"({"items": {"maxItems": 1}})"},
                                           RefusedSchemaRow{"boolean", R"({"additionalProperties": false})"},
                                           RefusedSchemaRow{"type", R"({"type": "text"})"},
                                           RefusedSchemaRow{"reference", R"({"$ref": "other.json"})"},
                                           RefusedSchemaRow{"letter_behind_a_backslash", R"({"pattern": "\\d"})"},
                                           RefusedSchemaRow{"pattern", R"({"pattern": "("})"}),
                         rowName);

// --- the command

class SchemaCheck : public ToolTest {
protected:
    ToolRun check(const std::string& document) const {
        writeFile(temp / "custom/lora/demo/th1.json", document);
        writeFile(temp / "list.json", "[]");
        return run({"check"});
    }
};

TEST_F(SchemaCheck, hasThePlaceOfEachFault) {
    const ToolRun result =
        check("{\n  \"properties\": {\n    \"a\": {\"type\": \"flaot\"},\n    \"b\": {\"name\": 1}\n  }\n}");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("$T/custom/lora/demo/th1.json:3:19: warning: \"properties.a.type\" is \"flaot\". It "));
    EXPECT_THAT(result.out,
                HasSubstr("$T/custom/lora/demo/th1.json:4:19: warning: \"properties.b.name\" must be a string"));
}

struct OnceRow : NamedRow {
    const char* document;
};

class ToldOnce : public SchemaCheck, public ::testing::WithParamInterface<OnceRow> {};

// A fault that the library names is not named again by the schema.
TEST_P(ToldOnce, byTheRuleOfTheLibrary) {
    const std::string out = check(GetParam().document).out;
    EXPECT_THAT(out, EndsWith("1 fault in 1 definition and 0 list elements\n"));
    EXPECT_THAT(out, HasSubstr("[definition/"));
}

INSTANTIATE_TEST_SUITE_P(Tool, ToldOnce,
                         ::testing::Values(OnceRow{"no_object", "[]"}, OnceRow{"no_properties", "{}"},
                                           OnceRow{"properties_no_object", R"({"properties": 1})"},
                                           OnceRow{"property_no_object", R"({"properties": {"a": 1}})"},
                                           OnceRow{"bad_decoder", R"({"properties": {}, "decoder": "../a"})"},
                                           OnceRow{"decoder_missing", R"({"properties": {}, "decoder": "a"})"},
                                           OnceRow{"syntax", "{"}),
                         rowName);

TEST_F(SchemaCheck, hidesNothingBehindABadDecoder) {
    const std::string out = check(R"({"decoder": "none", "properties": {"a": {"type": "flaot"}}})").out;
    EXPECT_THAT(out, HasSubstr("[definition/decoder-missing]"));
    EXPECT_THAT(out, HasSubstr("[schema/enum]"));
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t at = 0; at < count; ++at)
        all += text;
    return all;
}

std::string withBytes(const std::string& bytes) {
    return R"({"properties": {}, "examples": [{"input": {"fPort": 1, "bytes": ")" + bytes + R"("}, "throws": true}]})";
}

constexpr std::size_t MEBIBYTE = std::size_t{1024} * 1024;

// No pattern may take a stack or a power of the length.
TEST_F(SchemaCheck, ofALongTextIsQuick) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(check(withBytes(repeated("0a ", MEBIBYTE / 3))).status, 0);
    EXPECT_EQ(check(withBytes(repeated("0a ", MEBIBYTE / 3) + "x")).status, 1);
    EXPECT_EQ(check(withBytes(repeated(" ", MEBIBYTE) + "x")).status, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(SchemaCheck, ofManyFaultsEnds) {
    std::string properties;
    for (int i = 0; i < 20000; ++i)
        properties += (i == 0 ? "\"p" : ",\"p") + std::to_string(i) + R"(": {"type": "flaot"})";
    const std::string out = check("{\"properties\": {" + properties + "}}").out;
    EXPECT_THAT(out, EndsWith("100 faults in 1 definition and 0 list elements\n"));
    EXPECT_THAT(out, HasSubstr(" There may be others, which were not looked for. [schema/enum]\n"));
}

TEST_F(SchemaCheck, quotesOnlyTheBeginningOfALongValue) {
    const std::string longText(MEBIBYTE, 'x');
    EXPECT_LT(check(R"({"properties": {")" + longText + R"(": {"type": ")" + longText + "\"}}}").out.size(), 2000U);
}

// --- examples

TEST_F(DecoderTest, faultsOfExamplesAreToldByTheRunnerOrTheSchema) {
    addDecoder("a", SOUND_DECODER, SOUND_PROPERTIES, R"([{"input": 7}])");
    const std::string byRunner = runWith({"check"}).out;
    EXPECT_THAT(byRunner, HasSubstr("[codec/bad-example]"));
    EXPECT_THAT(byRunner, ::testing::Not(HasSubstr("[schema/")));
    const std::string bySchema = runWith({"check", "--no-codec"}).out;
    EXPECT_THAT(bySchema, HasSubstr("\"examples.0.input\" must be an object, and is a number. [schema/type]"));
    EXPECT_THAT(bySchema, ::testing::Not(HasSubstr("[codec/")));
}

} // namespace
