// Archives as the source of an installation: their content is treated like that of a directory.

#include "NamedRow.h"
#include "ToolProcess.h"
#include "ToolTest.h"
#include "findings.h"
#include "row_name.h"

#include <archive.h>
#include <archive_entry.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace Kelvra::SCADA::Test;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* WITH_DECODER = R"({"decoder": "th1.js", "properties": {}})";

struct Entry {
    std::string path;
    std::string content;
    mode_t type = AE_IFREG;
    std::string target = {}; ///< of a link; of a regular file: of a hard link
    std::size_t zeros = 0;   ///< after the content
};

using Entries = std::vector<Entry>;

/// The way in which an archive is written.
struct Format : NamedRow {
    int (*setFormat)(archive*);
    bool compressed;
    bool sized; ///< whether the entries have their sizes before their content
};

const Format TAR = {"tar", archive_write_set_format_pax_restricted, false, true};
const Format ZIP = {"zip", archive_write_set_format_zip, false, true};

// Writes checksums that do not match the content.
int setWrongZip(archive* writer) {
    const int status = archive_write_set_format_zip(writer);
    return status == ARCHIVE_OK ? archive_write_set_options(writer, "zip:fakecrc32") : status;
}

const Format ZIP_WRONG = {"zip_wrong", setWrongZip, false, true};

struct FreeWriter {
    void operator()(archive* writer) const { archive_write_free(writer); }
};

struct FreeEntry {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

/// Names in other scripts can be written only in such a locale.
class Utf8Locale {
public:
    Utf8Locale() : utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), former(uselocale(utf8)) {}
    ~Utf8Locale() {
        uselocale(former);
        freelocale(utf8);
    }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
    locale_t utf8;
    locale_t former;
};

void add(archive* writer, const Entry& described, bool sized) {
    const std::string content = described.content + std::string(described.zeros, '\0');
    const std::unique_ptr<archive_entry, FreeEntry> entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), described.path.c_str());
    archive_entry_set_filetype(entry.get(), described.type);
    archive_entry_set_perm(entry.get(), 0600);
    if (described.type == AE_IFLNK)
        archive_entry_set_symlink(entry.get(), described.target.c_str());
    else if (!described.target.empty())
        archive_entry_set_hardlink(entry.get(), described.target.c_str());
    if (sized)
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content.size()));
    if (archive_write_header(writer, entry.get()) != ARCHIVE_OK ||
        archive_write_data(writer, content.data(), content.size()) < 0)
        throw std::runtime_error(archive_error_string(writer));
}

void writeArchive(const std::string& file, const Entries& entries, const Format& format = TAR,
                  const std::string& password = "") {
    const Utf8Locale locale;
    const std::unique_ptr<archive, FreeWriter> writer(archive_write_new());
    format.setFormat(writer.get());
    if (format.compressed)
        archive_write_add_filter_gzip(writer.get());
    if (!password.empty()) {
        archive_write_set_options(writer.get(), "zip:encryption=zipcrypt");
        archive_write_set_passphrase(writer.get(), password.c_str());
    }
    archive_write_open_filename(writer.get(), file.c_str());
    for (const Entry& entry : entries)
        add(writer.get(), entry, format.sized);
    archive_write_close(writer.get());
}

class ArchiveTest : public ToolTest {
protected:
    ArchiveTest() : file(temp / "up.archive") {}

    ToolRun runOn(const std::string& command, const Entries& entries, const std::vector<std::string>& options = {}) {
        writeArchive(file, entries);
        std::vector<std::string> arguments = {command, file};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return run(arguments);
    }

    std::string file;
};

// The tool runs in the locale "C".
const Entries PLAIN = {{"lora/demo/th\xc3\xbc.json", WITH_DECODER}, {"lora/demo/th1.js", "decoder"}};
const std::set<std::string> INSTALLED = {"th\xc3\xbc-decoder", "th\xc3\xbc.json"};

class ArchiveOfFormat : public ArchiveTest, public ::testing::WithParamInterface<Format> {};

TEST_P(ArchiveOfFormat, isInstalled) {
    writeArchive(file, PLAIN, GetParam());
    EXPECT_EQ(run({"check", file}).out, "0 faults in 1 definition\n");
    const ToolRun result = run({"install", file});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"), INSTALLED);
    EXPECT_EQ(readFile(temp / "custom/lora/demo/th\xc3\xbc-decoder"), "decoder");
}

TEST_P(ArchiveOfFormat, isReadFromStandardInput) {
    writeArchive(file, PLAIN, GetParam());
    const std::vector<std::string> options = {"--custom-dir",   temp / "custom",
                                              "--default-dir",  temp / "default",
                                              "--staging-dir",  temp / "staging",
                                              "--codec-runner", "",
                                              "install",        "-"};
    const ToolRun result = runTool(options, readFile(file));
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"), INSTALLED);
}

INSTANTIATE_TEST_SUITE_P(Tool, ArchiveOfFormat,
                         ::testing::Values(Format{"ustar", archive_write_set_format_ustar, false, true},
                                           Format{"ustar_gzip", archive_write_set_format_ustar, true, true},
                                           Format{"gnu", archive_write_set_format_gnutar, true, true},
                                           Format{"pax", archive_write_set_format_pax, true, true}, ZIP,
                                           Format{"zip_without_sizes", archive_write_set_format_zip, false, false}),
                         rowName);

TEST_F(ArchiveTest, keepsNobodyOutWhileItIsAwaited) {
    addDefinition(custom, "lora/demo/th2");
    writeArchive(file, PLAIN);
    const std::string pipe = temp / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    makeDir(temp / "tmp");
    setenv("TMPDIR", (temp / "tmp").c_str(), 1);
    std::future<ToolRun> waiting = std::async(std::launch::async, [&] {
        return runToolWith("<" + pipe,
                           {"--custom-dir", temp / "custom", "--staging-dir", temp / "staging", "install", "-"});
    });
    std::ofstream archive(pipe);
    EXPECT_TRUE(becomesTrue([&] { return !treeOf(temp / "tmp").empty(); }));
    EXPECT_EQ(run({"remove", "lora/demo/th2"}).status, 0);
    archive << readFile(file) << std::flush;
    archive.close();
    EXPECT_EQ(waiting.get().status, 0);
    unsetenv("TMPDIR");
    EXPECT_EQ(treeOf(temp / "custom/lora/demo"), INSTALLED);
}

TEST_F(ArchiveTest, mayHaveEverythingInOneDirectory) {
    const Entries entries = {{"./up/", "", AE_IFDIR},
                             {"./up/lora/demo/th1.json", WITH_DECODER},
                             {"./up/lora/demo/th1.js", "", AE_IFLNK, "../../th1.js"},
                             {"./up/th1.js", "decoder"}};
    EXPECT_EQ(runOn("install", entries).out, "installed lora/demo/th1\n");
    EXPECT_EQ(readFile(temp / "custom/lora/demo/th1-decoder"), "decoder");
}

TEST_F(ArchiveTest, namesItsPlaces) {
    const Entries entries = {{"up/lora/demo/th1.json", "{"}, {"up/lora/demo/link.json", "", AE_IFLNK, "th1.json"}};
    const ToolRun result = runOn("check", entries);
    EXPECT_EQ(result.out.rfind("$T/up.archive/up/lora/demo/th1.json:1:", 0), 0U) << result.out;
    EXPECT_THAT(result.out, HasSubstr("$T/up.archive/up/lora/demo/link.json: warning: Not listed: it is a symbolic "
                                      "link. [tree/behind-link]"));
    const ToolRun piped =
        runTool({"--custom-dir", temp / "custom", "--codec-runner", "", "check", "-"}, readFile(file));
    EXPECT_EQ(piped.out.rfind("standard input/up/lora/demo/th1.json:1:", 0), 0U) << piped.out;
}

TEST_F(ArchiveTest, takesTheLastOfTwoFilesOfOneName) {
    const Entries entries = {
        {"lora/demo/th1.json", "{"}, {"lora/demo/th1.js", "decoder"}, {"lora/demo/th1.json", WITH_DECODER}};
    EXPECT_EQ(runOn("install", entries).out, "installed lora/demo/th1\n");
}

TEST_F(ArchiveTest, takesAHardLinkForItsFile) {
    const Entries entries = {{"lora/demo/x.js", "decoder"},
                             {"lora/demo/th1.js", "", AE_IFREG, "lora/demo/x.js"},
                             {"lora/demo/th1.json", WITH_DECODER}};
    EXPECT_EQ(runOn("install", entries).out, "installed lora/demo/th1\n");
    EXPECT_EQ(readFile(temp / "custom/lora/demo/th1-decoder"), "decoder");
}

TEST_F(ArchiveTest, passesOverALargeFileThatNoDefinitionNames) {
    Entries entries = PLAIN;
    entries.insert(entries.begin(), {"lora/manual.pdf", std::string(5 * MEGABYTE, 'x')});
    for (const Format& format : {TAR, Format{"zip", archive_write_set_format_zip, false, false}}) {
        writeArchive(file, entries, format);
        EXPECT_EQ(run({"check", file}).out, "0 faults in 1 definition\n") << format.name;
    }
}

struct RefusedRow : NamedRow {
    Entries entries;
    std::vector<std::string> rules;
    const char* text;
    Format format = TAR;
    std::string password = {};
    std::vector<std::string> options = {};
};

class RefusedArchive : public ArchiveTest, public ::testing::WithParamInterface<RefusedRow> {};

TEST_P(RefusedArchive, changesNothing) {
    const auto before = snapshot(temp.path());
    writeArchive(file, GetParam().entries, GetParam().format, GetParam().password);
    std::vector<std::string> arguments = {"install", "--dry-run", file};
    arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out, HasSubstr(GetParam().text));
    for (const std::string& rule : GetParam().rules)
        EXPECT_THAT(result.out, HasSubstr("[" + rule + "]\n    " + remedyOf(rule)));
    std::remove(file.c_str());
    EXPECT_EQ(snapshot(temp.path()), before);
}

const Entry DEFINITION = {"lora/demo/th1.json", WITH_DECODER};

std::vector<RefusedRow> refused() {
    return {
        {"climbing", {{"../lora/x", "x"}}, {"source/bad-archive"}, "leads out of it"},
        {"climbing_inside", {{"lora/../../x", "x"}}, {"source/bad-archive"}, "leads out of it"},
        {"absolute", {{"/lora/x", "x"}}, {"source/bad-archive"}, "leads out of it"},
        {"behind_a_link",
         {{"lora", "", AE_IFLNK, "/tmp"}, {"lora/demo/th1.json", WITH_DECODER}},
         {"source/unreadable"},
         "up.archive/lora/demo/th1.json: error: The entry cannot be read: Not a directory"},
        {"link_over_a_directory",
         {DEFINITION, {"lora/demo", "", AE_IFLNK, "/tmp"}},
         {"source/unreadable"},
         "up.archive/lora/demo: error: The entry cannot be read: File exists"},
        {"decoder_outside",
         {DEFINITION, {"lora/demo/th1.js", "", AE_IFLNK, "/etc/passwd"}},
         {"source/decoder-outside"},
         "up.archive/lora/demo/th1.json:1:13: error: "},
        {"hard_link_outside",
         {DEFINITION, {"lora/demo/th1.js", "", AE_IFREG, "/etc/passwd"}},
         {"source/unreadable"},
         "up.archive/lora/demo/th1.js: error: The entry cannot be read: No such file or directory"},
        {"special",
         {{"lora/demo/th1.json", "", AE_IFIFO}},
         {"source/wrong-level"},
         "[$T/up.archive/lora/demo/th1.json] looks like one."},
        {"encrypted", {DEFINITION}, {"source/bad-archive"}, "The archive is encrypted.", ZIP, "secret"},
    };
}

std::vector<RefusedRow> tooLarge() {
    const auto zeros = [](const std::string& path) { return Entry{path, "", AE_IFREG, "", 65 * MEGABYTE}; };
    Entries many;
    for (int number = 0; number < 1010; ++number)
        many.push_back({"lora/d" + std::to_string(number), "", AE_IFDIR});
    return {
        {"definition_too_large",
         {{"lora/demo/th1.json", "", AE_IFREG, "", MEGABYTE + 1}},
         {"source/too-large"},
         "up.archive/lora/demo/th1.json: error: The definition has 1048577 bytes; the limit is 1048576."},
        {"decoder_too_large",
         {DEFINITION, {"lora/demo/th1.js", "", AE_IFREG, "", 4 * MEGABYTE + 1}},
         {"source/too-large"},
         "up.archive/lora/demo/th1.js: error: The decoder has 4194305 bytes; the limit is 4194304."},
        {"zeros",
         {zeros("lora/a"), zeros("lora/b"), zeros("lora/c")},
         {"source/too-large"},
         "The files of the source have more than 67108864 bytes together.",
         {"gzip", archive_write_set_format_ustar, true, true}},
        {"zeros_without_sizes",
         {zeros("lora/a"), zeros("lora/b"), zeros("lora/c")},
         {"source/too-large"},
         "The files of the source have more than 67108864 bytes together.",
         {"zip", archive_write_set_format_zip, false, false}},
        {"many_entries", many, {"source/too-many"}, "more than 1005 entries", TAR, "", {"--max-definitions", "1"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Tool, RefusedArchive, ::testing::ValuesIn(refused()), rowName);
INSTANTIATE_TEST_SUITE_P(TooLarge, RefusedArchive, ::testing::ValuesIn(tooLarge()), rowName);

/// A damage, and the reported reason or a part of it.
struct BadRow : NamedRow {
    Format format;
    std::string (*damage)(std::string content);
    const char* reason;
};

constexpr const char* DAMAGED = "it is damaged or incomplete";
// Newer versions of the archive library find these faults before the tool does.
constexpr const char* TAR_CUT = ARCHIVE_VERSION_NUMBER >= 3008000 ? "Truncated input file" : DAMAGED;
constexpr const char* ZIP_CUT = ARCHIVE_VERSION_NUMBER >= 3007000 ? "ZIP bad CRC" : "Truncated ZIP";
const Format TAR_GZIP = {"tar_gzip", archive_write_set_format_pax_restricted, true, true};

class BadArchive : public ArchiveTest, public ::testing::WithParamInterface<BadRow> {};

TEST_P(BadArchive, isNamedWithTheReason) {
    writeArchive(file, PLAIN, GetParam().format);
    writeFile(file, GetParam().damage(readFile(file)));
    const ToolRun result = run({"install", file});
    EXPECT_EQ(result.status, 5);
    EXPECT_THAT(result.out, StartsWith("$T/up.archive: error: The archive cannot be read: "));
    EXPECT_THAT(result.out, HasSubstr(GetParam().reason));
    EXPECT_THAT(result.out, EndsWith(withRemedies(" [source/bad-archive]\n")));
    EXPECT_EQ(result.err, refusal(1));
    EXPECT_EQ(treeOf(temp / "custom"), std::set<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(
    Tool, BadArchive,
    ::testing::Values(
        BadRow{"empty", TAR, [](std::string) { return std::string(); }, "Unrecognized archive format"},
        BadRow{"no_archive", TAR, [](std::string) { return std::string("{}"); }, "Unrecognized archive format"},
        BadRow{"cut_in_a_file", TAR, [](std::string content) { return content.substr(0, 600); }, TAR_CUT},
        BadRow{"cut_between_two_files", TAR,
               [](std::string content) { return content.substr(0, content.find("lora/demo/th1.js")); }, DAMAGED},
        BadRow{"zeros_between_two_files", TAR,
               [](std::string content) {
                   return content.insert(content.find("lora/demo/th1.js"), std::string(512, '\0'));
               },
               DAMAGED},
        BadRow{"bytes_behind_the_end", TAR, [](std::string content) { return content + "x"; }, DAMAGED},
        BadRow{"gzip_cut", TAR_GZIP, [](std::string content) { return content.substr(0, content.size() - 1); },
               DAMAGED},
        BadRow{"gzip_with_another_checksum", TAR_GZIP,
               [](std::string content) {
                   content[content.size() - 5] ^= 1;
                   return content;
               },
               DAMAGED},
        BadRow{"gzip_with_bytes_behind_it", TAR_GZIP, [](std::string content) { return content + "x"; }, DAMAGED},
        BadRow{"zip_with_another_checksum", ZIP_WRONG, [](std::string content) { return content; }, "bad CRC"},
        BadRow{"zip_cut_in_its_directory", ZIP,
               [](std::string content) { return content.substr(0, content.find("PK\1\2") + 4); }, ZIP_CUT},
        BadRow{"zip_with_more_than_its_directory_tells", ZIP,
               [](std::string content) {
                   content[content.rfind("PK\5\6") + 10] = 1;
                   return content;
               },
               DAMAGED}),
    rowName);

} // namespace
