#include "FakeSupport.h"
#include "NamedRow.h"
#include "StorageBuilder.h"
#include "TempDir.h"
#include "demo_sensor.h"
#include "files.h"
#include "json_text.h"
#include "row_name.h"
#include "unprivileged.h"

#include <scada/DefinitionsStorage.h>

#include <json/writer.h>

#include <gmock/gmock.h>

#include <sys/stat.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

using Kelvra::SCADA::DefinitionSpec;
using Kelvra::SCADA::DefinitionsStorage;
using namespace Kelvra::SCADA::Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Fault = FakeSupport::Fault;
using Command = FakeSupport::Command;
using Tree = std::set<std::string>;

constexpr const char* PLAIN = R"({"properties":{"t":{"unit":"C"}}})";
constexpr const char* WITH_DECODER = R"({"decoder":"th1.js","properties":{"t":{"unit":"C"}}})";
constexpr const char* PLAIN_WRITTEN =
    "{\n\t\"properties\" : \n\t{\n\t\t\"t\" : \n\t\t{\n\t\t\t\"unit\" : \"C\"\n\t\t}\n\t}\n}";

std::string written(const Json::Value& document) {
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

class StorageWriting : public SupportTest {
protected:
    std::string at(const std::string& relative) const { return storage + "/" + relative; }

    bool import(const std::string& name, const DefinitionSpec& spec) {
        return DefinitionsStorage{storage}.importSpec(name, spec, &error);
    }

    static const std::vector<Command>& commands() { return FakeSupport::inst().commands; }

    TempDir dir;
    const std::string storage = dir / "storage";
    std::string error = UNTOUCHED;
};

// Names: the place of the file, and whether the storage lists it there

struct ImportName : NamedRow {
    const char* definition;
    bool result;
    Tree tree;
};

const ImportName IMPORT_NAMES[] = {
    {"three_components", "lora/demo/th1", true, {"lora", "lora/demo", "lora/demo/th1.json"}},
    {"other_family", "wired/demo/th1", true, {"wired", "wired/demo", "wired/demo/th1.json"}},
    {"suffix_in_stem", "lora/demo/th1.json", true, {"lora", "lora/demo", "lora/demo/th1.json.json"}},
    {"hidden_components", ".lora/.demo/.th1", true, {".lora", ".lora/.demo", ".lora/.demo/.th1.json"}},
    {"blanks", "lora/my demo/th 1", true, {"lora", "lora/my demo", "lora/my demo/th 1.json"}},
    {"format_characters", "lora/%s/%n", true, {"lora", "lora/%s", "lora/%s/%n.json"}},
    {"empty_stem", "lora/demo/", true, {"lora", "lora/demo", "lora/demo/.json"}},
    {"backslash_before_the_last_slash", "lora/de\\mo/th1", true, {"lora", "lora/de\\mo", "lora/de\\mo/th1.json"}},
    {"empty", "", false, {".json"}},
    {"no_separator", "th1", false, {"th1", "th1/th1.json"}},
    {"one_separator", "lora/th1", false, {"lora", "lora/th1.json"}},
    {"four_components", "lora/a/b/th1", false, {"lora", "lora/a", "lora/a/b", "lora/a/b/th1.json"}},
    {"empty_middle", "lora//th1", false, {"lora", "lora/th1.json"}},
    {"leading_slash", "/demo/th1", false, {"demo", "demo/th1.json"}},
    {"only_backslashes", "lora\\demo\\th1", false, {"lora\\demo", "lora\\demo/th1.json"}},
    {"backslash_before_the_stem", "lora/demo\\th1", false, {"lora", "lora/demo", "lora/demo/th1.json"}},
    {"backslash_below_three_levels", "lora/a/b\\th1", false, {"lora", "lora/a", "lora/a/b", "lora/a/b/th1.json"}},
    {"slash_after_backslash", "lora\\demo/th1", false, {"lora\\demo", "lora\\demo/th1.json"}},
    {"climbing_inside", "lora/../th1", false, {"lora", "th1.json"}},
    {"climbing_back", "lora/demo/../th1", false, {"lora", "lora/demo", "lora/th1.json"}},
    {"dot_component", "lora/./th1", false, {"lora", "lora/th1.json"}},
    {"format_characters_refused", "%s%n%d", false, {"%s%n%d", "%s%n%d/%s%n%d.json"}},
};

class ImportUnderName : public StorageWriting, public ::testing::WithParamInterface<ImportName> {
protected:
    static std::string expectedText() {
        if (GetParam().result)
            return UNTOUCHED;
        return std::string("File copying error while importing [") + GetParam().definition + "] definition.";
    }
};
INSTANTIATE_TEST_SUITE_P(Names, ImportUnderName, ::testing::ValuesIn(IMPORT_NAMES), rowName);

TEST_P(ImportUnderName, writesTheFileAndTellsWhetherItIsListed) {
    EXPECT_EQ(import(GetParam().definition, {parsed(PLAIN), ""}), GetParam().result);
    EXPECT_EQ(error, expectedText());
    EXPECT_EQ(treeOf(storage), GetParam().tree);
    EXPECT_THAT(snapshot(storage), ::testing::Contains(::testing::Pair(::testing::_, PLAIN_WRITTEN)));
}

TEST_P(ImportUnderName, needsNoTextAndNoNewDirectory) {
    import(GetParam().definition, {parsed(PLAIN), ""});
    EXPECT_EQ(DefinitionsStorage{storage}.importSpec(GetParam().definition, {parsed(PLAIN), ""}, nullptr),
              GetParam().result);
    EXPECT_EQ(treeOf(storage), GetParam().tree);
}

TEST_F(StorageWriting, nameThatClimbsOutIsWrittenOutsideAndRefused) {
    makeDir(storage);
    EXPECT_FALSE(import("../th1", {parsed(PLAIN), ""}));
    EXPECT_EQ(error, "File copying error while importing [../th1] definition.");
    EXPECT_EQ(treeOf(dir.path()), (Tree{"storage", "th1.json"}));
}

TEST_F(StorageWriting, importTextIsCut) {
    const std::string name = std::string(200, 'a') + "/" + std::string(200, 'b');
    EXPECT_FALSE(import(name, {parsed(PLAIN), ""}));
    EXPECT_EQ(error, ("File copying error while importing [" + name).substr(0, 255));
}

TEST_F(StorageWriting, fileNameTooLongForTheDefinition) {
    const std::string name = "lora/demo/" + std::string(251, 's');
    EXPECT_FALSE(import(name, {parsed(PLAIN), ""}));
    EXPECT_EQ(error, ("File saving error while importing [" + name + "] definition.").substr(0, 255));
    EXPECT_EQ(treeOf(storage), (Tree{"lora", "lora/demo"}));
}

TEST_F(StorageWriting, fileNameTooLongForTheDecoder) {
    const std::string name = "lora/demo/" + std::string(250, 's');
    writeFile(dir / "th1.js", "decoder");
    EXPECT_FALSE(import(name, {parsed(PLAIN), dir / "th1.js"}));
    EXPECT_EQ(error, ("File copying error while importing decoder for the [" + name).substr(0, 255));
    EXPECT_EQ(treeOf(storage), (Tree{"lora", "lora/demo", name + ".json"}));
}

// Documents: the written bytes

struct ImportDocument : NamedRow {
    const char* document;
    bool hasDecoder;
    bool result;
    const char* text;
};

const ImportDocument IMPORT_DOCUMENTS[] = {
    {"plain", PLAIN, false, true, UNTOUCHED},
    {"decoder_added", PLAIN, true, true, UNTOUCHED},
    {"decoder_renamed", WITH_DECODER, true, true, UNTOUCHED},
    {"decoder_removed", WITH_DECODER, false, true, UNTOUCHED},
    {"decoder_number_replaced", R"({"decoder":5,"properties":{}})", true, true, UNTOUCHED},
    {"decoder_number_removed", R"({"decoder":5,"properties":{}})", false, true, UNTOUCHED},
    {"decoder_object_replaced", R"({"decoder":{"a":1},"properties":{}})", true, true, UNTOUCHED},
    {"decoder_null_removed", R"({"decoder":null,"properties":{}})", false, true, UNTOUCHED},
    {"decoder_climbing_removed", R"({"decoder":"../x","properties":{}})", false, true, UNTOUCHED},
    {"other_members", R"({"properties":{},"vendor":"v","list":[1,2.5,-3,true,null,"x"],"Decoder":"kept"})", true, true,
     UNTOUCHED},
    {"comments",
     "// before\n{ // behind the brace\n  \"properties\": {} /* aside */, // tail\n \"z\": 1\n}\n// after\n", true,
     true, UNTOUCHED},
    {"beyond_ascii", "{\"properties\":{\"\xc3\xa9\":{\"unit\":\"\xc2\xb0\x43\",\"nul\":\"a\\u0000b\"}}}", false, true,
     UNTOUCHED},
    {"properties_missing", R"({"vendor":"v"})", false, false, NO_SECTION},
    {"properties_missing_with_decoder", R"({"vendor":"v"})", true, false, NO_SECTION},
    {"properties_array", R"({"properties":[]})", true, false, NO_SECTION},
};

class ImportOfDocument : public StorageWriting, public ::testing::WithParamInterface<ImportDocument> {
protected:
    void SetUp() override {
        StorageWriting::SetUp();
        writeFile(dir / "source.js", "decoder text");
        if (GetParam().hasDecoder)
            spec.decoderPath = dir / "source.js";
    }

    std::map<std::string, std::string> expectedFiles() const {
        Json::Value document = spec.json;
        if (GetParam().hasDecoder)
            document["decoder"] = "th1-decoder";
        else
            document.removeMember("decoder");
        std::map<std::string, std::string> files{
            {"lora", ""}, {"lora/demo", ""}, {"lora/demo/th1.json", written(document)}};
        if (GetParam().hasDecoder)
            files["lora/demo/th1-decoder"] = "decoder text";
        return files;
    }

    DefinitionSpec spec{parsed(GetParam().document), ""};
};
INSTANTIATE_TEST_SUITE_P(Documents, ImportOfDocument, ::testing::ValuesIn(IMPORT_DOCUMENTS), rowName);

TEST_P(ImportOfDocument, writesWhatTheDefaultWriterGives) {
    EXPECT_EQ(import(NAME, spec), GetParam().result);
    EXPECT_EQ(error, GetParam().text);
    EXPECT_EQ(snapshot(storage), expectedFiles());
}

TEST_P(ImportOfDocument, replacesALongerFileAndDecoder) {
    StorageBuilder(storage)
        .definition(NAME, std::string(5000, ' ') + WITH_DECODER)
        .decoder(NAME, "th1-decoder", std::string(5000, 'd'));
    EXPECT_EQ(import(NAME, spec), GetParam().result);
    EXPECT_EQ(error, GetParam().text);
    std::map<std::string, std::string> expected = expectedFiles();
    expected.emplace("lora/demo/th1-decoder", std::string(5000, 'd'));
    EXPECT_EQ(snapshot(storage), expected);
}

TEST_P(ImportOfDocument, runsNoMoreThanItsCommands) {
    import(NAME, spec);
    std::vector<Command> expected{{"mkdir", {"-p", at("lora/demo")}}};
    if (GetParam().hasDecoder)
        expected.push_back({"cp", {"-f", dir / "source.js", at("lora/demo/th1-decoder")}});
    EXPECT_EQ(commands(), expected);
    FakeSupport::inst().commands.clear();
    import(NAME, spec);
    expected.erase(expected.begin());
    EXPECT_EQ(commands(), expected);
}

TEST_P(ImportOfDocument, leavesTheGivenSpecification) {
    const Json::Value before = spec.json;
    import(NAME, spec);
    EXPECT_EQ(spec.json, before);
}

TEST_F(StorageWriting, writtenTextWithDecoder) {
    writeFile(dir / "any.name", "");
    EXPECT_TRUE(import(NAME, {parsed(R"({"properties":{},"decoder":"any.name"})"), dir / "any.name"}));
    EXPECT_EQ(readFile(at("lora/demo/th1.json")), "{\n\t\"decoder\" : \"th1-decoder\",\n\t\"properties\" : {}\n}");
}

TEST_F(StorageWriting, importedDecoderIsFoundByLookup) {
    writeFile(dir / "any.name", "decoder text");
    ASSERT_TRUE(import(NAME, {parsed(PLAIN), dir / "any.name"}));
    DefinitionSpec spec;
    EXPECT_TRUE(DefinitionsStorage{storage}.getSpec(NAME, &spec, &error));
    EXPECT_EQ(spec.decoderPath, at("lora/demo/th1-decoder"));
    EXPECT_EQ(spec.json["decoder"], "th1-decoder");
    EXPECT_EQ(error, UNTOUCHED);
}

TEST_F(StorageWriting, emptyStemsDecoderIsASuffixAlone) {
    writeFile(dir / "th1.js", "decoder text");
    EXPECT_TRUE(import("lora/demo/", {parsed(PLAIN), dir / "th1.js"}));
    EXPECT_EQ(treeOf(storage), (Tree{"lora", "lora/demo", "lora/demo/-decoder", "lora/demo/.json"}));
}

TEST_F(StorageWriting, trailingSlashOfTheDirectoryIsKept) {
    writeFile(dir / "th1.js", "decoder text");
    EXPECT_TRUE((DefinitionsStorage{storage + "/"}.importSpec(NAME, {parsed(PLAIN), dir / "th1.js"}, &error)));
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", storage + "//lora/demo"}},
                                        Command{"cp", {"-f", dir / "th1.js", storage + "//lora/demo/th1-decoder"}}));
}

// A document that is not an object

struct NoObject : NamedRow {
    Json::Value document;
};

const NoObject NO_OBJECTS[] = {
    {"array", Json::Value(Json::arrayValue)},
    {"empty_text", Json::Value("")},
    {"text", Json::Value("decoder")},
    {"number", Json::Value(5)},
    {"real", Json::Value(2.5)},
    {"truth", Json::Value(true)},
};

class ImportOfNoObject : public StorageWriting, public ::testing::WithParamInterface<NoObject> {};
INSTANTIATE_TEST_SUITE_P(Documents, ImportOfNoObject, ::testing::ValuesIn(NO_OBJECTS), rowName);

TEST_P(ImportOfNoObject, withoutDecoderIsWrittenAndRefused) {
    EXPECT_FALSE(import(NAME, {GetParam().document, ""}));
    EXPECT_EQ(error, INVALID_SYNTAX);
    EXPECT_EQ(readFile(at("lora/demo/th1.json")), written(GetParam().document));
}

TEST_P(ImportOfNoObject, withDecoderLeavesTheOlderFile) {
    writeFile(dir / "th1.js", "decoder text");
    StorageBuilder(storage).definition(NAME, PLAIN);
    const auto before = snapshot(storage);
    EXPECT_THROW(import(NAME, {GetParam().document, dir / "th1.js"}), Json::LogicError);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(storage), before);
}

TEST_F(StorageWriting, nullDocumentWithoutDecoderIsWrittenAndRefused) {
    EXPECT_FALSE(import(NAME, DefinitionSpec()));
    EXPECT_EQ(error, INVALID_SYNTAX);
    EXPECT_EQ(readFile(at("lora/demo/th1.json")), "null");
}

TEST_F(StorageWriting, nullDocumentWithDecoderBecomesAnObject) {
    writeFile(dir / "th1.js", "decoder text");
    EXPECT_FALSE(import(NAME, {Json::Value(), dir / "th1.js"}));
    EXPECT_EQ(error, NO_SECTION);
    EXPECT_EQ(readFile(at("lora/demo/th1.json")), "{\n\t\"decoder\" : \"th1-decoder\"\n}");
    EXPECT_EQ(readFile(at("lora/demo/th1-decoder")), "decoder text");
}

TEST_F(StorageWriting, documentNestedBeyondTheReadersLimitIsWrittenAndThrown) {
    Json::Value document = Json::objectValue;
    for (std::size_t i = 0; i <= NESTING_LIMIT; ++i) {
        Json::Value outer;
        outer["properties"].swap(document);
        document.swap(outer);
    }
    EXPECT_THROW(import(NAME, {document, ""}), Json::Exception);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(readFile(at("lora/demo/th1.json")), written(document));
}

// Causes of a failure

struct Blocker : NamedRow {
    void (*prepare)(const TempDir& dir);
    bool result;
    const char* text;
    std::map<std::string, std::string> changed; // below the temporary directory
};

const std::string& documentWithDecoder() {
    static const std::string text = written(parsed(R"({"decoder":"th1-decoder","properties":{"t":{"unit":"C"}}})"));
    return text;
}

constexpr const char* NOT_MADE = "Failed to create a directory while importing [lora/demo/th1] definition.";
constexpr const char* NOT_SAVED = "File saving error while importing [lora/demo/th1] definition.";
constexpr const char* NOT_LISTED = "File copying error while importing [lora/demo/th1] definition.";
constexpr const char* NOT_COPIED = "File copying error while importing decoder for the [lora/demo/th1] definition.";

constexpr const char* JSON_FILE = "storage/lora/demo/th1.json";
constexpr const char* DECODER_FILE = "storage/lora/demo/th1-decoder";

void failMkdir(Fault fault) {
    FakeSupport::inst().fault("mkdir", fault);
}

void failCp(Fault fault) {
    FakeSupport::inst().fault("cp", fault);
}

const std::vector<Blocker>& blockedDirectories() {
    static const std::vector<Blocker> rows{
        {"storage_is_a_file", [](const TempDir& d) { writeFile(d / "storage", "file"); }, false, NOT_MADE, {}},
        {"family_is_a_file", [](const TempDir& d) { writeFile(d / "storage/lora", "file"); }, false, NOT_MADE, {}},
        {"name_directory_is_a_fifo", [](const TempDir& d) { makeFifo(d / "storage/lora/demo"); }, false, NOT_MADE, {}},
        {"mkdir_does_nothing", [](const TempDir&) { failMkdir(Fault::NOTHING); }, false, NOT_MADE, {}},
        {"mkdir_fails", [](const TempDir&) { failMkdir(Fault::FAILURE); }, false, NOT_MADE, {}},
        {"mkdir_not_needed",
         [](const TempDir& d) {
             makeDir(d / "storage/lora/demo");
             failMkdir(Fault::FAILURE);
         },
         true,
         UNTOUCHED,
         {{JSON_FILE, documentWithDecoder()}, {DECODER_FILE, "decoder text"}}},
        {"name_directory_is_a_link",
         [](const TempDir& d) {
             makeDir(d / "else");
             makeLink("../../else", d / "storage/lora/demo");
         },
         false,
         NOT_LISTED,
         {{"else/th1.json", documentWithDecoder()}}},
        {"storage_is_a_link",
         [](const TempDir& d) {
             makeDir(d / "else/lora/demo");
             makeLink("else", d / "storage");
         },
         true,
         UNTOUCHED,
         {{"else/lora/demo/th1.json", documentWithDecoder()}, {"else/lora/demo/th1-decoder", "decoder text"}}},
    };
    return rows;
}

const std::vector<Blocker>& blockedDefinitions() {
    static const std::vector<Blocker> rows{
        {"definition_is_a_directory", [](const TempDir& d) { makeDir(d / JSON_FILE); }, false, NOT_SAVED, {}},
        {"definition_is_a_socket", [](const TempDir& d) { makeSocket(d / JSON_FILE); }, false, NOT_SAVED, {}},
        {"definition_is_a_link_to_a_device",
         [](const TempDir& d) { makeLink("/dev/null", d / JSON_FILE); },
         false,
         NOT_SAVED,
         {}},
        {"definition_is_a_dangling_link",
         [](const TempDir& d) { makeLink("../../../else", d / JSON_FILE); },
         false,
         NOT_LISTED,
         {{"else", documentWithDecoder()}}},
        {"definition_is_a_link_to_a_file",
         [](const TempDir& d) {
             writeFile(d / "else", "other");
             makeLink("../../../else", d / JSON_FILE);
         },
         false,
         NOT_LISTED,
         {{"else", documentWithDecoder()}}},
    };
    return rows;
}

const std::vector<Blocker>& blockedDecoders() {
    static const std::vector<Blocker> rows{
        {"decoder_source_missing",
         [](const TempDir& d) { removeTree(d / "source.js"); },
         false,
         NOT_COPIED,
         {{"storage", ""}, {"storage/lora", ""}, {"storage/lora/demo", ""}, {JSON_FILE, documentWithDecoder()}}},
        {"decoder_source_is_a_directory",
         [](const TempDir& d) {
             removeTree(d / "source.js");
             makeDir(d / "source.js");
             makeDir(d / "storage/lora/demo");
         },
         false,
         NOT_COPIED,
         {{JSON_FILE, documentWithDecoder()}}},
        {"decoder_source_is_a_fifo",
         [](const TempDir& d) {
             removeTree(d / "source.js");
             makeFifo(d / "source.js");
             makeDir(d / "storage/lora/demo");
         },
         false,
         NOT_COPIED,
         {{JSON_FILE, documentWithDecoder()}}},
        {"decoder_is_a_directory",
         [](const TempDir& d) { makeDir(d / DECODER_FILE); },
         false,
         NOT_COPIED,
         {{JSON_FILE, documentWithDecoder()}, {"storage/lora/demo/th1-decoder/source.js", "decoder text"}}},
        {"decoder_is_a_link_to_a_file",
         [](const TempDir& d) {
             writeFile(d / "else", "other");
             makeLink("../../../else", d / DECODER_FILE);
         },
         true,
         UNTOUCHED,
         {{JSON_FILE, documentWithDecoder()}, {"else", "decoder text"}}},
    };
    return rows;
}

const std::vector<Blocker>& failingCopies() {
    static const std::vector<Blocker> rows{
        {"cp_does_nothing",
         [](const TempDir& d) {
             makeDir(d / "storage/lora/demo");
             failCp(Fault::NOTHING);
         },
         false,
         NOT_COPIED,
         {{JSON_FILE, documentWithDecoder()}}},
        {"cp_fails",
         [](const TempDir& d) {
             makeDir(d / "storage/lora/demo");
             failCp(Fault::FAILURE);
         },
         false,
         NOT_COPIED,
         {{JSON_FILE, documentWithDecoder()}}},
        {"cp_leaves_half_a_file",
         [](const TempDir& d) {
             makeDir(d / "storage/lora/demo");
             failCp(Fault::HALF_FILE);
         },
         true,
         UNTOUCHED,
         {{JSON_FILE, documentWithDecoder()}, {DECODER_FILE, "decode"}}},
        {"cp_fails_over_an_older_decoder",
         [](const TempDir& d) {
             writeFile(d / DECODER_FILE, "older");
             failCp(Fault::FAILURE);
         },
         true,
         UNTOUCHED,
         {{JSON_FILE, documentWithDecoder()}}},
    };
    return rows;
}

class ImportAgainst : public StorageWriting, public ::testing::WithParamInterface<Blocker> {
protected:
    void SetUp() override {
        StorageWriting::SetUp();
        writeFile(dir / "source.js", "decoder text");
        GetParam().prepare(dir);
        expected = snapshot(dir.path());
        for (const auto& [path, text] : GetParam().changed)
            expected[path] = text;
    }

    std::map<std::string, std::string> expected;
};
INSTANTIATE_TEST_SUITE_P(Directories, ImportAgainst, ::testing::ValuesIn(blockedDirectories()), rowName);
INSTANTIATE_TEST_SUITE_P(Definitions, ImportAgainst, ::testing::ValuesIn(blockedDefinitions()), rowName);
INSTANTIATE_TEST_SUITE_P(Decoders, ImportAgainst, ::testing::ValuesIn(blockedDecoders()), rowName);
INSTANTIATE_TEST_SUITE_P(Copies, ImportAgainst, ::testing::ValuesIn(failingCopies()), rowName);

TEST_P(ImportAgainst, leavesWhatItHadDone) {
    EXPECT_EQ(import(NAME, {parsed(PLAIN), dir / "source.js"}), GetParam().result);
    EXPECT_EQ(error, GetParam().text);
    EXPECT_EQ(snapshot(dir.path()), expected);
}

TEST_P(ImportAgainst, needsNoText) {
    EXPECT_EQ(DefinitionsStorage{storage}.importSpec(NAME, {parsed(PLAIN), dir / "source.js"}, nullptr),
              GetParam().result);
    EXPECT_EQ(snapshot(dir.path()), expected);
}

TEST_F(StorageWriting, importOfAStoragesOwnDefinitionKeepsItsDecoder) {
    StorageBuilder(storage).definition(NAME, PLAIN).decoder(NAME, "th1-decoder", "decoder text");
    EXPECT_TRUE(import(NAME, {parsed(PLAIN), at("lora/demo/th1-decoder")}));
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(readFile(at("lora/demo/th1-decoder")), "decoder text");
}

// An older file that cannot be overwritten

struct OlderFile : NamedRow {
    const char* text;
    bool result;
    const char* error;
};

const OlderFile OLDER_FILES[] = {
    {"valid", R"({"properties":{"old":{}}})", true, UNTOUCHED},
    {"broken", "{", false, INVALID_SYNTAX},
    {"without_properties", "{}", false, NO_SECTION},
    {"decoder_gone", R"({"decoder":"gone.js","properties":{}})", false,
     "Invalid sensor definition [lora/demo/th1]: no decoder file found."},
};

class ImportOverOlder : public StorageWriting, public ::testing::WithParamInterface<OlderFile> {};
INSTANTIATE_TEST_SUITE_P(Files, ImportOverOlder, ::testing::ValuesIn(OLDER_FILES), rowName);

TEST_P(ImportOverOlder, goesOnWithTheOlderFile) {
    writeFile(dir / "source.js", "decoder text");
    StorageBuilder(storage).definition(NAME, GetParam().text);
    ASSERT_EQ(chmod(at("lora/demo/th1.json").c_str(), S_IRUSR), 0);
    EXPECT_TRUE(runUnprivileged(dir.path(), [this] {
        EXPECT_EQ(import(NAME, {parsed(PLAIN), dir / "source.js"}), GetParam().result);
        EXPECT_EQ(error, GetParam().error);
        EXPECT_EQ(readFile(at("lora/demo/th1.json")), GetParam().text);
        EXPECT_EQ(readFile(at("lora/demo/th1-decoder")), "decoder text");
        return !HasFailure();
    }));
}

// Removal

struct Removal : NamedRow {
    void (*prepare)(const TempDir& dir);
    const char* definition;
    bool result;
    const char* text;
    Tree removed; // below the temporary directory
};

void addDocument(const TempDir& dir, const std::string& text = WITH_DECODER) {
    StorageBuilder(dir / "storage").definition(NAME, text);
}

void addDecoder(const TempDir& dir, const std::string& file = "th1.js") {
    writeFile(dir / ("storage/lora/demo/" + file), "decoder text");
}

void addBoth(const TempDir& dir) {
    addDocument(dir);
    addDecoder(dir);
}

constexpr const char* SOURCE_DECODER = "storage/lora/demo/th1.js";

const Removal REMOVALS[] = {
    {"with_decoder", addBoth, NAME, true, UNTOUCHED, {JSON_FILE, SOURCE_DECODER}},
    {"without_decoder",
     [](const TempDir& d) {
         addDocument(d, PLAIN);
         addDecoder(d);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"neighbours_stay",
     [](const TempDir& d) {
         addBoth(d);
         StorageBuilder(d / "storage").definition("lora/demo/th2", PLAIN).definition("lora/else/th1", PLAIN);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE, SOURCE_DECODER}},
    {"decoder_missing", [](const TempDir& d) { addDocument(d); }, NAME, true, UNTOUCHED, {JSON_FILE}},
    {"decoder_is_a_directory",
     [](const TempDir& d) {
         addDocument(d);
         makeDir(d / SOURCE_DECODER);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"decoder_is_a_link_outside",
     [](const TempDir& d) {
         addDocument(d);
         writeFile(d / "else.js", "");
         makeLink("../../../else.js", d / SOURCE_DECODER);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"decoder_is_a_link_inside",
     [](const TempDir& d) {
         addDocument(d);
         writeFile(d / "storage/shared.js", "");
         makeLink("../../shared.js", d / SOURCE_DECODER);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE, SOURCE_DECODER}},
    {"decoder_is_a_dangling_link",
     [](const TempDir& d) {
         addDocument(d);
         makeLink("nowhere", d / SOURCE_DECODER);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"decoder_in_a_directory_with_the_storages_prefix",
     [](const TempDir& d) {
         addDocument(d);
         writeFile(d / "storage2/else.js", "");
         makeLink("../../../storage2/else.js", d / SOURCE_DECODER);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE, SOURCE_DECODER}},
    {"decoder_climbs",
     [](const TempDir& d) {
         addDocument(d, R"({"decoder":"../demo/th1.js","properties":{}})");
         addDecoder(d);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"decoder_in_a_subdirectory",
     [](const TempDir& d) {
         addDocument(d, R"({"decoder":" sub/d.js ","properties":{}})");
         addDecoder(d, "sub/d.js");
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE, "storage/lora/demo/sub/d.js"}},
    {"decoder_is_the_definition_itself",
     [](const TempDir& d) { addDocument(d, R"({"decoder":"th1.json","properties":{}})"); },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"broken_definition",
     [](const TempDir& d) {
         addDocument(d, R"({"decoder":"th1.js",)");
         addDecoder(d);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE}},
    {"definition_is_an_array", [](const TempDir& d) { addDocument(d, "[]"); }, NAME, true, UNTOUCHED, {JSON_FILE}},
    {"without_properties",
     [](const TempDir& d) {
         addDocument(d, R"({"decoder":"th1.js"})");
         addDecoder(d);
     },
     NAME,
     true,
     UNTOUCHED,
     {JSON_FILE, SOURCE_DECODER}},
    {"storage_is_a_link",
     [](const TempDir& d) {
         StorageBuilder(d / "else").definition(NAME, WITH_DECODER).decoder(NAME, "th1.js");
         makeLink("else", d / "storage");
     },
     NAME,
     true,
     UNTOUCHED,
     {"else/lora/demo/th1.json", "else/lora/demo/th1.js"}},
    {"empty_stem",
     [](const TempDir& d) { StorageBuilder(d / "storage").definition("lora/demo/", PLAIN); },
     "lora/demo/",
     true,
     UNTOUCHED,
     {"storage/lora/demo/.json"}},
    {"storage_missing", [](const TempDir&) {}, NAME, false, NOT_FOUND, {}},
    {"other_name",
     [](const TempDir& d) { StorageBuilder(d / "storage").definition("lora/demo/th2", PLAIN); },
     NAME,
     false,
     NOT_FOUND,
     {}},
    {"definition_is_a_link",
     [](const TempDir& d) {
         writeFile(d / "else.json", PLAIN);
         makeLink("../../../else.json", d / JSON_FILE);
     },
     NAME,
     false,
     NOT_FOUND,
     {}},
    {"name_directory_is_a_link",
     [](const TempDir& d) {
         writeFile(d / "else/th1.json", PLAIN);
         makeLink("../../else", d / "storage/lora/demo");
     },
     NAME,
     false,
     NOT_FOUND,
     {}},
    {"definition_is_a_directory", [](const TempDir& d) { makeDir(d / JSON_FILE); }, NAME, false, NOT_FOUND, {}},
    {"empty_name", addBoth, "", false, "Sensor definition [] not found.", {}},
    {"too_few_components",
     [](const TempDir& d) { StorageBuilder(d / "storage").definition("lora/th1", PLAIN); },
     "lora/th1",
     false,
     "Sensor definition [lora/th1] not found.",
     {}},
    {"too_many_components",
     [](const TempDir& d) { StorageBuilder(d / "storage").definition("lora/a/b/th1", PLAIN); },
     "lora/a/b/th1",
     false,
     "Sensor definition [lora/a/b/th1] not found.",
     {}},
    {"backslashes", addBoth, "lora\\demo\\th1", false, "Sensor definition [lora\\demo\\th1] not found.", {}},
    {"climbing", addBoth, "lora/demo/../demo/th1", false, "Sensor definition [lora/demo/../demo/th1] not found.", {}},
    {"climbing_out",
     [](const TempDir& d) {
         addBoth(d);
         writeFile(d / "else/th1.json", PLAIN);
     },
     "../else/th1",
     false,
     "Sensor definition [../else/th1] not found.",
     {}},
    {"doubled_separator", addBoth, "lora//demo/th1", false, "Sensor definition [lora//demo/th1] not found.", {}},
    {"with_suffix", addBoth, "lora/demo/th1.json", false, "Sensor definition [lora/demo/th1.json] not found.", {}},
    {"decoder_stays",
     [](const TempDir& d) {
         addBoth(d);
         FakeSupport::inst().fault("rm", Fault::NOTHING, 1);
     },
     NAME,
     false,
     "Failed to remove decoder file for the [lora/demo/th1] sensor definition.",
     {}},
    {"decoder_gone_and_definition_stays",
     [](const TempDir& d) {
         addBoth(d);
         FakeSupport::inst().fault("rm", Fault::NOTHING, 2);
     },
     NAME,
     false,
     "Decoder file has been removed. An error has occurred while deleting [lora/demo/th1] sensor definition file.",
     {SOURCE_DECODER}},
    {"definition_stays",
     [](const TempDir& d) {
         addDocument(d, PLAIN);
         FakeSupport::inst().fault("rm", Fault::NOTHING);
     },
     NAME,
     false,
     "Failed to delete sensor definition [lora/demo/th1] file.",
     {}},
    {"definition_stays_beside_a_foreign_decoder",
     [](const TempDir& d) {
         addDocument(d);
         writeFile(d / "else.js", "");
         makeLink("../../../else.js", d / SOURCE_DECODER);
         FakeSupport::inst().fault("rm", Fault::FAILURE);
     },
     NAME,
     false,
     "Failed to delete sensor definition [lora/demo/th1] file.",
     {}},
};

class RemovalOfOne : public StorageWriting, public ::testing::WithParamInterface<Removal> {
protected:
    void SetUp() override {
        StorageWriting::SetUp();
        GetParam().prepare(dir);
        expected = snapshot(dir.path());
        for (const std::string& path : GetParam().removed)
            EXPECT_EQ(expected.erase(path), 1U) << path;
    }

    std::map<std::string, std::string> expected;
};
INSTANTIATE_TEST_SUITE_P(Rows, RemovalOfOne, ::testing::ValuesIn(REMOVALS), rowName);

TEST_P(RemovalOfOne, removesNoMoreThanItsFiles) {
    EXPECT_EQ(DefinitionsStorage{storage}.deleteOne(GetParam().definition, &error), GetParam().result);
    EXPECT_EQ(error, GetParam().text);
    EXPECT_EQ(snapshot(dir.path()), expected);
}

TEST_P(RemovalOfOne, needsNoText) {
    EXPECT_EQ(DefinitionsStorage{storage}.deleteOne(GetParam().definition, nullptr), GetParam().result);
    EXPECT_EQ(snapshot(dir.path()), expected);
}

TEST_F(StorageWriting, emptyDirectoryIsTheRootDirectory) {
    const std::string name = (dir / "demo/th1").substr(1);
    EXPECT_FALSE(DefinitionsStorage{""}.importSpec(name, {parsed(PLAIN), ""}, &error));
    EXPECT_EQ(readFile(dir / "demo/th1.json"), written(parsed(PLAIN)));
}

TEST_F(StorageWriting, removalRunsItsCommandsInOrder) {
    addBoth(dir);
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteOne(NAME, &error));
    EXPECT_THAT(commands(), ElementsAre(Command{"rm", {"-f", at("lora/demo/th1.js")}},
                                        Command{"rm", {"-f", at("lora/demo/th1.json")}}));
}

TEST_F(StorageWriting, removalStopsAtTheDecoder) {
    addBoth(dir);
    FakeSupport::inst().fault("rm", Fault::FAILURE);
    EXPECT_FALSE(DefinitionsStorage{storage}.deleteOne(NAME, &error));
    EXPECT_THAT(commands(), ElementsAre(Command{"rm", {"-f", at("lora/demo/th1.js")}}));
}

TEST_F(StorageWriting, unlistedNameRunsNothing) {
    addBoth(dir);
    EXPECT_FALSE(DefinitionsStorage{storage}.deleteOne("lora/demo/th2", &error));
    EXPECT_FALSE(DefinitionsStorage{""}.deleteOne("lora/demo/th2", &error));
    EXPECT_EQ(error, "Sensor definition [lora/demo/th2] not found.");
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(StorageWriting, removalTextsAreCut) {
    const std::string name = "lora/demo/" + std::string(240, 'n');
    StorageBuilder(storage).definition(name, WITH_DECODER).decoder(name, "th1.js");
    FakeSupport::inst().fault("rm", Fault::NOTHING, 2);
    EXPECT_FALSE(DefinitionsStorage{storage}.deleteOne(name, &error));
    const std::string whole = "Decoder file has been removed. An error has occurred while deleting [" + name;
    EXPECT_EQ(error, whole.substr(0, 255));
}

TEST_F(StorageWriting, definitionNestedBeyondTheReadersLimitCannotBeRemoved) {
    addDocument(dir, nestedArrays(NESTING_LIMIT + 1));
    const auto before = snapshot(storage);
    EXPECT_THROW(DefinitionsStorage{storage}.deleteOne(NAME, &error), Json::Exception);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_EQ(snapshot(storage), before);
    EXPECT_THAT(commands(), IsEmpty());
}

TEST_F(StorageWriting, removalOfWhatWasImportedLeavesTheDirectories) {
    writeFile(dir / "th1.js", "decoder text");
    ASSERT_TRUE(import(NAME, {parsed(PLAIN), dir / "th1.js"}));
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteOne(NAME, &error));
    EXPECT_EQ(treeOf(storage), (Tree{"lora", "lora/demo"}));
    EXPECT_FALSE(DefinitionsStorage{storage}.deleteOne(NAME, &error));
    EXPECT_EQ(error, NOT_FOUND);
}

// Emptying

TEST_F(StorageWriting, deleteAllEmptiesAllButHiddenEntries) {
    addBoth(dir);
    StorageBuilder(storage).definition(".hidden/a/b", PLAIN).definition("lora/.hidden/b", PLAIN);
    writeFile(at("notes.txt"), "");
    writeFile(at(".keep"), "");
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteAll());
    EXPECT_EQ(treeOf(storage), (Tree{".keep", ".hidden", ".hidden/a", ".hidden/a/b.json"}));
    EXPECT_THAT(commands(), ElementsAre(Command{"sh -c", {"rm -rf " + storage + "/*"}}));
}

TEST_F(StorageWriting, deleteAllRemovesLinksAndNotTheirTargets) {
    writeFile(dir / "else/file", "");
    makeLink("../else", at("link"));
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteAll());
    EXPECT_EQ(treeOf(dir.path()), (Tree{"else", "else/file", "storage"}));
}

TEST_F(StorageWriting, deleteAllMakesAMissingDirectory) {
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteAll());
    EXPECT_EQ(treeOf(dir.path()), (Tree{"storage"}));
    EXPECT_THAT(commands(),
                ElementsAre(Command{"mkdir", {"-p", storage}}, Command{"sh -c", {"rm -rf " + storage + "/*"}}));
}

TEST_F(StorageWriting, deleteAllOfAFileIsTrue) {
    writeFile(storage, "file");
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteAll());
    EXPECT_EQ(readFile(storage), "file");
    EXPECT_THAT(commands(), ElementsAre(Command{"mkdir", {"-p", storage}}));
}

TEST_F(StorageWriting, deleteAllThatRemovesNothingIsTrue) {
    addBoth(dir);
    const auto before = snapshot(storage);
    FakeSupport::inst().fault("sh", Fault::FAILURE);
    EXPECT_TRUE(DefinitionsStorage{storage}.deleteAll());
    EXPECT_EQ(snapshot(storage), before);
}

TEST_F(StorageWriting, deleteAllPutsTheDirectoryIntoTheCommandLineAsGiven) {
    FakeSupport::inst().fault("sh", Fault::NOTHING);
    const std::string odd = dir / "a b/$c;//";
    makeDir(odd);
    EXPECT_TRUE(DefinitionsStorage{odd}.deleteAll());
    EXPECT_THAT(commands(), ElementsAre(Command{"sh -c", {"rm -rf " + odd + "/*"}}));
}

} // namespace
