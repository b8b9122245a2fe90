#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A place in a text, counted from 1 in lines and bytes; line 0 is no place.
struct Position {
    unsigned int line = 0;
    unsigned int column = 0;
};

/// A JSON file read with the reader's default settings, as the library reads it, with what is wrong and where.
class JsonFile {
public:
    struct Error {
        Position position;
        std::string text;
    };

    /// Reads and parses; throws nothing for bad content.
    explicit JsonFile(const std::string& file);

    /// Whether the file could be opened and read.
    bool isRead() const { return read; }
    /// Whether the reader gave up with an exception; its text is then the one error.
    bool isAbandoned() const { return abandoned; }
    /// Everything that keeps the file from being used: the reason why it cannot be read, or each syntax error.
    const std::vector<Error>& errors() const { return found; }

    /// The document; null when there are errors.
    const Json::Value& root() const { return document; }
    /// Returns where a value of the document starts. REQUIRES: it is a part of root().
    Position positionOf(const Json::Value& value) const;
    /// Returns where the value starts to which the names and indices lead, or the last one on the way that there is.
    Position positionOfPath(const std::vector<std::string>& path) const;
    /// Returns where a member of the root starts, or the root without it.
    Position positionOfMember(const std::string& member) const;

private:
    void parse(const std::string& text);

    bool read = false;
    bool abandoned = false;
    std::vector<Error> found;
    Json::Value document;
    std::vector<std::size_t> lineStarts;
};

/// Returns whether a text is the same after it has been written as JSON and read again. What is not UTF-8 is not.
bool survivesJson(const std::string& text);

} // namespace Kelvra::SCADA::Tool
