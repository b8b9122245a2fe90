// A definition may change between the library's reading and the tool's search for places.

#include "check/definition_rules.h"

#include "TempDir.h"
#include "files.h"

#include <gtest/gtest.h>

namespace {

using namespace Kelvra::SCADA::Test;
using namespace Kelvra::SCADA::Tool;

TEST(DefinitionRules, keepTheVerdictOnADefinitionThatWasCorrectedMeanwhile) {
    const TempDir temp;
    writeFile(temp / "th1.json", R"({"properties": {}})");
    for (const Json::Value& document : {Json::Value(), Json::Value(Json::objectValue)}) {
        Definition definition;
        definition.name = "lora/demo/th1";
        definition.file = temp / "th1.json";
        definition.verdict.state = "what the library said";
        definition.document = document;
        const Findings findings = checkDefinition(definition);
        ASSERT_EQ(errorCount(findings), 1U);
        EXPECT_EQ(findings.front().text, "what the library said");
        EXPECT_EQ(findings.front().place.file, definition.file);
    }
}

} // namespace
