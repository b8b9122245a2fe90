#include "FakeSupport.h"
#include "NamedRow.h"
#include "StorageBuilder.h"
#include "TempDir.h"
#include "demo_sensor.h"
#include "files.h"
#include "install_sample.h"
#include "json_text.h"
#include "row_name.h"

#include <scada/DefinitionsDeployment.h>
#include <scada/DefinitionsStorage.h>
#include <scada/Env.h>
#include <scada/SensorDefinitions.h>

#include <json/writer.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using Kelvra::SCADA::DefinitionsDeployment;
using Kelvra::SCADA::DefinitionSpec;
using Kelvra::SCADA::DefinitionsStorage;
using Kelvra::SCADA::Env;
using Kelvra::SCADA::SensorDefinitions;
using namespace Kelvra::SCADA::Test;
using ::testing::IsEmpty;

using Command = FakeSupport::Command;
using Fault = FakeSupport::Fault;
using Tree = std::set<std::string>;

static_assert(std::is_default_constructible<DefinitionsDeployment>::value);
static_assert(std::is_empty<DefinitionsDeployment>::value);

constexpr const char* M1 = "lora/v1/m1";
constexpr const char* M2 = "lora/v1/m2";
constexpr const char* M3 = "lora/v2/m3";
constexpr const char* INSTALLED = R"({"properties":{"installed":{}}})";

struct Places {
    TempDir dir;
    const std::string source = dir / "source";
    const std::string staging = dir / "run/staging";
    const std::string custom = dir / "custom";
    const std::string elsewhere = dir / "elsewhere";
};

class Deployment : public SupportTest {
protected:
    void SetUp() override {
        SupportTest::SetUp();
        Env::inst().conf().setDfnDefaultDir(places.dir / "default");
        Env::inst().conf().setDfnCustomDir(places.custom);
        Env::inst().conf().setDfnStagingDir(places.staging);
        makeDir(places.source);
        StorageBuilder(places.custom)
            .definition("lora/v1/other", INSTALLED)
            .definition("wired/a/b", INSTALLED)
            .decoder("wired/a/b", "b.js");
    }

    bool deploy(bool allowOverwrite = false) { return deployFrom(places.source, allowOverwrite); }
    bool deployFrom(const std::string& source, bool allowOverwrite = false) {
        return DefinitionsDeployment().deploy(source, allowOverwrite, &error);
    }

    static const std::vector<Command>& commands() { return FakeSupport::inst().commands; }

    Places places;
    std::string error = UNTOUCHED;
};

// Sources that are refused at once: nothing has changed before the staging directory is emptied

struct SourceCheck : NamedRow {
    std::string (*prepare)(const Places& places); // returns the source to pass
    const char* text;
};

std::string useStagingDir(const std::string& staging) {
    Env::inst().conf().setDfnStagingDir(staging);
    return staging;
}

constexpr const char* SAME = "The source directory should not be the same as the staging directory.";
constexpr const char* NO_FILES = "No definition files provided.";
constexpr const char* NO_DIRECTORY = "Source directory is not provided.";

const SourceCheck SOURCE_CHECKS[] = {
    {"staging_itself", [](const Places& p) { return p.staging; }, SAME},
    {"staging_with_slash",
     [](const Places& p) {
         useStagingDir(p.staging + "/");
         return p.staging;
     },
     SAME},
    {"both_with_slash", [](const Places& p) { return useStagingDir(p.staging + "/"); }, SAME},
    {"missing_staging_itself", [](const Places& p) { return useStagingDir(p.elsewhere); }, SAME},
    {"both_empty", [](const Places&) { return useStagingDir(""); }, SAME},
    {"empty", [](const Places&) { return std::string(); }, NO_FILES},
    {"missing", [](const Places& p) { return p.elsewhere; }, NO_FILES},
    {"dangling_link",
     [](const Places& p) {
         makeLink("nowhere", p.elsewhere);
         return p.elsewhere;
     },
     NO_FILES},
    {"below_a_file",
     [](const Places& p) {
         writeFile(p.elsewhere, "");
         return p.elsewhere + "/source";
     },
     NO_FILES},
    {"file",
     [](const Places& p) {
         writeFile(p.elsewhere, "");
         return p.elsewhere;
     },
     NO_DIRECTORY},
    {"link_to_a_file",
     [](const Places& p) {
         writeFile(p.source + "/file", "");
         makeLink("source/file", p.elsewhere);
         return p.elsewhere;
     },
     NO_DIRECTORY},
    {"fifo",
     [](const Places& p) {
         makeFifo(p.elsewhere);
         return p.elsewhere;
     },
     NO_DIRECTORY},
    {"character_device", [](const Places&) { return std::string("/dev/null"); }, NO_DIRECTORY},
};

class RefusedSource : public Deployment, public ::testing::WithParamInterface<SourceCheck> {};
INSTANTIATE_TEST_SUITE_P(Sources, RefusedSource, ::testing::ValuesIn(SOURCE_CHECKS), rowName);

TEST_P(RefusedSource, nothingIsChanged) {
    addDefinition(places.staging, M1);
    const std::string source = GetParam().prepare(places);
    const Snapshot before = snapshot(places.dir.path());
    EXPECT_FALSE(deployFrom(source, true));
    EXPECT_EQ(error, GetParam().text);
    EXPECT_FALSE(DefinitionsDeployment().deploy(source, false, nullptr));
    EXPECT_EQ(snapshot(places.dir.path()), before);
    EXPECT_THAT(commands(), IsEmpty());
}

// Sources with nothing to install, and cases that are not detected

struct EmptySource : NamedRow {
    std::string (*prepare)(const Places& places); // returns the source to pass
};

const EmptySource EMPTY_SOURCES[] = {
    {"empty", [](const Places& p) { return p.source; }},
    {"socket",
     [](const Places& p) {
         makeSocket(p.elsewhere);
         return p.elsewhere;
     }},
    {"other_depths",
     [](const Places& p) {
         StorageBuilder(p.source).definition("top", "{").definition("lora/m", "{").definition("other/a/b/c", "{");
         return p.source;
     }},
    {"linked_definitions",
     [](const Places& p) {
         addDefinition(p.elsewhere, M1);
         makeLink("../../../elsewhere/lora/v1/m1.json", p.source + "/lora/v1/m1.json");
         makeLink("../../elsewhere/lora/v1", p.source + "/lora/v2");
         makeLink("../elsewhere/lora", p.source + "/other");
         return p.source;
     }},
    {"other_suffixes",
     [](const Places& p) {
         writeFile(p.source + "/other/v1/m1.JSON", "{");
         writeFile(p.source + "/other/v1/m1.json.bak", "{");
         return p.source;
     }},
    {"staging_given_with_a_slash",
     [](const Places& p) {
         addDefinition(p.staging, M1);
         return p.staging + "/";
     }},
    {"below_staging",
     [](const Places& p) {
         addDefinition(p.staging + "/upload", M1);
         return p.staging + "/upload";
     }},
    {"link_to_staging",
     [](const Places& p) {
         addDefinition(p.staging, M1);
         makeLink(p.staging, p.elsewhere);
         return p.elsewhere;
     }},
};

class NothingToInstall : public Deployment, public ::testing::WithParamInterface<EmptySource> {};
INSTANTIATE_TEST_SUITE_P(Sources, NothingToInstall, ::testing::ValuesIn(EMPTY_SOURCES), rowName);

TEST_P(NothingToInstall, succeedsWithoutAText) {
    const std::string source = GetParam().prepare(places);
    writeFile(places.staging + "/left/over", "");
    const Snapshot custom = snapshot(places.custom);
    EXPECT_TRUE(deployFrom(source));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_P(NothingToInstall, needsNoText) {
    EXPECT_TRUE(DefinitionsDeployment().deploy(GetParam().prepare(places), true, nullptr));
    EXPECT_EQ(treeOf(places.staging), Tree());
}

// Sources refused while they are validated

struct BadSource : NamedRow {
    void (*prepare)(const Places& places); // the source holds a good lora/v1/m1 already
    const char* text;
};

constexpr const char* ONLY_LORA = "Only LoRaWAN sensors are currently supported.";
constexpr const char* DECODER_UNDEFINED = "LoRaWAN decoder is not defined for [lora/v1/m2] sensor definition.";
constexpr const char* NO_DECODER_FILE = "Invalid sensor definition [lora/v1/m2]: no decoder file found.";
constexpr const char* BAD_LOCATION = "Invalid sensor definition [lora/v1/m2]: bad decoder file location.";
constexpr const char* INVALID_SYNTAX_OF_M2 = "Invalid syntax of the sensor definition [lora/v1/m2].";

void addSecond(const Places& places, const std::string& text = documentOf("m2.js")) {
    StorageBuilder(places.source).definition(M2, text);
}

const BadSource BAD_SOURCES[] = {
    {"other_family", [](const Places& p) { addDefinition(p.source, "other/v/x"); }, ONLY_LORA},
    {"other_family_first", [](const Places& p) { addDefinition(p.source, "a/v/x"); }, ONLY_LORA},
    {"family_in_upper_case", [](const Places& p) { addDefinition(p.source, "LORA/v/x"); }, ONLY_LORA},
    {"family_with_more_letters", [](const Places& p) { addDefinition(p.source, "lora2/v/x"); }, ONLY_LORA},
    {"family_one_level_down", [](const Places& p) { addDefinition(p.source, "x/lora/y"); }, ONLY_LORA},
    {"hidden_family", [](const Places& p) { addDefinition(p.source, ".git/v/x"); }, ONLY_LORA},
    {"family_before_broken_definition",
     [](const Places& p) {
         addSecond(p, "{");
         StorageBuilder(p.source).definition("other/v/x", "{");
     },
     ONLY_LORA},
    {"broken", [](const Places& p) { addSecond(p, "{"); }, INVALID_SYNTAX_OF_M2},
    {"empty_file", [](const Places& p) { addSecond(p, ""); }, INVALID_SYNTAX_OF_M2},
    {"array", [](const Places& p) { addSecond(p, "[]"); }, INVALID_SYNTAX_OF_M2},
    {"first_fault_in_order_of_names",
     [](const Places& p) {
         addSecond(p, "{");
         StorageBuilder(p.source).definition(M3, "[]").definition("lora/v1/m3", "{}");
     },
     INVALID_SYNTAX_OF_M2},
    {"properties_missing",
     [](const Places& p) {
         addSecond(p, R"({"decoder":"m2.js"})");
         writeFile(p.source + "/lora/v1/m2.js", "");
     },
     "Invalid syntax of the sensor definition [lora/v1/m2]: no [properties] section defined."},
    {"decoder_climbs", [](const Places& p) { addSecond(p, documentOf("../v1/m1.js")); },
     "Invalid sensor definition [lora/v1/m2]: bad decoder path [../v1/m1.js]."},
    {"decoder_missing", [](const Places& p) { addSecond(p); }, NO_DECODER_FILE},
    {"decoder_is_a_directory",
     [](const Places& p) {
         addSecond(p);
         makeDir(p.source + "/lora/v1/m2.js");
     },
     NO_DECODER_FILE},
    {"decoder_is_a_dangling_link",
     [](const Places& p) {
         addSecond(p);
         makeLink("nowhere", p.source + "/lora/v1/m2.js");
     },
     NO_DECODER_FILE},
    {"no_decoder", [](const Places& p) { addSecond(p, INSTALLED); }, DECODER_UNDEFINED},
    {"blank_decoder", [](const Places& p) { addSecond(p, documentOf("   ")); }, DECODER_UNDEFINED},
    {"decoder_number", [](const Places& p) { addSecond(p, R"({"decoder":5,"properties":{}})"); }, DECODER_UNDEFINED},
    {"decoder_link_outside",
     [](const Places& p) {
         addSecond(p);
         writeFile(p.elsewhere, "");
         makeLink("../../../elsewhere", p.source + "/lora/v1/m2.js");
     },
     BAD_LOCATION},
    {"decoder_behind_a_link_outside",
     [](const Places& p) {
         addSecond(p, documentOf("sub/m2.js"));
         writeFile(p.elsewhere + "/m2.js", "");
         makeLink(p.elsewhere, p.source + "/lora/v1/sub");
     },
     BAD_LOCATION},
    {"decoder_behind_dots_through_a_link",
     [](const Places& p) {
         addSecond(p, documentOf("sub/m2.js"));
         writeFile(p.dir / "m2.js", "");
         makeLink("../../..", p.source + "/lora/v1/sub");
     },
     BAD_LOCATION},
};

class RefusedContent : public Deployment, public ::testing::WithParamInterface<BadSource> {
protected:
    void SetUp() override {
        Deployment::SetUp();
        addDefinition(places.source, M1);
        GetParam().prepare(places);
        writeFile(places.staging + "/left/over", "");
        custom = snapshot(places.custom);
    }

    Snapshot custom;
};
INSTANTIATE_TEST_SUITE_P(Sources, RefusedContent, ::testing::ValuesIn(BAD_SOURCES), rowName);

TEST_P(RefusedContent, customIsUntouchedAndStagingEmptied) {
    const Snapshot source = snapshot(places.source);
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, GetParam().text);
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(snapshot(places.source), source);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_P(RefusedContent, overwritingChangesNoVerdict) {
    EXPECT_FALSE(DefinitionsDeployment().deploy(places.source, true, nullptr));
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, otherFamilyIsRefusedBeforeAnythingIsStaged) {
    addDefinition(places.source, M1);
    addDefinition(places.source, "other/v/x");
    makeDir(places.staging);
    EXPECT_FALSE(deploy());
    const Command empty{"sh -c", {"rm -rf " + places.staging + "/*"}};
    EXPECT_EQ(commands(), (std::vector<Command>{empty, empty}));
}

TEST_F(Deployment, definitionNestedBeyondTheReadersLimitThrowsAndEmptiesStaging) {
    addDefinition(places.source, M1);
    StorageBuilder(places.source).definition(M2, nestedArrays(NESTING_LIMIT + 1));
    const Snapshot custom = snapshot(places.custom);
    EXPECT_THROW(deploy(), Json::RuntimeError);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

// Sources that are accepted

struct GoodSource : NamedRow {
    std::string (*prepare)(const Places& places); // returns the source to pass
    std::vector<std::string> installed;
};

const std::vector<GoodSource>& goodSources() {
    static const std::vector<GoodSource> rows{
        {"one",
         [](const Places& p) {
             addDefinition(p.source, M1);
             return p.source;
         },
         {M1}},
        {"several",
         [](const Places& p) {
             for (const char* name : {M1, M2, M3, "lora/%s/%n", "lora/a b/c d", "lora/a\\b/c"})
                 addDefinition(p.source, name);
             return p.source;
         },
         {M1, M2, M3, "lora/%s/%n", "lora/a b/c d", "lora/a\\b/c"}},
        {"hidden",
         [](const Places& p) {
             addDefinition(p.source, "lora/.v/.m");
             return p.source;
         },
         {"lora/.v/.m"}},
        {"other_files_are_left",
         [](const Places& p) {
             addDefinition(p.source, M1);
             writeFile(p.source + "/readme.txt", "");
             writeFile(p.source + "/top.json", "{");
             writeFile(p.source + "/lora/v1/unused.js", "");
             return p.source;
         },
         {M1}},
    };
    return rows;
}

const std::vector<GoodSource>& otherPathsOfSources() {
    static const std::vector<GoodSource> rows{
        {"trailing_slash",
         [](const Places& p) {
             addDefinition(p.source, M1);
             return p.source + "/";
         },
         {M1}},
        {"dots",
         [](const Places& p) {
             addDefinition(p.source, M1);
             return p.source + "/lora/../lora/v1/../../.";
         },
         {M1}},
        {"link_to_the_source",
         [](const Places& p) {
             addDefinition(p.source, M1);
             makeLink("source", p.elsewhere);
             return p.elsewhere;
         },
         {M1}},
    };
    return rows;
}

const std::vector<GoodSource>& otherPathsOfDecoders() {
    static const std::vector<GoodSource> rows{
        {"decoder_link_inside",
         [](const Places& p) {
             StorageBuilder(p.source).definition(M1, documentOf("m1.js"));
             writeFile(p.source + "/shared/d", decoderTextOf("lora/v1/m1"));
             makeLink("../../shared/d", p.source + "/lora/v1/m1.js");
             return p.source;
         },
         {M1}},
        {"decoder_in_a_directory_with_the_sources_prefix",
         [](const Places& p) {
             StorageBuilder(p.source).definition(M1, documentOf("m1.js"));
             writeFile(p.source + "2/d", decoderTextOf("lora/v1/m1"));
             makeLink("../../../source2/d", p.source + "/lora/v1/m1.js");
             return p.source;
         },
         {M1}},
        {"decoder_below_the_definition",
         [](const Places& p) {
             StorageBuilder(p.source).definition(M1, documentOf(" /sub//d.js "));
             writeFile(p.source + "/lora/v1/sub/d.js", decoderTextOf("lora/v1/m1"));
             return p.source;
         },
         {M1}},
    };
    return rows;
}

class AcceptedSource : public Deployment, public ::testing::WithParamInterface<GoodSource> {};
INSTANTIATE_TEST_SUITE_P(Sources, AcceptedSource, ::testing::ValuesIn(goodSources()), rowName);
INSTANTIATE_TEST_SUITE_P(Paths, AcceptedSource, ::testing::ValuesIn(otherPathsOfSources()), rowName);
INSTANTIATE_TEST_SUITE_P(Decoders, AcceptedSource, ::testing::ValuesIn(otherPathsOfDecoders()), rowName);

TEST_P(AcceptedSource, isInstalled) {
    const std::string given = GetParam().prepare(places);
    Snapshot expected = snapshot(places.custom);
    for (const std::string& name : GetParam().installed)
        addInstalled(&expected, name);
    const Snapshot source = snapshot(places.source);
    EXPECT_TRUE(deployFrom(given));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), expected);
    EXPECT_EQ(snapshot(places.source), source);
    EXPECT_EQ(treeOf(places.staging), Tree());
    EXPECT_TRUE(DefinitionsDeployment().deploy(given, true, nullptr));
    EXPECT_EQ(snapshot(places.custom), expected);
}

TEST_F(Deployment, commandsInOrder) {
    addDefinition(places.source, M1);
    addDefinition(places.source, M3);
    EXPECT_TRUE(deploy());
    const std::string& staging = places.staging;
    const std::string& custom = places.custom;
    const std::vector<Command> expected{
        {"mkdir", {"-p", staging}},
        {"sh -c", {"rm -rf " + staging + "/*"}},
        {"mkdir", {"-p", staging + "/lora/v1"}},
        {"cp", {"-f", places.source + "/lora/v1/m1.js", staging + "/lora/v1/m1-decoder"}},
        {"mkdir", {"-p", staging + "/lora/v2"}},
        {"cp", {"-f", places.source + "/lora/v2/m3.js", staging + "/lora/v2/m3-decoder"}},
        {"cp", {"-f", staging + "/lora/v1/m1-decoder", custom + "/lora/v1/m1-decoder"}},
        {"mkdir", {"-p", custom + "/lora/v2"}},
        {"cp", {"-f", staging + "/lora/v2/m3-decoder", custom + "/lora/v2/m3-decoder"}},
        {"sh -c", {"rm -rf " + staging + "/*"}},
    };
    EXPECT_EQ(commands(), expected);
}

TEST_F(Deployment, everythingIsStagedBeforeTheFirstImport) {
    addDefinition(places.source, M1);
    addDefinition(places.source, M3);
    const Snapshot custom = snapshot(places.custom);
    Snapshot staged;
    addInstalled(&staged, M1);
    addInstalled(&staged, M3);
    FakeSupport::inst().afterCommand = [&](std::size_t index) {
        if (index == 5) {
            EXPECT_EQ(snapshot(places.staging), staged);
            EXPECT_EQ(snapshot(places.custom), custom);
        }
    };
    EXPECT_TRUE(deploy());
    EXPECT_GT(commands().size(), 6U);
}

TEST_F(Deployment, commentsAndOtherMembersSurvive) {
    const std::string text = "// top\n{ // inner\n \"z\": [1, 2.5, null], \"decoder\": \"m1.js\", // d\n"
                             " \"properties\": {\"\\u00e9\": {}} /* p */\n}\n// end\n";
    StorageBuilder(places.source).definition(M1, text).decoder(M1, "m1.js");
    ASSERT_TRUE(deploy());
    DefinitionSpec spec;
    ASSERT_TRUE(DefinitionsStorage{places.source}.getSpec(M1, &spec, nullptr));
    spec.json["decoder"] = "m1-decoder";
    const std::string installed = readFile(places.custom + "/lora/v1/m1.json");
    EXPECT_EQ(installed, Json::writeString(Json::StreamWriterBuilder(), spec.json));
    for (const char* comment : {"// top", "// inner", "/* p */", "// end"})
        EXPECT_NE(installed.find(comment), std::string::npos) << comment;
}

TEST_F(Deployment, customStorageIsMade) {
    removeTree(places.custom);
    addDefinition(places.source, M1);
    EXPECT_TRUE(deploy());
    Snapshot expected;
    addInstalled(&expected, M1);
    EXPECT_EQ(snapshot(places.custom), expected);
}

TEST_F(Deployment, sameNameInTheDefaultStorageIsNoConflict) {
    addDefinition(places.source, M1);
    StorageBuilder(places.dir / "default").definition(M1, INSTALLED);
    const Snapshot before = snapshot(places.dir / "default");
    EXPECT_TRUE(deploy());
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.dir / "default"), before);
    std::string decoder;
    EXPECT_TRUE(SensorDefinitions(Kelvra::SCADA::STORAGE_BOTH).getDecoderPath(M1, &decoder));
    EXPECT_EQ(decoder, places.custom + "/lora/v1/m1-decoder");
}

TEST_F(Deployment, nothingIsLogged) {
    addDefinition(places.source, M1);
    EXPECT_TRUE(deploy());
    EXPECT_FALSE(deploy());
    EXPECT_TRUE(DefinitionsDeployment().deleteAll(&error));
    EXPECT_THAT(FakeSupport::inst().logs, IsEmpty());
    EXPECT_THAT(FakeSupport::inst().asked, IsEmpty());
}

TEST_F(Deployment, directoriesAreReadAfreshOnEveryCall) {
    addDefinition(places.source, M1);
    const DefinitionsDeployment deployment;
    ASSERT_TRUE(deployment.deploy(places.source, false, &error));
    Env::inst().conf().setDfnCustomDir(places.elsewhere);
    Env::inst().conf().setDfnStagingDir(places.dir / "second");
    EXPECT_TRUE(deployment.deploy(places.source, false, &error));
    Snapshot expected;
    addInstalled(&expected, M1);
    EXPECT_EQ(snapshot(places.elsewhere), expected);
    EXPECT_EQ(treeOf(places.dir / "second"), Tree());
}

TEST_F(Deployment, bodyWorksInTheStagingDirectoryAndLeavesItsContent) {
    addDefinition(places.source, M1);
    makeDir(places.staging);
    Snapshot custom = snapshot(places.custom);
    addInstalled(&custom, M1);
    EXPECT_TRUE(DefinitionsDeployment().deploy_impl(places.source, false, &error));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), custom);
    Snapshot staged;
    addInstalled(&staged, M1);
    EXPECT_EQ(snapshot(places.staging), staged);
}

TEST_F(Deployment, bodyOfAMissingSourceHasNothingToDo) {
    EXPECT_TRUE(DefinitionsDeployment().deploy_impl(places.elsewhere, false, &error));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_THAT(commands(), IsEmpty());
}

// Conflicts

struct Conflict : NamedRow {
    std::vector<std::string> readable; // installed definitions
    std::vector<std::string> broken;
    bool result; // without overwriting
    const char* text;
};

constexpr const char* ONE_CONFLICT =
    "Sensor definition [lora/v1/m2] is already installed. Please remove the custom sensor definition, or enable "
    "\"Allow Overwrite\" to replace it.";
constexpr const char* FIRST_TWO = "Sensor definitions [lora/v1/m1], [lora/v1/m2] are already installed. Please remove "
                                  "the custom sensor definitions, or enable \"Allow Overwrite\" to replace them.";
constexpr const char* OUTER_TWO = "Sensor definitions [lora/v1/m1], [lora/v2/m3] are already installed. Please remove "
                                  "the custom sensor definitions, or enable \"Allow Overwrite\" to replace them.";

const std::vector<Conflict>& conflicts() {
    static const std::vector<Conflict> rows{
        {"none", {"lora/v1/m0", "lora/v2/m1"}, {"lora/v3/m1"}, true, UNTOUCHED},
        {"one", {M2}, {}, false, ONE_CONFLICT},
        {"two", {M1, M2}, {}, false, FIRST_TWO},
        {"two_apart", {M1, M3}, {}, false, OUTER_TWO},
        {"three", {M1, M2, M3}, {}, false, FIRST_TWO},
        {"one_unreadable", {}, {M2}, true, "Invalid syntax of the sensor definition [lora/v1/m2]."},
        {"last_unreadable_stays", {}, {M1, M3}, true, "Invalid syntax of the sensor definition [lora/v2/m3]."},
        {"one_beside_unreadable", {M2}, {M1, M3}, false, ONE_CONFLICT},
        {"two_around_unreadable", {M1, M3}, {M2}, false, OUTER_TWO},
    };
    return rows;
}

class ConflictCheck : public Deployment, public ::testing::WithParamInterface<Conflict> {
protected:
    void SetUp() override {
        Deployment::SetUp();
        for (const char* name : {M1, M2, M3})
            addDefinition(places.source, name);
        StorageBuilder custom(places.custom);
        for (const std::string& name : GetParam().readable)
            custom.definition(name, INSTALLED).decoder(name, stemOf(name) + "-decoder", "installed");
        for (const std::string& name : GetParam().broken)
            custom.definition(name, "{");
        before = snapshot(places.custom);
        after = before;
        for (const char* name : {M1, M2, M3})
            addInstalled(&after, name);
    }

    Snapshot before;
    Snapshot after;
};
INSTANTIATE_TEST_SUITE_P(Installed, ConflictCheck, ::testing::ValuesIn(conflicts()), rowName);

TEST_P(ConflictCheck, refusesReadableOnes) {
    EXPECT_EQ(deploy(), GetParam().result);
    EXPECT_EQ(error, GetParam().text);
    EXPECT_EQ(snapshot(places.custom), GetParam().result ? after : before);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_P(ConflictCheck, needsNoText) {
    EXPECT_EQ(DefinitionsDeployment().deploy(places.source, false, nullptr), GetParam().result);
    EXPECT_EQ(snapshot(places.custom), GetParam().result ? after : before);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_P(ConflictCheck, isSkippedWhenOverwritingIsAllowed) {
    EXPECT_TRUE(deploy(true));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), after);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, conflictIsFoundAfterTheWholeSourceIsValid) {
    addDefinition(places.source, M1);
    StorageBuilder(places.source).definition(M3, "{");
    StorageBuilder(places.custom).definition(M1, INSTALLED);
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "Invalid syntax of the sensor definition [lora/v2/m3].");
}

TEST_F(Deployment, longNamesCutTheConflictText) {
    const std::string name = "lora/v1/" + std::string(200, 'n');
    addDefinition(places.source, name);
    StorageBuilder(places.custom).definition(name, INSTALLED);
    EXPECT_FALSE(deploy());
    const std::string whole = "Sensor definition [" + name + "] is already installed. Please remove the custom " +
                              "sensor definition, or enable \"Allow Overwrite\" to replace it.";
    ASSERT_GT(whole.size(), 255U);
    EXPECT_EQ(error, whole.substr(0, 255));
}

TEST_F(Deployment, linkedInstalledDefinitionIsNoConflictAndCannotBeReplaced) {
    addDefinition(places.source, M1);
    addDefinition(places.source, M3);
    writeFile(places.elsewhere, INSTALLED);
    makeLink(places.elsewhere, places.custom + "/lora/v1/m1.json");
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "File copying error while importing [lora/v1/m1] definition.");
    EXPECT_EQ(readFile(places.elsewhere), writtenDocument("m1-decoder"));
    EXPECT_EQ(treeOf(places.custom).count("lora/v2"), 0U);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, linkedDirectoryInTheCustomStorageIsWrittenThroughAndRefused) {
    addDefinition(places.source, M3);
    addDefinition(places.elsewhere, M3);
    makeLink(places.elsewhere + "/lora/v2", places.custom + "/lora/v2");
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "File copying error while importing [lora/v2/m3] definition.");
    EXPECT_EQ(readFile(places.elsewhere + "/lora/v2/m3.json"), writtenDocument("m3-decoder"));
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, installedDefinitionIsReplacedWhole) {
    StorageBuilder(places.custom)
        .definition(M1, R"({"decoder":"mine.js","old":")" + std::string(5000, 'x') + R"(","properties":{}})")
        .decoder(M1, "mine.js", "own decoder")
        .decoder(M1, "m1-decoder", std::string(5000, 'd'));
    addDefinition(places.source, M1);
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    EXPECT_TRUE(deploy(true));
    EXPECT_EQ(snapshot(places.custom), expected);
}

// The staging directory

TEST_F(Deployment, leftoversOfStagingAreNotInstalled) {
    addDefinition(places.source, M1);
    addDefinition(places.staging, M2);
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    EXPECT_TRUE(deploy());
    EXPECT_EQ(snapshot(places.custom), expected);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, hiddenLeftoversOfStagingAreInstalledToo) {
    addDefinition(places.source, M1);
    addDefinition(places.staging, ".old/v/m");
    const Snapshot staging = snapshot(places.staging);
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    addInstalled(&expected, ".old/v/m");
    EXPECT_TRUE(deploy());
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), expected);
    EXPECT_EQ(snapshot(places.staging), staging);
}

TEST_F(Deployment, hiddenLeftoversOfStagingCanBeAConflict) {
    addDefinition(places.source, M1);
    addDefinition(places.staging, ".old/v/m");
    StorageBuilder(places.custom).definition(".old/v/m", INSTALLED);
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "Sensor definition [.old/v/m] is already installed. Please remove the custom sensor definition, "
                     "or enable \"Allow Overwrite\" to replace it.");
}

TEST_F(Deployment, stagedDefinitionThatCannotBeReadIsSkipped) {
    addDefinition(places.source, M1);
    StorageBuilder(places.staging).definition(".old/v/m", "{}");
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    EXPECT_TRUE(deploy());
    EXPECT_EQ(error, "Invalid syntax of the sensor definition [.old/v/m]: no [properties] section defined.");
    EXPECT_EQ(snapshot(places.custom), expected);
}

TEST_F(Deployment, stagedDefinitionSpoiltMeanwhileIsSkipped) {
    for (const char* name : {M1, M2, M3})
        addDefinition(places.source, name);
    FakeSupport::inst().afterCommand = [this](std::size_t index) {
        if (commands()[index].arguments.back() == places.staging + "/lora/v2/m3-decoder")
            writeFile(places.staging + "/lora/v1/m2.json", "{");
    };
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    addInstalled(&expected, M3);
    EXPECT_TRUE(deploy());
    EXPECT_EQ(error, "Invalid syntax of the sensor definition [lora/v1/m2].");
    EXPECT_EQ(snapshot(places.custom), expected);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, stagingDirectoryThatCannotBeMade) {
    addDefinition(places.source, M1);
    writeFile(places.dir / "run", "file");
    const Snapshot before = snapshot(places.dir.path());
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "Failed to cleanup the staging directory.");
    EXPECT_EQ(snapshot(places.dir.path()), before);
    EXPECT_EQ(commands(), (std::vector<Command>{{"mkdir", {"-p", places.staging}}}));
}

TEST_F(Deployment, stagingDirectoryThatIsAFile) {
    addDefinition(places.source, M1);
    writeFile(places.staging, "file");
    const Snapshot before = snapshot(places.dir.path());
    EXPECT_FALSE(DefinitionsDeployment().deploy(places.source, true, nullptr));
    EXPECT_EQ(snapshot(places.dir.path()), before);
}

TEST_F(Deployment, stagingDirectoryWithASlashIsUsedAsGiven) {
    addDefinition(places.source, M1);
    useStagingDir(places.staging + "/");
    EXPECT_TRUE(deploy());
    EXPECT_EQ(commands()[1], (Command{"sh -c", {"rm -rf " + places.staging + "//*"}}));
    EXPECT_EQ(commands()[2], (Command{"mkdir", {"-p", places.staging + "//lora/v1"}}));
}

// A failing import

TEST_F(Deployment, definitionsBeforeTheFailingOneStay) {
    for (const char* name : {M1, M2, M3})
        addDefinition(places.source, name);
    makeDir(places.custom + "/lora/v1/m2.json");
    Snapshot expected = snapshot(places.custom);
    addInstalled(&expected, M1);
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "File saving error while importing [lora/v1/m2] definition.");
    EXPECT_EQ(snapshot(places.custom), expected);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(Deployment, customStorageThatIsAFile) {
    addDefinition(places.source, M1);
    removeTree(places.custom);
    writeFile(places.custom, "file");
    EXPECT_FALSE(deploy());
    EXPECT_EQ(error, "Failed to create a directory while importing [lora/v1/m1] definition.");
    EXPECT_EQ(readFile(places.custom), "file");
    EXPECT_EQ(treeOf(places.staging), Tree());
}

// Paths that the system no longer resolves: the working directory is so deep that only relative paths reach it

class DeepWorkingDirectory : public Deployment {
protected:
    void SetUp() override {
        Deployment::SetUp();
        home = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(home, 0);
        ASSERT_EQ(chdir(places.dir.path().c_str()), 0);
    }

    void TearDown() override {
        EXPECT_EQ(fchdir(home), 0);
        close(home);
        Deployment::TearDown();
    }

    // Descends until the working directory's path has this length.
    void descendTo(std::size_t length) const {
        for (std::size_t left = length - places.dir.path().size(); left > 0;) {
            const std::size_t component = left > 200 ? 100 : left - 1;
            const std::string name(component, 'd');
            ASSERT_EQ(mkdir(name.c_str(), S_IRWXU), 0);
            ASSERT_EQ(chdir(name.c_str()), 0);
            left -= component + 1;
        }
    }

    int home = -1;
};

constexpr std::size_t LONGEST_PATH = 4095;

TEST_F(DeepWorkingDirectory, sourceThatCannotBeResolved) {
    descendTo(LONGEST_PATH + 100);
    addDefinition(std::string("source"), M1);
    const Snapshot custom = snapshot(places.custom);
    EXPECT_FALSE(deployFrom("source"));
    EXPECT_EQ(error, "Bad source directory.");
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(DeepWorkingDirectory, familyIsCheckedBeforeTheSourceIsResolved) {
    descendTo(LONGEST_PATH + 100);
    addDefinition(std::string("source"), "other/v/x");
    EXPECT_FALSE(deployFrom("source"));
    EXPECT_EQ(error, ONLY_LORA);
}

TEST_F(DeepWorkingDirectory, decoderThatCannotBeResolved) {
    descendTo(LONGEST_PATH - 10);
    addDefinition(std::string("source"), M1);
    const Snapshot custom = snapshot(places.custom);
    EXPECT_FALSE(deployFrom("source"));
    EXPECT_EQ(error, "Invalid sensor definition [lora/v1/m1]: no decoder file found.");
    EXPECT_EQ(snapshot(places.custom), custom);
    EXPECT_EQ(treeOf(places.staging), Tree());
}

TEST_F(DeepWorkingDirectory, relativeSourceIsInstalled) {
    descendTo(1000);
    addDefinition(std::string("source"), M1);
    EXPECT_TRUE(deployFrom("source"));
    EXPECT_EQ(error, UNTOUCHED);
}

// Removal

TEST_F(Deployment, installedDefinitionIsRemovedWithItsDecoder) {
    const Snapshot before = snapshot(places.custom);
    addDefinition(places.source, M1);
    ASSERT_TRUE(deploy());
    EXPECT_TRUE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.custom), before);
}

TEST_F(Deployment, removalNeverReachesTheDefaultStorage) {
    addDefinition(places.dir / "default", M1);
    const Snapshot before = snapshot(places.dir.path());
    EXPECT_FALSE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_EQ(error, "Sensor definition [lora/v1/m1] not found.");
    EXPECT_FALSE(DefinitionsDeployment().deleteOne(M1, nullptr));
    EXPECT_EQ(snapshot(places.dir.path()), before);
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(Deployment, removalTextsAreTheStorages) {
    addDefinition(places.custom, M1);
    FakeSupport::inst().fault("rm", Fault::FAILURE);
    EXPECT_FALSE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_EQ(error, "Failed to remove decoder file for the [lora/v1/m1] sensor definition.");
    FakeSupport::inst().fault("rm", Fault::NOTHING, 2);
    EXPECT_FALSE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_EQ(error, "Decoder file has been removed. An error has occurred while deleting [lora/v1/m1] sensor "
                     "definition file.");
    FakeSupport::inst().fault("rm", Fault::NOTHING);
    EXPECT_FALSE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_EQ(error, "Failed to delete sensor definition [lora/v1/m1] file.");
}

TEST_F(Deployment, definitionNestedBeyondTheReadersLimitCannotBeRemoved) {
    StorageBuilder(places.custom).definition(M1, nestedArrays(NESTING_LIMIT + 1));
    const Snapshot before = snapshot(places.custom);
    EXPECT_THROW(DefinitionsDeployment().deleteOne(M1, &error), Json::RuntimeError);
    EXPECT_EQ(snapshot(places.custom), before);
}

TEST_F(Deployment, removalAfterInstallationAllowsTheNext) {
    addDefinition(places.source, M1);
    ASSERT_TRUE(deploy());
    ASSERT_FALSE(deploy());
    ASSERT_TRUE(DefinitionsDeployment().deleteOne(M1, &error));
    EXPECT_TRUE(deploy());
}

TEST_F(Deployment, deleteAllEmptiesOnlyTheCustomStorage) {
    addDefinition(places.staging, M1);
    addDefinition(places.dir / "default", M1);
    Snapshot expected = snapshot(places.dir.path());
    for (const std::string& path : treeOf(places.custom))
        expected.erase("custom/" + path);
    EXPECT_TRUE(DefinitionsDeployment().deleteAll(&error));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(places.dir.path()), expected);
}

TEST_F(Deployment, deleteAllThatCannotMakeItsDirectoryIsTrue) {
    removeTree(places.custom);
    writeFile(places.custom, "file");
    EXPECT_TRUE(DefinitionsDeployment().deleteAll(&error));
    EXPECT_TRUE(DefinitionsDeployment().deleteAll(nullptr));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(readFile(places.custom), "file");
}

} // namespace
