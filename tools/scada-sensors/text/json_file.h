#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A place in a text: line and byte, both counted from 1. Line 0 is not a place.
struct Position {
    unsigned int line = 0;
    unsigned int column = 0;
};

/// The starts of the lines of a text, as the JSON reader counts them: lines end with LF, CR or both.
class LineStarts {
public:
    explicit LineStarts(std::string_view text);
    /// Returns the place of a byte of the text.
    Position positionAt(std::size_t offset) const;

private:
    std::vector<std::size_t> starts;
};

/// A JSON file, read with the reader's default settings as the library does, with its faults and their places.
class JsonFile {
public:
    struct Error {
        Position position;
        std::string text;
    };

    /// Reads and parses the file. Does not throw for bad content.
    explicit JsonFile(const std::string& file);
    /// Parses the text of a file that has been read, unless `failure` says why it could not be.
    JsonFile(const std::string& failure, const std::string& text);

    /// Whether the file could be opened and read.
    bool isRead() const { return read; }
    /// Whether the reader gave up with an exception; its text is then the only error.
    bool isAbandoned() const { return abandoned; }
    /// Every reason why the file cannot be used: why it cannot be read, or each syntax error.
    const std::vector<Error>& errors() const { return found; }

    /// The document; null if there are errors.
    const Json::Value& root() const { return document; }
    /// Returns where a value of the document starts. REQUIRES: the value is a part of root().
    Position positionOf(const Json::Value& value) const;
    /// Returns where the value starts to which the names and indices lead. If they lead to none, returns where the last
    /// existing value on the way starts.
    Position positionOfPath(const std::vector<std::string>& path) const;
    /// Returns where a member of the root starts, or where the root starts if it lacks the member.
    Position positionOfMember(const std::string& member) const;

private:
    void parse(const std::string& text);

    bool read = false;
    bool abandoned = false;
    std::vector<Error> found;
    Json::Value document;
    LineStarts lines{""};
};

/// Returns whether a text stays the same when it is written as JSON and read again. A text that is not UTF-8 does not.
bool survivesJson(const std::string& text);

} // namespace Kelvra::SCADA::Tool
