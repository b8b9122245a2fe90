#include <scada/DefinitionSpec.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>
#include <utility>

namespace {

using Kelvra::SCADA::DefinitionSpec;

static_assert(std::is_same<decltype(DefinitionSpec::json), Json::Value>::value);
static_assert(std::is_same<decltype(DefinitionSpec::decoderPath), std::string>::value);
static_assert(std::is_constructible<DefinitionSpec, const Json::Value&, const std::string&>::value);
static_assert(std::is_default_constructible<DefinitionSpec>::value);
static_assert(std::is_copy_constructible<DefinitionSpec>::value && std::is_copy_assignable<DefinitionSpec>::value);
static_assert(std::is_move_constructible<DefinitionSpec>::value && std::is_move_assignable<DefinitionSpec>::value);
static_assert(!std::is_polymorphic<DefinitionSpec>::value);

// The layout of the fields that compiled host programs rely on.
struct SpecLayout {
    Json::Value json;
    std::string decoderPath;
};
static_assert(sizeof(DefinitionSpec) == sizeof(SpecLayout));
static_assert(offsetof(DefinitionSpec, json) == offsetof(SpecLayout, json));
static_assert(offsetof(DefinitionSpec, decoderPath) == offsetof(SpecLayout, decoderPath));

Json::Value document() {
    Json::Value json;
    json["properties"]["temperature"]["unit"] = "C";
    return json;
}

TEST(DefinitionSpec, startsEmpty) {
    const DefinitionSpec spec;
    EXPECT_EQ(spec.json.type(), Json::nullValue);
    EXPECT_EQ(spec.decoderPath, "");
}

TEST(DefinitionSpec, documentStandsBeforeTheDecoder) {
    const DefinitionSpec spec;
    EXPECT_EQ(static_cast<const void*>(&spec), static_cast<const void*>(&spec.json));
    EXPECT_GT(static_cast<const void*>(&spec.decoderPath), static_cast<const void*>(&spec.json));
}

TEST(DefinitionSpec, copiesItsArguments) {
    Json::Value json = document();
    std::string decoder = "/data/defs/lora/demo/th1-decoder";
    const DefinitionSpec spec(json, decoder);
    json["properties"] = 5;
    decoder.clear();
    EXPECT_EQ(spec.json, document());
    EXPECT_EQ(spec.decoderPath, "/data/defs/lora/demo/th1-decoder");
}

TEST(DefinitionSpec, copyIsIndependent) {
    DefinitionSpec spec(document(), "decoder");
    const DefinitionSpec copy = spec;
    spec.json.clear();
    spec.decoderPath.clear();
    EXPECT_EQ(copy.json, document());
    EXPECT_EQ(copy.decoderPath, "decoder");
}

TEST(DefinitionSpec, moveTakesBothMembers) {
    DefinitionSpec spec(document(), "decoder");
    const DefinitionSpec moved = std::move(spec);
    EXPECT_EQ(moved.json, document());
    EXPECT_EQ(moved.decoderPath, "decoder");
}

} // namespace
