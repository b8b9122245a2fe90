#include "files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

namespace {

using namespace Kelvra::SCADA::Test;

using Texts = std::set<std::string>;

// Returns the end of the literal that starts at `at` and adds what it stands for.
std::size_t readLiteral(const std::string& code, std::size_t at, std::string* text) {
    for (++at; code[at] != '"'; ++at) {
        if (code[at] == '\\')
            ++at;
        *text += code[at];
    }
    return at + 1;
}

// Reads literals in a row, which are one text.
std::size_t readText(const std::string& code, std::size_t at, Texts* texts) {
    std::string text;
    while (at < code.size() && code[at] == '"') {
        at = readLiteral(code, at, &text);
        at = std::min(code.find_first_not_of(" \n", at), code.size());
    }
    texts->insert(text);
    return at;
}

// The format of a call is the first literal in it; a call may take it from a constant instead.
void readCalls(const std::string& code, const std::string& call, Texts* texts) {
    for (std::size_t at = code.find(call); at != std::string::npos; at = code.find(call, at + 1)) {
        const std::size_t end = code.find(';', at);
        const std::size_t quote = code.find('"', at);
        if (quote < end)
            readText(code, quote, texts);
    }
}

// Constants may stand in any header of texts.
void readConstants(const std::string& code, Texts* texts) {
    const std::string start = "[] = \"";
    for (std::size_t at = code.find(start); at != std::string::npos; at = code.find(start, at + 1))
        readText(code, at + start.size() - 1, texts);
}

Texts textsOfSources() {
    Texts texts;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(SCADA_SOURCE_DIR "/src")) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".cpp" && extension != ".h")
            continue;
        const std::string code = readFile(entry.path().string());
        readCalls(code, "formatMessage(", &texts);
        readCalls(code, "SCADA_LOG(", &texts);
        if (entry.path().filename() == "errorTexts.h")
            readConstants(code, &texts);
    }
    return texts;
}

// A text is what stands between backquotes in the first cell of a row.
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

TEST(ErrorsPage, listsExactlyTheTextsOfTheSources) {
    EXPECT_EQ(textsOfPage(), textsOfSources());
}

} // namespace
