#include "text/json_file.h"

#include "text/Descriptor.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>

namespace Kelvra::SCADA::Tool {

namespace {

// Reads "* Line L, Column C", the line with which the reader starts its report of each error.
bool readHead(const std::string& line, Position* position) {
    std::istringstream words(line);
    std::string star;
    std::string lineWord;
    std::string columnWord;
    char comma = '\0';
    words >> star >> lineWord >> position->line >> comma >> columnWord >> position->column;
    return !words.fail() && star == "*" && lineWord == "Line" && columnWord == "Column";
}

std::vector<JsonFile::Error> splitReport(const std::string& report) {
    std::vector<JsonFile::Error> errors;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        Position position;
        if (readHead(line, &position)) {
            errors.push_back({position, ""});
            continue;
        }
        if (errors.empty())
            errors.emplace_back();
        std::string& text = errors.back().text;
        const std::size_t start = std::min(line.find_first_not_of(' '), line.size());
        text += (text.empty() || start == line.size() ? "" : " ") + line.substr(start);
    }
    return errors;
}

// The reader skips a byte order mark and counts from the byte after it.
std::string_view behindByteOrderMark(std::string_view text) {
    static constexpr std::string_view MARK = "\xef\xbb\xbf";
    return text.substr(0, MARK.size()) == MARK ? text.substr(MARK.size()) : text;
}

} // namespace

LineStarts::LineStarts(std::string_view text) : starts{0} {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool endsInTwo = text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n';
        if (text[at] == '\n' || (text[at] == '\r' && !endsInTwo))
            starts.push_back(at + 1);
    }
}

Position LineStarts::positionAt(std::size_t offset) const {
    const auto next = std::upper_bound(starts.begin(), starts.end(), offset);
    return {static_cast<unsigned int>(next - starts.begin()), static_cast<unsigned int>(offset - *(next - 1) + 1)};
}

JsonFile::JsonFile(const std::string& file) {
    std::string text;
    const std::string failure = readRegularFile(file, &text);
    *this = JsonFile(failure, text);
}

JsonFile::JsonFile(const std::string& failure, const std::string& text) : read(failure.empty()) {
    if (read)
        parse(text);
    else
        found.push_back({{}, failure});
}

void JsonFile::parse(const std::string& text) {
    lines = LineStarts(behindByteOrderMark(text));
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    std::string report;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &document, &report))
            found = splitReport(report);
    } catch (const Json::Exception& e) {
        abandoned = true;
        found.push_back({{}, e.what()});
    }
    if (!found.empty())
        document = Json::Value();
}

Position JsonFile::positionOf(const Json::Value& value) const {
    return lines.positionAt(static_cast<std::size_t>(value.getOffsetStart()));
}

Position JsonFile::positionOfPath(const std::vector<std::string>& path) const {
    const Json::Value* value = &document;
    for (const std::string& step : path) {
        const Json::Value* below = nullptr;
        if (value->isObject() && value->isMember(step))
            below = &(*value)[step];
        else if (value->isArray() && std::stoul(step) < value->size())
            below = &(*value)[static_cast<Json::ArrayIndex>(std::stoul(step))];
        if (below == nullptr)
            break;
        value = below;
    }
    return positionOf(*value);
}

Position JsonFile::positionOfMember(const std::string& member) const {
    return positionOf(document.isMember(member) ? document[member] : document);
}

bool survivesJson(const std::string& text) {
    const std::string written = Json::writeString(Json::StreamWriterBuilder(), text);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value again;
    return reader->parse(written.data(), written.data() + written.size(), &again, nullptr) && again == text;
}

} // namespace Kelvra::SCADA::Tool
