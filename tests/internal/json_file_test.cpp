#include "NamedRow.h"
#include "TempDir.h"
#include "files.h"
#include "json_text.h"
#include "row_name.h"
#include "unprivileged.h"

#include "fs/json_file.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <new>
#include <vector>

namespace {

// The number of times that a read is interrupted before it starts.
int interruptions = 0;

} // namespace

// Replaces the system's own function.
extern "C" __attribute__((visibility("default"))) ssize_t read(int descriptor, void* buffer, std::size_t size) {
    static auto* const real = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
    if (interruptions == 0)
        return real(descriptor, buffer, size);
    --interruptions;
    errno = EINTR;
    return -1;
}

namespace {

using Kelvra::SCADA::parseJson;
using Kelvra::SCADA::readFile;
using namespace Kelvra::SCADA::Test;

struct ReadRow : NamedRow {
    std::string text;
};

std::string pattern(std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i)
        text += static_cast<char>(i * 31 % 256);
    return text;
}

const ReadRow READ_ROWS[] = {
    {"empty", ""},
    {"one_byte", "x"},
    {"line_endings", "a\r\nb\rc\n\n"},
    {"embedded_nul", std::string("a\0b\0", 4)},
    {"end_of_file_characters", "a\x1a\x04"},
    {"byte_order_mark", "\xef\xbb\xbf{}"},
    {"invalid_utf8", "\xff\xfe\x80"},
    {"size4095", pattern(4095)},
    {"size4096", pattern(4096)},
    {"size8191", pattern(8191)},
    {"size8192", pattern(8192)},
    {"size16383", pattern(16383)},
    {"size16384", pattern(16384)},
    {"size16385", pattern(16385)},
    {"size32768", pattern(32768)},
    {"size1048577", pattern(1048577)},
};

class ReadFile : public ::testing::TestWithParam<ReadRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, ReadFile, ::testing::ValuesIn(READ_ROWS), rowName);

TEST_P(ReadFile, yieldsEveryByte) {
    const TempDir dir;
    writeFile(dir / "file", GetParam().text);
    std::string text = "before";
    EXPECT_TRUE(readFile(dir / "file", &text));
    EXPECT_TRUE(text == GetParam().text) << text.size() << " bytes";
}

TEST(ReadFileOther, directoryYieldsTheEmptyText) {
    const TempDir dir;
    std::string text = "before";
    EXPECT_TRUE(readFile(dir.path(), &text));
    EXPECT_EQ(text, "");
}

TEST(ReadFileOther, linkIsFollowed) {
    const TempDir dir;
    writeFile(dir / "file", "text");
    makeLink("file", dir / "link");
    std::string text;
    EXPECT_TRUE(readFile(dir / "link", &text));
    EXPECT_EQ(text, "text");
}

TEST(ReadFileOther, whatCannotBeOpenedLeavesTheText) {
    const TempDir dir;
    makeLink("nowhere", dir / "dangling");
    makeLink("loop", dir / "loop");
    writeFile(dir / "file", "");
    makeSocket(dir / "socket");
    for (const char* path : {"missing", "dangling", "loop", "file/below", "socket"}) {
        std::string text = "before";
        EXPECT_FALSE(readFile(dir / path, &text)) << path;
        EXPECT_EQ(text, "before") << path;
    }
    std::string text = "before";
    EXPECT_FALSE(readFile("", &text));
    EXPECT_EQ(text, "before");
}

TEST(ReadFileOther, permissionsDecide) {
    const TempDir dir;
    writeFile(dir / "file", "text");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        chmod((dir / "file").c_str(), 0);
        std::string text = "before";
        return !readFile(dir / "file", &text) && text == "before";
    }));
}

// A host may have closed its standard input.
TEST(ReadFileOther, firstDescriptorServesLikeAnyOther) {
    const TempDir dir;
    writeFile(dir / "file", "text");
    EXPECT_TRUE(runUnprivileged(dir.path(), [&] {
        close(STDIN_FILENO);
        std::string text;
        return readFile(dir / "file", &text) && text == "text" && fcntl(STDIN_FILENO, F_GETFD) == -1;
    }));
}

// The end of a file does not set errno: a value left by something else must not look like an interruption.
TEST(ReadFileOther, endIsNoInterruption) {
    const TempDir dir;
    writeFile(dir / "file", "text");
    std::string text;
    errno = EINTR;
    EXPECT_TRUE(readFile(dir / "file", &text));
    EXPECT_EQ(text, "text");
}

TEST(ReadFileOther, interruptedReadGoesOn) {
    const TempDir dir;
    writeFile(dir / "file", "text");
    interruptions = 3;
    std::string text;
    EXPECT_TRUE(readFile(dir / "file", &text));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(interruptions, 0);
    interruptions = 0;
}

TEST(ReadFileOther, roomIsReservedForWholeFilesOnly) {
    const TempDir dir;
    const std::string whole = pattern(100000);
    writeFile(dir / "file", whole);
    std::string text;
    EXPECT_TRUE(readFile(dir / "file", &text));
    EXPECT_EQ(text.capacity(), whole.size());

    for (int i = 0; i < 100; ++i)
        writeFile(dir / "directory/entry" + std::to_string(i), "");
    struct stat status {};
    ASSERT_EQ(stat((dir / "directory").c_str(), &status), 0);
    std::string none;
    ASSERT_GT(static_cast<std::size_t>(status.st_size), none.capacity());
    EXPECT_TRUE(readFile(dir / "directory", &none));
    EXPECT_EQ(none.capacity(), std::string().capacity());
}

// A file without blocks whose size is beyond that of any string.
TEST(ReadFileOther, whatNoMemoryCanHoldIsAFailedAllocation) {
    const int file = memfd_create("huge", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(file, off_t{5} << 60), 0);
    std::string text;
    EXPECT_THROW(readFile("/proc/self/fd/" + std::to_string(file), &text), std::bad_alloc);
    close(file);
}

struct ParseRow : NamedRow {
    std::string text;
    bool result;
    std::string document; ///< of a parsed text
    std::string errors;   ///< of a refused one
};

const char* const NO_VALUE = "* Line 1, Column 1\n  Syntax error: value, object or array expected.\n";

const char* const CONTROL_CHARACTER =
    "* Line 1, Column 2\n  Control character in string\nSee Line 1, Column 4 for detail.\n";

const ParseRow PARSE_ROWS[] = {
    {"object", R"({"a":1})", true, R"({"a":1})", ""},
    {"array", "[1,2]", true, "[1,2]", ""},
    {"number", "5", true, "5", ""},
    {"null", "null", true, "null", ""},
    {"empty", "", false, "", NO_VALUE},
    {"no_json", "x", false, "", NO_VALUE},
    {"byte_order_mark", "\xef\xbb\xbf{}", true, "{}", ""},
    {"text_after_the_value", "{} trailing", true, "{}", ""},
    {"nul_after_the_value", std::string("{}\0", 3), true, "{}", ""},
    {"nul_in_a_string", std::string("[\"a\0b\"]", 7), !REFUSES_CONTROL_CHARACTERS, R"(["a\u0000b"])",
     REFUSES_CONTROL_CHARACTERS ? CONTROL_CHARACTER : ""},
    {"last_of_two_members_counts", R"({"a":1,"a":2})", true, R"({"a":2})", ""},
    {"comments", "/* a */[1// b\n]", true, "[1]", ""},
    {"trailing_comma", "[1,]", true, "[1]", ""},
    {"number_up_to_the_end", "12345", true, "12345", ""},
    {"string_without_end", "\"abc", false, "", NO_VALUE},
    {"brace_missing", R"({"a":1)", false, "", "* Line 1, Column 7\n  Missing ',' or '}' in object declaration\n"},
    {"second_line", "[\n1 2]", false, "", "* Line 2, Column 3\n  Missing ',' or ']' in array declaration\n"},
};

class ParseJson : public ::testing::TestWithParam<ParseRow> {};
INSTANTIATE_TEST_SUITE_P(Rows, ParseJson, ::testing::ValuesIn(PARSE_ROWS), rowName);

TEST_P(ParseJson, documentAndErrors) {
    Json::Value root;
    std::string errors;
    EXPECT_EQ(parseJson(GetParam().text, &root, &errors), GetParam().result);
    EXPECT_EQ(errors, GetParam().errors);
    if (GetParam().result) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["commentStyle"] = "None";
        EXPECT_EQ(Json::writeString(builder, root), GetParam().document);
    }
}

TEST_P(ParseJson, withoutErrors) {
    Json::Value root;
    EXPECT_EQ(parseJson(GetParam().text, &root, nullptr), GetParam().result);
}

TEST(ParseJsonNesting, limitIsRead) {
    Json::Value root;
    EXPECT_TRUE(parseJson(nestedArrays(NESTING_LIMIT), &root, nullptr));
}

TEST(ParseJsonNesting, oneMoreThrows) {
    Json::Value root;
    std::string errors = "before";
    EXPECT_THROW(parseJson(nestedArrays(NESTING_LIMIT + 1), &root, &errors), Json::Exception);
    EXPECT_EQ(errors, "before");
    EXPECT_TRUE(parseJson("{}", &root, &errors));
}

} // namespace
