#include "PreflightTest.h"

#include "decoder_plants.h"
#include "json_text.h"

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>

namespace Kelvra::SCADA::Test {

namespace {

namespace fs = std::filesystem;

using Planting = std::function<void(const std::string& dir)>;

constexpr const char* WITH_DECODER = R"({"decoder": "th1.js", "properties": {}})";

Planting file(const std::string& path, const std::string& text) {
    return [path, text](const std::string& dir) { writeFile(dir + "/" + path, text); };
}

/// Replaces the good document with another one.
Planting document(const std::string& text) {
    return file("source/lora/demo/th1.json", text);
}

Planting directory(const std::string& path) {
    return [path](const std::string& dir) { makeDir(dir + "/" + path); };
}

Planting mode(const std::string& path, mode_t bits) {
    return [path, bits](const std::string& dir) { chmod((dir + "/" + path).c_str(), bits); };
}

Planting link(const std::string& path, const std::string& target) {
    return [path, target](const std::string& dir) {
        fs::remove(dir + "/" + path);
        makeLink(target, dir + "/" + path);
    };
}

Planting removal(const std::string& path) {
    return [path](const std::string& dir) { fs::remove_all(dir + "/" + path); };
}

Planting all(const std::vector<Planting>& plantings) {
    return [plantings](const std::string& dir) {
        for (const Planting& planting : plantings)
            planting(dir);
    };
}

void growDecoder(const std::string& dir) {
    fs::resize_file(dir + "/source/lora/demo/th1.js", FOUR_TERABYTES);
}

void growList(const std::string& dir) {
    constexpr std::uintmax_t FIVE_MEGABYTES = std::uintmax_t{5} << 20U;
    fs::resize_file(dir + "/source/managed-sensors-list", FIVE_MEGABYTES);
}

void plantManyLinks(const std::string& dir) {
    constexpr int LINKS = 1100;
    for (int number = 0; number < LINKS; ++number)
        makeLink("/", dir + "/source/link" + std::to_string(number));
}

void plantLongLinks(const std::string& dir) {
    constexpr int LINKS = 1100;
    constexpr std::size_t LONG = 4000;
    for (int number = 0; number < LINKS; ++number)
        makeLink(std::string(LONG, 'x'), dir + "/source/link" + std::to_string(number));
}

std::string repeated(const std::string& part, std::size_t times) {
    std::string text;
    for (std::size_t done = 0; done < times; ++done)
        text += part;
    return text;
}

constexpr std::size_t MOST_FINDINGS = 1000;

void plantManyFaults(const std::string& dir) {
    fs::remove(dir + "/source/lora/demo/th1.json");
    for (std::size_t number = 0; number <= MOST_FINDINGS; ++number)
        writeFile(dir + "/source/lora/demo/broken" + std::to_string(number) + ".json", "{");
}

void plantManyStrayFiles(const std::string& dir) {
    for (std::size_t number = 0; number <= MOST_FINDINGS; ++number)
        writeFile(dir + "/source/lora/demo/th1.json." + std::to_string(number), "{");
}

std::vector<std::string> findingsUpToTheLimit(const char* rule) {
    std::vector<std::string> rules(MOST_FINDINGS, rule);
    rules.emplace_back("source/too-many-findings");
    return rules;
}

// For sources with files that have many bytes and no content.
const std::vector<std::string> WITHOUT_LIMITS = {"--max-decoder", "8796093022208", "--max-source", "8796093022208"};

std::vector<Plant> ofTheDirectories() {
    return {
        {"staging_is_the_source", nothing, {"install/unsafe-directory"}, {"--staging-dir", "$T/source"}},
        {"no_directory_is_safe",
         nothing,
         {"install/unsafe-directory", "install/unsafe-directory", "install/unsafe-directory"},
         {"--staging-dir", "$T/default", "--custom-dir", "$T/default/custom"}},
        {"source_missing", removal("source"), {"source/missing"}},
        {"source_is_a_fifo",
         all({removal("source"), [](const std::string& dir) { makeFifo(dir + "/source"); }}),
         {"source/not-a-directory"}},
        {"source_is_no_archive", all({removal("source"), file("source", "")}), {"source/bad-archive"}},
        {"source_of_another_level",
         all({removal("source/lora"), file("source/pack/lora/demo/th1.json", WITH_DECODER)}),
         {"source/wrong-level"}},
        {"file_unreadable", all({file("source/readme.txt", ""), mode("source/readme.txt", 0)}), {"source/unreadable"}},
        {"decoder_in_a_sibling_of_like_name",
         all({file("source2/x.js", ""), removal("source/lora/demo/th1.js"),
              [](const std::string& dir) { makeLink(dir + "/source2/x.js", dir + "/source/lora/demo/th1.js"); }}),
         {"source/decoder-outside"}},
        {"operation_interrupted", file("custom.generations/interrupted", "{}"), {"storage/interrupted"}},
        {"no_space", growDecoder, {"install/no-space"}, WITHOUT_LIMITS},
        {"custom_directory_unreadable",
         all({directory("custom/lora/shut"), mode("custom/lora/shut", 0)}),
         {"install/cannot-copy"}},
        {"staging_is_a_file", all({removal("staging"), file("staging", "")}), {"install/staging-unwritable"}},
        {"staging_closed", mode("staging", 0555), {"install/staging-unwritable"}},
        {"staging_open_to_others", mode("staging", 0777), {"install/untrusted-directory"}},
    };
}

std::vector<Plant> ofTheList() {
    return {
        {"no_list", nothing, {"source/no-list"}, {"--with-list"}},
        {"list_is_a_link",
         all({file("source/list", "[]"), link("source/managed-sensors-list", "list")}),
         {"source/no-list"},
         {"--with-list"}},
        {"list_is_no_list", file("source/managed-sensors-list", "{}"), {"list/not-an-array"}, {"--with-list"}},
        {"list_too_large",
         all({file("source/managed-sensors-list", ""), growList}),
         {"source/too-large"},
         {"--with-list"}},
        {"list_of_many_values",
         file("source/managed-sensors-list", "[" + repeated("0,", 100001) + "0]"),
         {"source/too-large"},
         {"--with-list"}},
        {"list_of_the_device_is_a_link",
         all({file("source/managed-sensors-list", "[ ]"), file("list", "[]"), link("linked", "list")}),
         {"install/list-blocked"},
         {"--with-list", "--map", "$T/linked"}},
        {"list_in_the_custom_storage",
         all({file("source/managed-sensors-list", "[ ]"), file("custom/list", "[]")}),
         {"install/list-blocked"},
         {"--with-list", "--map", "$T/custom/list"}},
        {"list_in_a_directory_of_all",
         all({file("source/managed-sensors-list", "[ ]"), file("open/list", "[]"), mode("open", 0777)}),
         {"install/untrusted-directory"},
         {"--with-list", "--map", "$T/open/list"}},
    };
}

std::vector<Plant> ofTheSizes() {
    return {
        {"definition_too_large",
         [](const std::string& dir) { fs::resize_file(dir + "/source/lora/demo/th1.json", 1024 * 1024 + 1); },
         {"source/too-large"}},
        {"decoder_too_large", growDecoder, {"source/too-large"}},
        {"two_files_too_large",
         all({growDecoder, file("source/lora/demo/th2.json", R"({"decoder": "th2.js", "properties": {}})"),
              file("source/lora/demo/th2.js", "123456789")}),
         {"source/too-large", "source/too-large"},
         {"--max-decoder", "8"}},
        {"link_to_a_decoder_too_large",
         all({growDecoder,
              [](const std::string& dir) {
                  fs::rename(dir + "/source/lora/demo/th1.js", dir + "/source/th1.js");
                  makeLink("../../th1.js", dir + "/source/lora/demo/th1.js");
              }}),
         {"source/too-large"}},
        {"definition_with_too_many_values",
         file("source/lora/demo/th1.json", R"({"properties": {}, "list": [1)" + repeated(",1", 50000) + "]}"),
         {"source/too-large"}},
        {"definition_with_values_behind_a_comment",
         file("source/lora/demo/th1.json", "{ // \"\n\"properties\": {}, \"list\": [1" + repeated(",1", 50000) + "]}"),
         {"source/too-large"}},
        {"definition_with_too_much_indentation",
         file("source/lora/demo/th1.json",
              R"({"properties": {}, "list": )" + repeated("[", 900) + repeated("[],", 5000) + repeated("]", 900) + "}"),
         {"source/too-large"}},
        {"source_too_large",
         file("source/lora/demo/other.js", std::string(1000, 'x')),
         {"source/too-large"},
         {"--max-source", "1000"}},
    };
}

std::vector<Plant> ofTheNumbers() {
    return {
        {"links_too_long", plantLongLinks, {"source/too-many"}},
        {"too_many_findings", plantManyFaults, findingsUpToTheLimit("definition/syntax")},
        {"too_many_stray_files", plantManyStrayFiles, findingsUpToTheLimit("tree/wrong-suffix")},
        {"too_many_definitions",
         all({file("source/lora/demo/th2.json", WITH_DECODER), file("source/lora/demo/th3.json", WITH_DECODER)}),
         {"source/too-many"},
         {"--max-definitions", "2"}},
        {"too_many_entries", plantManyLinks, {"source/too-many"}, {"--max-definitions", "1"}},
        {"directories_too_deep",
         [](const std::string& dir) {
             std::string path = dir + "/source/lora";
             for (int depth = 0; depth < 40; ++depth)
                 path += "/d";
             makeDir(path);
         },
         {"source/too-many"}},
    };
}

std::vector<Plant> ofTheSource() {
    return {
        {"definition_unreadable", mode("source/lora/demo/th1.json", 0), {"definition/unreadable"}},
        {"syntax_error", document("{\n  \"decoder\": 1\n  \"properties\": {}\n}"), {"definition/syntax"}},
        {"too_deep", document(nestedArrays(NESTING_LIMIT + 1)), {"definition/too-deep"}},
        {"no_object", document("[]"), {"definition/not-an-object"}},
        {"decoder_climbs", document(R"({"decoder": "../th1.js", "properties": {}})"), {"definition/bad-decoder-path"}},
        {"decoder_missing", document(R"({"decoder": "none.js", "properties": {}})"), {"definition/decoder-missing"}},
        {"no_properties", document(R"({"decoder": "th1.js"})"), {"definition/no-properties"}},
        {"not_lorawan",
         all({file("source/other/demo/th1.json", WITH_DECODER), file("source/other/demo/th1.js", "")}),
         {"source/not-lorawan"}},
        {"no_decoder", document(R"({"properties": {}})"), {"source/no-decoder"}},
        {"decoder_outside",
         all({file("outside.js", ""), link("source/lora/demo/th1.js", "../../../outside.js")}),
         {"source/decoder-outside"}},
        {"decoder_unreadable", mode("source/lora/demo/th1.js", 0), {"source/decoder-unreadable"}},
        // A "\" in a name is a separator in the search for decoders.
        {"name_with_backslash",
         all({file("source/lora/demo/x\\y.json", WITH_DECODER), file("source/lora/demo/x/th1.js", "")}),
         {"source/bad-name"}},
        {"name_too_long_for_its_decoder",
         file("source/lora/demo/" + std::string(248, 'n') + ".json", WITH_DECODER),
         {"source/bad-name"}},
        {"name_that_begins_with_a_blank", file("source/lora/demo/ x.json", WITH_DECODER), {"source/bad-name"}},
        {"members_that_become_one",
         document("{\"decoder\": \"th1.js\", \"properties\": {\"\xff\": {\"a\": 1}, \"\xfe\": {\"a\": 2}}}"),
         {"source/not-utf8"}},
        {"directory_unreadable",
         all({directory("source/lora/shut"), mode("source/lora/shut", 0)}),
         {"tree/directory-unreadable"}},
        {"directory_with_names_only",
         all({file("source/lora/names/x.json", WITH_DECODER), mode("source/lora/names", S_IRUSR)}),
         {"tree/entry-unreadable"}},
        {"three_faults_of_one_definition",
         file("source/other/demo/x.json", R"({"decoder": "none.js"})"),
         {"definition/decoder-missing", "definition/no-properties", "source/not-lorawan"}},
    };
}

std::vector<Plant> ofTheCustomStorage() {
    return {
        {"file_on_the_way", file("custom/lora/demo", ""), {"install/directory-blocked"}},
        {"closed_on_the_way", mode("custom/lora", 0555), {"install/directory-blocked"}},
        {"link_on_the_way",
         all({directory("elsewhere"), link("custom/lora/demo", "../../elsewhere")}),
         {"install/behind-link"}},
        {"link_in_place_of_the_document",
         all({file("elsewhere.json", WITH_DECODER), link("custom/lora/demo/th1.json", "../../../elsewhere.json")}),
         {"install/behind-link"}},
        {"directory_in_place_of_the_document", directory("custom/lora/demo/th1.json"), {"install/file-blocked"}},
        {"directory_in_place_of_the_decoder", directory("custom/lora/demo/th1-decoder"), {"install/decoder-blocked"}},
        {"fifos_in_place_of_both",
         [](const std::string& dir) {
             makeFifo(dir + "/custom/lora/demo/th1.json");
             makeFifo(dir + "/custom/lora/demo/th1-decoder");
         },
         {"install/file-blocked", "install/decoder-blocked"}},
        {"already_installed",
         file("custom/lora/demo/th1.json", R"({"properties": {}})"),
         {"install/already-installed"}},
        {"everywhere_at_once",
         all({growDecoder, file("custom/lora/demo", ""), file("source/lora/demo/a.json", "{"),
              file("source/lora/demo/b.json", "[]"), file("source/lora/stray.json", "{}"),
              file("source/other/demo/c.json", R"({"properties": 5})")}),
         {"install/no-space", "definition/syntax", "install/directory-blocked", "definition/not-an-object",
          "install/directory-blocked", "install/directory-blocked", "definition/no-properties", "source/not-lorawan",
          "tree/wrong-level"},
         WITHOUT_LIMITS},
    };
}

std::vector<Plant> ofOtherFiles() {
    return {
        {"list_left", file("source/managed-sensors-list", "[]"), {"source/list-left"}},
        {"replaces_broken", file("custom/lora/demo/th1.json", "{"), {"install/replaces-broken"}},
        {"large_file_that_no_definition_names",
         [](const std::string& dir) {
             constexpr std::size_t FIVE_MEGABYTES = 5 * MEGABYTE;
             writeFile(dir + "/source/lora/demo/manual.pdf", std::string(FIVE_MEGABYTES, 'x'));
         },
         {}},
        {"sizes_with_suffixes", nothing, {}, {"--max-definition", "1K", "--max-decoder", "64K", "--max-source", "1M"}},
    };
}

// Other processes write to the same file system. A regular expression is too slow for a thousand findings under a
// sanitizer.
std::string withoutFreeSpace(std::string text) {
    const std::string word = " available";
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + word.size())) {
        const std::size_t first = text.find_last_not_of("0123456789", at - 1) + 1;
        text.replace(first, at - first, "N");
        at = first + 1;
    }
    return text;
}

} // namespace

const std::vector<Plant>& refusals() {
    static const std::vector<Plant> plants = [] {
        std::vector<Plant> rows = ofTheDirectories();
        for (const std::vector<Plant>& more :
             {ofTheList(), ofTheSizes(), ofTheNumbers(), ofTheSource(), ofTheCustomStorage(), faultyDecoders("source")})
            rows.insert(rows.end(), more.begin(), more.end());
        return rows;
    }();
    return plants;
}

const std::vector<Plant>& warnings() {
    static const std::vector<Plant> plants = {
        {"property_that_is_no_object",
         document(R"({"decoder": "th1.js", "properties": {"a": 1, "b": {}}})"),
         {"definition/property-not-an-object"}},
        {"misspelt_type",
         document(R"({"decoder": "th1.js", "properties": {"a": {"type": "flaot"}}})"),
         {"schema/enum"}},
        {"number_for_a_name", document(R"({"decoder": "th1.js", "properties": {"a": {"name": 1}}})"), {"schema/type"}},
        {"bad_parts_of_examples",
         document(R"({"decoder": "th1.js", "properties": {}, "examples": [{"throws": true},
                      {"throws": true, "input": {"fPort": 256, "bytes": "0", "recvTime": "today"}}]})"),
         {"schema/required", "schema/range", "schema/form", "schema/pattern"},
         {"--no-codec"}},
        {"behind_a_link", link("source/lora/demo/link.json", "th1.json"), {"tree/behind-link"}},
        {"link_to_a_directory", link("source/lora/all", "/"), {"tree/behind-link"}},
        {"wrong_level", file("source/lora/stray.json", "{}"), {"tree/wrong-level"}},
        {"wrong_suffix", file("source/lora/demo/th1.json.bak", "{"), {"tree/wrong-suffix"}},
        {"not_a_file",
         [](const std::string& dir) { makeFifo(dir + "/source/lora/demo/pipe.json"); },
         {"tree/not-a-file"}},
        {"two_of_one_file", file("source/lora/th1.json~", WITH_DECODER), {"tree/wrong-level", "tree/wrong-suffix"}},
    };
    return plants;
}

const std::vector<Plant>& notes() {
    static const std::vector<Plant> plants = [] {
        std::vector<Plant> rows = ofOtherFiles();
        const std::vector<Plant> decoders = notedDecoders("source");
        rows.insert(rows.end(), decoders.begin(), decoders.end());
        return rows;
    }();
    return plants;
}

PreflightTest::PreflightTest() : source(temp / "source") {
    addDefinition(source, "lora/demo/th1");
    addDefinition(custom, "lora/other/x");
    writeFile(temp / "staging/lora/left/over.json", "left over");
    writeList({GOOD_SENSOR});
}

ToolRun PreflightTest::runOnSource(const std::string& command, const Plant& row,
                                   const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {command, temp / "source"};
    for (const std::string& option : row.options)
        arguments.push_back(replaced(option, "$T", temp.path()));
    arguments.insert(arguments.end(), more.begin(), more.end());
    ToolRun result = run(arguments);
    result.out = withoutFreeSpace(result.out);
    return result;
}

std::map<std::string, std::string> PreflightTest::directories() const {
    std::map<std::string, std::string> contents;
    for (const std::string path : {"default", "custom", "staging"}) {
        const bool isDirectory = fs::is_directory(temp / path);
        contents[path] = isDirectory ? "directory" : readFile(temp / path);
        for (const auto& [relative, content] :
             isDirectory ? snapshot(temp / path) : std::map<std::string, std::string>())
            contents[path + "/" + relative] = content;
    }
    return contents;
}

std::vector<std::string> rulesOf(const Json::Value& findings) {
    std::vector<std::string> rules;
    for (const Json::Value& finding : findings)
        rules.push_back(finding["rule"].asString());
    return rules;
}

std::vector<Plant> refusalsOfUnprintableNames() {
    return {
        {"name_that_is_not_utf8", file("source/lora/demo/x\xff.json", WITH_DECODER), {"source/bad-name"}},
        {"decoder_name_with_nul",
         document(R"({"decoder": "th1.js\u0000z", "properties": {}})"),
         {"source/decoder-unreadable"}},
    };
}

} // namespace Kelvra::SCADA::Test
