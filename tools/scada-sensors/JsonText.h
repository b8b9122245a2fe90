#pragma once

#include "Fault.h"

#include <json/value.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A JSON file read as the library reads it, which says what is wrong and where.
class JsonText {
public:
    struct Error {
        Position position;
        std::string text;
    };

    /// Reads and parses; throws nothing for bad content.
    explicit JsonText(const std::string& file);

    bool isOpened() const { return opened; }
    /// Whether the reader gave up with an exception; its text is then the one error.
    bool isAbandoned() const { return abandoned; }
    /// Everything that keeps the file from being read: the reason why it does not open, or each syntax error.
    const std::vector<Error>& errors() const { return found; }

    /// The document; null when there are errors.
    const Json::Value& root() const { return document; }
    /// Returns where a value of the document starts. REQUIRES: it is a part of root().
    Position positionOf(const Json::Value& value) const;

private:
    void parse(const std::string& text);

    bool opened = false;
    bool abandoned = false;
    std::vector<Error> found;
    Json::Value document;
    std::vector<std::size_t> lineStarts;
};

} // namespace Kelvra::SCADA::Tool
