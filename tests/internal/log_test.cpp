#include "FakeSupport.h"
#include "NamedRow.h"
#include "row_name.h"

#include "config/log.h"

#include <gmock/gmock.h>

namespace {

using namespace Kelvra::SCADA::Test;
namespace PrintLevel = Kelvra::Logger::PrintLevel;
using LogLine = FakeSupport::LogLine;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct LevelRow : NamedRow {
    void (*log)(const char* text);
    int& level;
    const char*& label;
};

const LevelRow LEVEL_ROWS[] = {
    {"error", [](const char* text) { SCADA_LOG(ERROR, "[TAG] %s", text); }, PrintLevel::ERROR_LEVEL,
     PrintLevel::ERROR_LABEL},
    {"warning", [](const char* text) { SCADA_LOG(WARNING, "[TAG] %s", text); }, PrintLevel::WARNING_LEVEL,
     PrintLevel::WARNING_LABEL},
    {"debug", [](const char* text) { SCADA_LOG(DEBUG, "[TAG] %s", text); }, PrintLevel::DEBUG_LEVEL,
     PrintLevel::DEBUG_LABEL},
    {"trace", [](const char* text) { SCADA_LOG(TRACE, "[TAG] %s", text); }, PrintLevel::TRACE_LEVEL,
     PrintLevel::TRACE_LABEL},
};

class Log : public SupportTest, public ::testing::WithParamInterface<LevelRow> {
protected:
    FakeSupport& fake = FakeSupport::inst();
    const int level = GetParam().level;
    const std::string label = GetParam().label;
};
INSTANTIATE_TEST_SUITE_P(Levels, Log, ::testing::ValuesIn(LEVEL_ROWS), rowName);

TEST_P(Log, asksOnceAndPrints) {
    GetParam().log("text");
    EXPECT_THAT(fake.asked, ElementsAre(level));
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{level, label, "[TAG] text"}));
}

TEST_P(Log, suppressedLevelPrintsNothing) {
    fake.printable(level, false);
    GetParam().log("text");
    EXPECT_THAT(fake.asked, ElementsAre(level));
    EXPECT_THAT(fake.logs, IsEmpty());
}

TEST_P(Log, isSuppressedByItsOwnLevelOnly) {
    fake.allPrintable(false);
    fake.printable(level, true);
    GetParam().log("text");
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{level, label, "[TAG] text"}));
}

TEST_P(Log, levelObjectIsReadAtEachCall) {
    GetParam().level = 1234;
    GetParam().log("text");
    EXPECT_THAT(fake.asked, ElementsAre(1234));
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{1234, label, "[TAG] text"}));
}

TEST_P(Log, levelIsReadOnceAndTheLabelAfterwards) {
    fake.onIsPrintable = [](int) {
        GetParam().level = 1234;
        GetParam().label = "new label";
    };
    GetParam().log("text");
    EXPECT_THAT(fake.asked, ElementsAre(level));
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{level, "new label", "[TAG] text"}));
}

TEST_P(Log, longMessageIsNotCutHere) {
    const std::string text(5000, 'x');
    GetParam().log(text.c_str());
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{level, label, "[TAG] " + text}));
}

class LogMacro : public SupportTest {
protected:
    const char* evaluated() {
        ++evaluations;
        return "text";
    }
    FakeSupport& fake = FakeSupport::inst();
    int evaluations = 0;
};

TEST_F(LogMacro, argumentsOfASuppressedMessageAreNotEvaluated) {
    fake.allPrintable(false);
    SCADA_LOG(WARNING, "[TAG] %s", evaluated());
    EXPECT_EQ(evaluations, 0);
    fake.allPrintable(true);
    SCADA_LOG(WARNING, "[TAG] %s", evaluated());
    EXPECT_EQ(evaluations, 1);
}

TEST_F(LogMacro, argumentsAreEvaluatedAfterTheQuestion) {
    fake.onIsPrintable = [this](int) { EXPECT_EQ(evaluations, 0); };
    SCADA_LOG(TRACE, "[TAG] %s", evaluated());
    EXPECT_EQ(evaluations, 1);
}

TEST_F(LogMacro, needsNoArguments) {
    SCADA_LOG(ERROR, "[TAG] plain");
    EXPECT_THAT(fake.logs, ElementsAre(LogLine{PrintLevel::ERROR_LEVEL, PrintLevel::ERROR_LABEL, "[TAG] plain"}));
}

TEST_F(LogMacro, isOneStatement) {
    for (const bool first : {true, false}) {
        if (first)
            SCADA_LOG(ERROR, "[TAG] first");
        else
            SCADA_LOG(ERROR, "[TAG] second");
    }
    ASSERT_EQ(fake.logs.size(), 2U);
    EXPECT_EQ(fake.logs[0].text, "[TAG] first");
    EXPECT_EQ(fake.logs[1].text, "[TAG] second");
}

} // namespace
