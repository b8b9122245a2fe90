#include "files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;

using Texts = std::set<std::string>;

// Returns the end of the literal that starts at `at`, and appends its value.
std::size_t readLiteral(const std::string& code, std::size_t at, std::string* text) {
    for (++at; code[at] != '"'; ++at) {
        if (code[at] == '\\')
            ++at;
        *text += code[at];
    }
    return at + 1;
}

// Reads successive literals, which form one text.
std::size_t readText(const std::string& code, std::size_t at, Texts* texts) {
    std::string text;
    while (at < code.size() && code[at] == '"') {
        at = readLiteral(code, at, &text);
        at = std::min(code.find_first_not_of(" \n", at), code.size());
    }
    texts->insert(text);
    return at;
}

// The format of a call is its first literal; a call may also take it from a constant.
void readCalls(const std::string& code, const std::string& call, Texts* texts) {
    for (std::size_t at = code.find(call); at != std::string::npos; at = code.find(call, at + 1)) {
        const std::size_t end = code.find(';', at);
        const std::size_t quote = code.find('"', at);
        if (quote < end)
            readText(code, quote, texts);
    }
}

// Any header of texts may have constants.
void readConstants(const std::string& code, Texts* texts) {
    const std::string start = "[] = \"";
    for (std::size_t at = code.find(start); at != std::string::npos; at = code.find(start, at + 1))
        readText(code, at + start.size() - 1, texts);
}

// A rule begins with its identifier.
void readRules(const std::string& code, Texts* texts) {
    const std::string start = "inline constexpr Rule ";
    for (std::size_t at = code.find(start); at != std::string::npos; at = code.find(start, at + 1))
        readText(code, code.find('"', at), texts);
}

void readLibrary(const std::string& file, const std::string& code, Texts* texts) {
    readCalls(code, "formatMessage(", texts);
    readCalls(code, "SCADA_LOG(", texts);
    if (file == "error_texts.h")
        readConstants(code, texts);
}

// A call takes either a literal or one of the library's texts, which are already on the page.
void readTool(const std::string& file, const std::string& code, Texts* texts) {
    const std::string call = "filled(";
    for (std::size_t at = code.find(call); at != std::string::npos; at = code.find(call, at + 1)) {
        const std::size_t begin = code.find_first_not_of(" \n", at + call.size());
        if (code[begin] == '"')
            readText(code, begin, texts);
        else
            EXPECT_TRUE(file == "filled.h" || file == "filled.cpp" || code.compare(begin, 13, "LibraryText::") == 0)
                << file << ": " << code.substr(at, 60);
    }
    if (file == "rules.h")
        readRules(code, texts);
}

using Reader = void (*)(const std::string& file, const std::string& code, Texts* texts);

void readSources(const std::string& directory, Reader reader, Texts* texts) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        const std::string extension = entry.path().extension().string();
        if (extension == ".cpp" || extension == ".h")
            reader(entry.path().filename().string(), readFile(entry.path().string()), texts);
    }
}

Texts textsOfSources() {
    Texts texts;
    readSources(SCADA_SOURCE_DIR "/src", readLibrary, &texts);
    readSources(SCADA_SOURCE_DIR "/tools", readTool, &texts);
    return texts;
}

// A text is between backquotes in the first cell of a row.
Texts textsOfPage() {
    const std::string start = "| `";
    Texts texts;
    std::istringstream page(readFile(SCADA_SOURCE_DIR "/docs/errors.md"));
    for (std::string line; std::getline(page, line);) {
        if (line.rfind(start, 0) != 0)
            continue;
        EXPECT_TRUE(texts.insert(line.substr(start.size(), line.find("` |") - start.size())).second) << line;
    }
    return texts;
}

Texts without(Texts texts, const Texts& others) {
    for (const std::string& other : others)
        texts.erase(other);
    return texts;
}

TEST(ErrorsPage, listsExactlyTheTextsOfTheSources) {
    const Texts page = textsOfPage();
    const Texts sources = textsOfSources();
    EXPECT_EQ(without(sources, page), Texts{}) << "are not on the page";
    EXPECT_EQ(without(page, sources), Texts{}) << "are in no source";
}

// Messages that bypass the function that fills them in would also bypass the page.
TEST(ErrorsPage, missesNoMessageOfTheTool) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SCADA_SOURCE_DIR "/tools")) {
        const std::string code = entry.is_regular_file() ? readFile(entry.path().string()) : "";
        for (const char* call :
             {"badUsage(\"", "writeMessage(\"", "note(\"", "failed(ExitCode::FAILED, \"",
              "failed(ExitCode::NOT_FOUND, \"", "failed(ExitCode::REFUSED, \"", "failed(ExitCode::NO_DATABASE, \"",
              "failedAsTold(ExitCode::FAILED, \"", "error = \"", "reason = \"", "std::cerr << \""})
            EXPECT_EQ(code.find(call), std::string::npos) << entry.path() << ": " << call;
    }
}

} // namespace
