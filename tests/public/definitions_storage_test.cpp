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

#include <gmock/gmock.h>
#include <json/json.h>

#include <sys/stat.h>

#include <functional>
#include <locale>
#include <optional>
#include <type_traits>

namespace {

using namespace Kelvra::SCADA::Test;
using Kelvra::SCADA::DefinitionSpec;
using Kelvra::SCADA::DefinitionsStorage;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(std::is_same<decltype(DefinitionsStorage::dir), std::string>::value);
static_assert(std::is_same<decltype(DefinitionsStorage::JSON_DECODER_SECTION), const std::string>::value);
static_assert(std::is_same<decltype(DefinitionsStorage::JSON_PROPERTIES_SECTION), const std::string>::value);
static_assert(std::is_aggregate<DefinitionsStorage>::value, "callers brace-initialise it");
static_assert(sizeof(DefinitionsStorage) == sizeof(std::string), "the directory is the only member");
static_assert(!std::is_polymorphic<DefinitionsStorage>::value);

std::string toText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    return Json::writeString(builder, value);
}

std::set<std::string> namesOf(const std::string& dir) {
    std::set<std::string> names;
    DefinitionsStorage{dir}.findNames(&names);
    return names;
}

TEST(DefinitionsStorage, constants) {
    EXPECT_EQ(DefinitionsStorage::JSON_PROPERTIES_SECTION, "properties");
    EXPECT_EQ(DefinitionsStorage::JSON_DECODER_SECTION, "decoder");
}

TEST(DefinitionsStorage, holdsTheDirectoryAsGiven) {
    DefinitionsStorage storage{"/a//b/"};
    EXPECT_EQ(storage.dir, "/a//b/");
    const DefinitionsStorage copy = storage;
    storage.dir = "/c";
    EXPECT_EQ(copy.dir, "/a//b/");
    EXPECT_EQ(DefinitionsStorage{}.dir, "");
}

// ---- findNames ----

struct NamesRow : NamedRow {
    std::function<void(const std::string& dir)> make;
    std::set<std::string> names;
};

std::function<void(const std::string&)> files(const std::vector<std::string>& paths) {
    return [paths](const std::string& dir) {
        for (const std::string& path : paths)
            writeFile(dir + "/" + path, "");
    };
}

const NamesRow NAMES_ROWS[] = {
    {"empty_directory", files({}), {}},
    {"only_two_levels_down",
     files({"lora/demo/th1.json", "lora/th2.json", "top.json", "lora/demo/x/th1.json"}),
     {"lora/demo/th1"}},
    {"several_sources", files({"b/m/z.json", "a/m/y.json", "a/l/y.json"}), {"a/l/y", "a/m/y", "b/m/z"}},
    {"hidden_directory", files({"lora/.old/th1.json", ".s/m/x.json"}), {".s/m/x", "lora/.old/th1"}},
    {"empty_stem", files({"lora/demo/.json"}), {"lora/demo/"}},
    {"hidden_file", files({"lora/demo/.th1.json"}), {"lora/demo/.th1"}},
    {"suffix_only_once", files({"lora/demo/th1.json.json"}), {"lora/demo/th1.json"}},
    {"other_suffixes", files({"l/d/a", "l/d/json", "l/d/a.JSON", "l/d/a.json~", "l/d/a.jso", "l/d/a-decoder"}), {}},
    {"odd_names", files({"a b/c\\d/e\nf.json", "*/[/?.json"}), {"*/[/?", "a b/c\\d/e\nf"}},
    {"directory_with_suffix", files({"a.json/b.json/c.json/d.json"}), {}},
    {"directories_named_like_files", files({"a.json/b.json/c.json"}), {"a.json/b.json/c"}},
    {"link_to_file",
     [](const std::string& dir) {
         writeFile(dir + "/lora/demo/th1.json", "");
         makeLink("th1.json", dir + "/lora/demo/th2.json");
         makeLink("nowhere", dir + "/lora/demo/th3.json");
     },
     {"lora/demo/th1"}},
    {"link_to_directory",
     [](const std::string& dir) {
         writeFile(dir + "/lora/demo/th1.json", "");
         makeLink("demo", dir + "/lora/linked");
         makeLink("lora", dir + "/linked");
     },
     {"lora/demo/th1"}},
    {"other_types",
     [](const std::string& dir) {
         makeFifo(dir + "/lora/demo/fifo.json");
         makeSocket(dir + "/lora/demo/socket.json");
         makeDir(dir + "/lora/demo/dir.json");
         makeFifo(dir + "/fifo");
         makeSocket(dir + "/lora/socket");
     },
     {}},
};

class StorageNames : public ::testing::TestWithParam<NamesRow> {
protected:
    StorageNames() { GetParam().make(dir.path()); }
    TempDir dir;
};
INSTANTIATE_TEST_SUITE_P(Rows, StorageNames, ::testing::ValuesIn(NAMES_ROWS), rowName);

TEST_P(StorageNames, areListed) {
    EXPECT_EQ(namesOf(dir.path()), GetParam().names);
}

TEST_P(StorageNames, trailingSlashesAreHarmless) {
    EXPECT_EQ(namesOf(dir.path() + "/"), GetParam().names);
    EXPECT_EQ(namesOf(dir.path() + "//"), GetParam().names);
}

TEST_P(StorageNames, areAddedToTheSet) {
    std::set<std::string> expected = GetParam().names;
    expected.insert({"", "old", "zz/z"});
    std::set<std::string> names = {"", "old", "zz/z"};
    DefinitionsStorage{dir.path()}.findNames(&names);
    EXPECT_EQ(names, expected);
}

TEST(StorageNamesNowhere, missingDirectoryAddsNothing) {
    const TempDir dir;
    EXPECT_THAT(namesOf(dir / "missing"), IsEmpty());
}

TEST(StorageNamesNowhere, fileAsDirectoryAddsNothing) {
    const TempDir dir;
    writeFile(dir / "file", "");
    EXPECT_THAT(namesOf(dir / "file"), IsEmpty());
}

TEST(StorageNamesNowhere, storageMayBeALink) {
    const TempDir dir;
    writeFile(dir / "real/lora/demo/th1.json", "");
    makeLink("real", dir / "link");
    EXPECT_THAT(namesOf(dir / "link"), ElementsAre("lora/demo/th1"));
}

TEST(StorageNamesNowhere, emptyDirectoryMeansRoot) {
    const std::set<std::string> names = namesOf("");
    for (const std::string& name : names)
        EXPECT_EQ(std::count(name.begin(), name.end(), '/'), 2) << name;
    const TempDir dir;
    const std::string stem = dir / "th1";
    writeFile(stem + ".json", "");
    const bool isTwoLevelsDown = std::count(stem.begin(), stem.end(), '/') == 3;
    EXPECT_EQ(namesOf("").count(stem.substr(1)), isTwoLevelsDown ? 1U : 0U);
}

TEST(StorageNamesNowhere, unreadableDirectoriesContributeNothing) {
    const TempDir dir;
    files({"open/m/a.json", "closed/m/b.json", "open/noList/c.json", "open/noEnter/d.json"})(dir.path());
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        chmod((dir / "closed").c_str(), 0);
        chmod((dir / "open/noList").c_str(), S_IXUSR);
        chmod((dir / "open/noEnter").c_str(), S_IRUSR);
        return namesOf(dir.path()) == std::set<std::string>{"open/m/a"};
    }));
}

// ---- getSpec ----

constexpr const char* NO_DECODER = "Invalid sensor definition [lora/demo/th1]: no decoder file found.";

std::string badDecoder(const std::string& value) {
    return "Invalid sensor definition [lora/demo/th1]: bad decoder path [" + value + "].";
}

/// Files of the storage other than the definition, for every row: decoders to point at.
void makeDecoders(const std::string& storage) {
    const std::string beside = storage + "/lora/demo/";
    writeFile(beside + "th1-decoder", "");
    writeFile(beside + "sub/th1-decoder", "");
    writeFile(beside + "a b", "");
    writeFile(beside + "..\\x", "");
    writeFile(beside + "..x", "");
    makeLink("th1-decoder", beside + "link");
    makeLink("sub", beside + "linkToDirectory");
    makeLink("nowhere", beside + "dangling");
    makeFifo(beside + "fifo");
    makeSocket(beside + "socket");
    writeFile(storage + "/lora/outside", "");
}

struct SpecRow : NamedRow {
    std::optional<std::string> text; ///< of the definition file; none: there is no such file
    bool result;
    std::string error;
    std::string document;               ///< "null": the document is reset
    std::optional<std::string> decoder; ///< below the definition's directory, with the "/" before it
};

SpecRow good(const char* name, const std::string& text, const std::string& document,
             const std::optional<std::string>& decoder = std::nullopt) {
    return {name, text, true, "", document, decoder};
}

SpecRow good(const char* name, const std::string& text) {
    return good(name, text, text);
}

SpecRow refused(const char* name, const std::optional<std::string>& text, const std::string& error) {
    return {name, text, false, error, "null", std::nullopt};
}

// Depends on the version of the reader.
SpecRow goodIf(bool accepted, const char* name, const std::string& text, const std::string& document) {
    return accepted ? good(name, text, document) : refused(name, text, INVALID_SYNTAX);
}

SpecRow sectionMissing(const char* name, const std::string& text,
                       const std::optional<std::string>& decoder = std::nullopt) {
    return {name, text, false, NO_SECTION, text, decoder};
}

std::string withDecoder(const std::string& jsonValue) {
    return R"({"decoder":)" + jsonValue + R"(,"properties":{}})";
}

SpecRow goodDecoder(const char* name, const std::string& jsonString, const std::string& decoder) {
    return good(name, withDecoder(jsonString), withDecoder(jsonString), decoder);
}

SpecRow noDecoder(const char* name, const std::string& jsonValue) {
    return good(name, withDecoder(jsonValue), withDecoder(jsonValue));
}

SpecRow refusedDecoder(const char* name, const std::string& jsonString, const std::string& error) {
    return refused(name, withDecoder(jsonString), error);
}

const std::string& nul() {
    static const std::string text(1, '\0');
    return text;
}

// In a document of two levels.
std::string nestedObjects(std::size_t depth) {
    std::string text = R"({"properties":{},"x":)";
    for (std::size_t i = 0; i < depth; ++i)
        text += R"({"x":)";
    return text + "1" + std::string(depth + 1, '}');
}

const std::string EMPTY = R"({"properties":{}})";

const SpecRow SPEC_ROWS[] = {
    refused("missing_file", std::nullopt, NOT_FOUND),
    good("empty_properties", EMPTY),
    good("other_members_are_kept", R"({"a":[1,null],"properties":{"t":{"unit":"C"}},"z":{"decoder":"../x"}})"),
    good("properties_of_any_kind", R"({"properties":{"a":5,"b":null,"c":[]}})"),

    refused("empty_file", "", INVALID_SYNTAX),
    refused("blank_file", " \t\r\n", INVALID_SYNTAX),
    refused("array", "[]", INVALID_SYNTAX),
    refused("array_of_objects", "[" + EMPTY + "]", INVALID_SYNTAX),
    refused("number", "5", INVALID_SYNTAX),
    refused("string", "\"properties\"", INVALID_SYNTAX),
    refused("boolean", "true", INVALID_SYNTAX),
    refused("null_root", "null", INVALID_SYNTAX),
    refused("no_json", "properties", INVALID_SYNTAX),
    refused("brace_missing", R"({"properties":{})", INVALID_SYNTAX),
    refused("comma_missing", R"({"a":1 "properties":{}})", INVALID_SYNTAX),
    refused("syntax_before_decoder", R"({"decoder":"../x")", INVALID_SYNTAX),
    refused("single_quotes", "{'properties':{}}", INVALID_SYNTAX),
    refused("bare_key", "{properties:{}}", INVALID_SYNTAX),
    refused("not_a_number", R"({"properties":{},"a":NaN})", INVALID_SYNTAX),
    refused("infinity", R"({"properties":{},"a":Infinity})", INVALID_SYNTAX),
    goodIf(READS_ANY_SIZE_OF_NUMBERS, "number_out_of_range", R"({"properties":{},"a":1e999})",
           R"({"a":1e+9999,"properties":{}})"),
    refused("bad_escape", R"({"properties":{},"a":"\x"})", INVALID_SYNTAX),
    refused("lone_surrogate", R"({"properties":{},"a":"\ud800"})", INVALID_SYNTAX),
    refused("hash_comment", "# c\n" + EMPTY, INVALID_SYNTAX),
    refused("open_comment", "/* " + EMPTY, INVALID_SYNTAX),
    refused("comment_only", "// c", INVALID_SYNTAX),
    refused("comment_before_colon", R"({"properties"/* c */:{}})", INVALID_SYNTAX),
    good("comments_around", "// a\n/* b */" + EMPTY + "// c\n", EMPTY),
    good("comments_inside", "{\n// a\n\"properties\":/* b */{}/* c */}", EMPTY),

    good("byte_order_mark", "\xef\xbb\xbf" + EMPTY, EMPTY),
    refused("two_byte_order_marks", "\xef\xbb\xbf\xef\xbb\xbf" + EMPTY, INVALID_SYNTAX),
    refused("byte_order_mark_only", "\xef\xbb\xbf", INVALID_SYNTAX),
    refused("utf16", std::string("\xff\xfe{\0}\0", 6), INVALID_SYNTAX),
    good("text_after_the_value", EMPTY + " trailing", EMPTY),
    good("second_value", EMPTY + "{}", EMPTY),
    good("one_brace_too_many", EMPTY + "}", EMPTY),
    refused("text_before_the_value", "x " + EMPTY, INVALID_SYNTAX),
    refused("nul_before", nul() + EMPTY, INVALID_SYNTAX),
    refused("nul_between_members", R"({"properties":{})" + nul() + "}", INVALID_SYNTAX),
    good("nul_after", EMPTY + nul(), EMPTY),
    good("nul_and_text_after", EMPTY + nul() + "x", EMPTY),
    goodIf(!REFUSES_CONTROL_CHARACTERS, "nul_in_a_string", R"({"a":"x)" + nul() + R"(y","properties":{}})",
           R"({"a":"x\u0000y","properties":{}})"),
    good("escaped_nul", R"({"a":"x\u0000y","properties":{}})"),
    {"nul_in_the_key",
     R"({"properties)" + nul() + R"(":{}})",
     false,
     REFUSES_CONTROL_CHARACTERS ? INVALID_SYNTAX : NO_SECTION,
     REFUSES_CONTROL_CHARACTERS ? "null" : R"({"properties\u0000":{}})",
     {}},
    goodIf(!REFUSES_CONTROL_CHARACTERS, "control_character_in_a_string", "{\"a\":\"\t\",\"properties\":{}}",
           R"({"a":"\t","properties":{}})"),
    good("trailing_comma", R"({"properties":{},})", EMPTY),
    good("last_of_two_members_counts", R"({"properties":5,"properties":{}})", EMPTY),
    {"last_of_two_members_is_bad", R"({"properties":{},"properties":5})", false, NO_SECTION, R"({"properties":5})", {}},
    good("last_of_two_decoders_counts", R"({"decoder":"../x","decoder":"th1-decoder","properties":{}})",
         withDecoder("\"th1-decoder\""), "/th1-decoder"),

    goodDecoder("decoder_beside", R"("th1-decoder")", "/th1-decoder"),
    goodDecoder("decoder_in_blanks", R"(" th1-decoder ")", "/th1-decoder"),
    goodDecoder("decoder_with_blank_inside", R"("a b")", "/a b"),
    goodDecoder("decoder_below", R"("sub/th1-decoder")", "/sub/th1-decoder"),
    goodDecoder("decoder_from_the_root", R"("/th1-decoder")", "//th1-decoder"),
    goodDecoder("decoder_with_dot", R"("./th1-decoder")", "/./th1-decoder"),
    goodDecoder("decoder_is_a_link", R"("link")", "/link"),
    goodDecoder("decoder_through_a_link", R"("linkToDirectory/th1-decoder")", "/linkToDirectory/th1-decoder"),
    goodDecoder("decoder_with_backslash", R"("..\\x")", "/..\\x"),
    goodDecoder("decoder_with_two_dots", R"("..x")", "/..x"),
    goodDecoder("decoder_is_the_definition", R"("th1.json")", "/th1.json"),
    noDecoder("decoder_is_number", "5"),
    noDecoder("decoder_is_null", "null"),
    noDecoder("decoder_is_true", "true"),
    noDecoder("decoder_is_object", R"({"path":"../x"})"),
    noDecoder("decoder_is_array", R"(["../x"])"),
    noDecoder("decoder_is_empty", R"("")"),
    noDecoder("decoder_is_blank", R"("   ")"),
    refusedDecoder("decoder_climbs", R"("../outside")", badDecoder("../outside")),
    refusedDecoder("decoder_climbs_inside", R"("sub/../th1-decoder")", badDecoder("sub/../th1-decoder")),
    refusedDecoder("decoder_climbs_in_blanks", R"("  ../x  ")", badDecoder("../x")),
    refusedDecoder("decoder_ends_in_climb", R"("sub/../")", badDecoder("sub/../")),
    refusedDecoder("decoder_has_dots_before_slash", R"("x../y")", badDecoder("x../y")),
    refusedDecoder("decoder_missing", R"("missing")", NO_DECODER),
    refusedDecoder("decoder_is_directory", R"("sub")", NO_DECODER),
    refusedDecoder("decoder_is_parent", R"("..")", NO_DECODER),
    refusedDecoder("decoder_ends_in_parent", R"("sub/..")", NO_DECODER),
    refusedDecoder("decoder_is_dot", R"(".")", NO_DECODER),
    refusedDecoder("decoder_is_slash", R"("/")", NO_DECODER),
    refusedDecoder("decoder_is_link_to_directory", R"("linkToDirectory")", NO_DECODER),
    refusedDecoder("decoder_is_dangling", R"("dangling")", NO_DECODER),
    refusedDecoder("decoder_is_fifo", R"("fifo")", NO_DECODER),
    refusedDecoder("decoder_is_socket", R"("socket")", NO_DECODER),
    refusedDecoder("decoder_with_trailing_slash", R"("th1-decoder/")", NO_DECODER),
    refusedDecoder("decoder_in_other_case", R"("TH1-decoder")", NO_DECODER),

    sectionMissing("no_properties", "{}"),
    sectionMissing("properties_is_null", R"({"properties":null})"),
    sectionMissing("properties_is_array", R"({"properties":[]})"),
    sectionMissing("properties_is_string", R"({"properties":"{}"})"),
    sectionMissing("properties_is_number", R"({"properties":1})"),
    sectionMissing("properties_in_other_case", R"({"Properties":{}})"),
    sectionMissing("properties_is_array_with_decoder", R"({"decoder":"th1-decoder","properties":[]})", "/th1-decoder"),
    sectionMissing("no_properties_with_decoder", R"({"decoder":"link"})", "/link"),
    refused("bad_decoder_before_no_properties", R"({"decoder":"../x"})", badDecoder("../x")),
    refused("missing_decoder_before_no_properties", R"({"decoder":"missing"})", NO_DECODER),
    good("nested_to_the_limit", nestedObjects(NESTING_LIMIT - 2), nestedObjects(NESTING_LIMIT - 2)),
};

class StorageSpec : public SupportTest, public ::testing::WithParamInterface<SpecRow> {
protected:
    StorageSpec() {
        makeDecoders(dir.path());
        if (GetParam().text)
            writeFile(dir / NAME + ".json", *GetParam().text);
        before = snapshot(dir.path());
    }

    void TearDown() override {
        EXPECT_EQ(snapshot(dir.path()), before) << "reading changes nothing";
        EXPECT_THAT(FakeSupport::inst().asked, IsEmpty());
        EXPECT_THAT(FakeSupport::inst().logs, IsEmpty());
        EXPECT_THAT(FakeSupport::inst().commands, IsEmpty());
        SupportTest::TearDown();
    }

    std::string decoderPath() const {
        return GetParam().decoder ? dir / "lora/demo" + *GetParam().decoder : std::string();
    }

    TempDir dir;
    std::map<std::string, std::string> before;
};
INSTANTIATE_TEST_SUITE_P(Rows, StorageSpec, ::testing::ValuesIn(SPEC_ROWS), rowName);

TEST_P(StorageSpec, resultTextAndSpec) {
    DefinitionSpec spec(Json::Value("before"), "before");
    std::string error = "before";
    EXPECT_EQ(DefinitionsStorage{dir.path()}.getSpec(NAME, &spec, &error), GetParam().result);
    if (!GetParam().result) {
        EXPECT_EQ(error, GetParam().error);
    }
    EXPECT_EQ(toText(spec.json), GetParam().document);
    EXPECT_EQ(spec.decoderPath, decoderPath());
}

TEST_P(StorageSpec, withoutSpec) {
    std::string error = "before";
    EXPECT_EQ(DefinitionsStorage{dir.path()}.getSpec(NAME, nullptr, &error), GetParam().result);
    if (!GetParam().result) {
        EXPECT_EQ(error, GetParam().error);
    }
}

TEST_P(StorageSpec, withoutError) {
    DefinitionSpec spec(Json::Value("before"), "before");
    EXPECT_EQ(DefinitionsStorage{dir.path()}.getSpec(NAME, &spec, nullptr), GetParam().result);
    EXPECT_EQ(toText(spec.json), GetParam().document);
    EXPECT_EQ(spec.decoderPath, decoderPath());
    EXPECT_EQ(DefinitionsStorage{dir.path()}.getSpec(NAME, nullptr, nullptr), GetParam().result);
}

class StorageLookup : public SupportTest {
protected:
    bool get(const std::string& name, const std::string& storage) {
        spec = DefinitionSpec(Json::Value("before"), "before");
        error = "before";
        return DefinitionsStorage{storage}.getSpec(name, &spec, &error);
    }
    bool get(const std::string& name) { return get(name, dir.path()); }
    bool isReset() const { return spec.json.isNull() && spec.decoderPath.empty(); }

    TempDir dir;
    DefinitionSpec spec;
    std::string error;
};

TEST_F(StorageLookup, missingStorageIsNotFound) {
    EXPECT_FALSE(get(NAME, dir / "missing"));
    EXPECT_EQ(error, NOT_FOUND);
    EXPECT_TRUE(isReset());
}

TEST_F(StorageLookup, emptyStorageDirectoryIsNotFoundWithoutLooking) {
    StorageBuilder(dir.path()).definition(NAME, R"({"properties":{}})");
    const std::string fromRoot = (dir / NAME).substr(1);
    EXPECT_FALSE(get(fromRoot, ""));
    EXPECT_EQ(error, "Sensor definition [" + fromRoot + "] not found.");
    EXPECT_TRUE(isReset());
    EXPECT_TRUE(get(fromRoot, "/"));
}

TEST_F(StorageLookup, fileThatMayNotBeReadIsNotFound) {
    StorageBuilder(dir.path()).definition(NAME, R"({"properties":{}})");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        chmod((dir / NAME + ".json").c_str(), 0);
        return !get(NAME) && error == NOT_FOUND && isReset();
    }));
}

TEST_F(StorageLookup, directoryInPlaceOfTheFileIsBadSyntax) {
    makeDir(dir / NAME + ".json");
    EXPECT_FALSE(get(NAME));
    EXPECT_EQ(error, INVALID_SYNTAX);
    EXPECT_TRUE(isReset());
}

TEST_F(StorageLookup, danglingLinkIsNotFound) {
    makeLink("nowhere", dir / NAME + ".json");
    EXPECT_FALSE(get(NAME));
    EXPECT_EQ(error, NOT_FOUND);
}

TEST_F(StorageLookup, linkIsReadThoughNotListed) {
    StorageBuilder(dir.path()).definition("lora/real/th1", R"({"decoder":"d","properties":{}})");
    StorageBuilder(dir.path()).decoder("lora/demo/th1", "d");
    makeLink("../real/th1.json", dir / NAME + ".json");
    EXPECT_TRUE(get(NAME));
    EXPECT_EQ(spec.decoderPath, dir / "lora/demo/d") << "beside the link, not beside its target";
}

TEST_F(StorageLookup, throwingReaderLeavesTheSpecReset) {
    StorageBuilder(dir.path()).definition(NAME, nestedObjects(NESTING_LIMIT - 1));
    EXPECT_THROW(get(NAME), Json::Exception);
    EXPECT_TRUE(isReset());
    EXPECT_EQ(error, "before");
    EXPECT_THROW(DefinitionsStorage{dir.path()}.getSpec(NAME, nullptr, nullptr), Json::Exception);
    StorageBuilder(dir.path()).definition(NAME, R"({"properties":{}})");
    EXPECT_TRUE(get(NAME));
}

struct DecimalComma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

TEST_F(StorageLookup, earlierReadersReadFractionsByTheGlobalLocale) {
    StorageBuilder(dir.path()).definition(NAME, R"({"properties":{},"fraction":2.5,"whole":3})");
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
    const bool read = get(NAME);
    std::locale::global(previous);
    EXPECT_TRUE(read);
    EXPECT_EQ(spec.json["fraction"], READS_FRACTIONS_BY_THE_LOCALE ? 2.0 : 2.5);
    EXPECT_EQ(spec.json["whole"], 3);
    EXPECT_TRUE(get(NAME));
    EXPECT_EQ(spec.json["fraction"], 2.5);
}

TEST_F(StorageLookup, nestingBehindTheValueDoesNotMatter) {
    StorageBuilder(dir.path()).definition(NAME, R"({"properties":{}})" + std::string(2000, '['));
    EXPECT_TRUE(get(NAME));
}

TEST_F(StorageLookup, largeFileIsReadWhole) {
    const std::string value(3 << 20, 'x');
    StorageBuilder(dir.path()).definition(NAME, R"({"a":")" + value + R"(","properties":{}})");
    EXPECT_TRUE(get(NAME));
    EXPECT_EQ(spec.json["a"].asString(), value);
}

TEST_F(StorageLookup, everyCallReadsAgain) {
    StorageBuilder storage(dir.path());
    storage.definition(NAME, R"({"properties":{"a":1}})");
    EXPECT_TRUE(get(NAME));
    storage.definition(NAME, R"({"properties":{"a":2}})");
    EXPECT_TRUE(get(NAME));
    EXPECT_EQ(toText(spec.json), R"({"properties":{"a":2}})");
    removeTree(dir / NAME + ".json");
    EXPECT_FALSE(get(NAME));
    EXPECT_EQ(error, NOT_FOUND);
}

struct PathRow : NamedRow {
    const char* storage;    ///< appended to the temporary directory
    const char* definition; ///< the name looked up
    const char* file;       ///< below the temporary directory, without ".json"
    const char* decoder;    ///< appended to the temporary directory: the path handed out
};

const PathRow PATH_ROWS[] = {
    {"plain", "/s", "lora/demo/th1", "s/lora/demo/th1", "/s/lora/demo/dec"},
    {"one_level", "/s", "lora/th1", "s/lora/th1", "/s/lora/dec"},
    {"top_level", "/s", "th1", "s/th1", "/s/dec"},
    {"three_levels", "/s", "lora/demo/x/th1", "s/lora/demo/x/th1", "/s/lora/demo/x/dec"},
    {"empty_name", "/s", "", "s/", "/s/dec"},
    {"empty_stem", "/s", "lora/demo/", "s/lora/demo/", "/s/lora/demo/dec"},
    {"hidden", "/s", ".a/.b/.c", "s/.a/.b/.c", "/s/.a/.b/dec"},
    {"climbing", "/s", "../other/th1", "other/th1", "/s/../other/dec"},
    {"climbing_and_returning", "/s", "lora/../lora/demo/th1", "s/lora/demo/th1", "/s/lora/../lora/demo/dec"},
    {"doubled_slash", "/s", "lora//demo/th1", "s/lora/demo/th1", "/s/lora//demo/dec"},
    {"leading_slash", "/s", "/lora/demo/th1", "s/lora/demo/th1", "/s//lora/demo/dec"},
    {"trailing_slash_of_storage", "/s/", "lora/demo/th1", "s/lora/demo/th1", "/s//lora/demo/dec"},
    {"storage_with_dots", "/s/../s", "lora/demo/th1", "s/lora/demo/th1", "/s/../s/lora/demo/dec"},
    {"suffix_in_the_name", "/s", "lora/demo/th1.json", "s/lora/demo/th1.json", "/s/lora/demo/dec"},
    {"format_characters", "/s", "lora/%s/%n%d", "s/lora/%s/%n%d", "/s/lora/%s/dec"},
};

class StoragePaths : public StorageLookup, public ::testing::WithParamInterface<PathRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, StoragePaths, ::testing::ValuesIn(PATH_ROWS), rowName);

TEST_P(StoragePaths, nameIsUsedAsGiven) {
    makeDir(dir / "s/lora");
    const std::string file = GetParam().file;
    writeFile(dir / file + ".json", R"({"decoder":" dec ","properties":{}})");
    writeFile(dir / file.substr(0, file.rfind('/')) + "/dec", "");
    EXPECT_TRUE(get(GetParam().definition, dir.path() + GetParam().storage));
    EXPECT_EQ(spec.decoderPath, dir.path() + GetParam().decoder);
}

TEST_P(StoragePaths, missingFileIsNotFound) {
    EXPECT_FALSE(get(GetParam().definition, dir.path() + GetParam().storage));
    EXPECT_EQ(error, "Sensor definition [" + std::string(GetParam().definition) + "] not found.");
    EXPECT_TRUE(isReset());
}

TEST_F(StorageLookup, backslashEndsTheDecodersDirectory) {
    makeDir(dir / "lora");
    writeFile(dir / "lora/demo\\th1.json", R"({"decoder":"dec","properties":{}})");
    writeFile(dir / "lora/dec", "");
    EXPECT_FALSE(get("lora/demo\\th1"));
    EXPECT_EQ(error, "Invalid sensor definition [lora/demo\\th1]: no decoder file found.");
    writeFile(dir / "lora/demo/dec", "");
    EXPECT_TRUE(get("lora/demo\\th1"));
    EXPECT_EQ(spec.decoderPath, dir / "lora/demo/dec");
}

TEST_F(StorageLookup, errorTextIsCutAt255Bytes) {
    const std::string name(300, 'x');
    EXPECT_FALSE(get(name));
    EXPECT_EQ(error, ("Sensor definition [" + name).substr(0, 255));
}

TEST_F(StorageLookup, decoderPathIsNeverCut) {
    const std::string deep = std::string(200, 'a') + "/" + std::string(200, 'b');
    StorageBuilder(dir.path()).definition(deep + "/th1", withDecoder("\"dec\"")).decoder(deep + "/th1", "dec");
    EXPECT_TRUE(get(deep + "/th1"));
    EXPECT_EQ(spec.decoderPath, dir / deep + "/dec");
}

} // namespace
