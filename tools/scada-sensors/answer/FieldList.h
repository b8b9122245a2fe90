#pragma once

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA::Tool {

/// Named fields in the order in which they were added: lines for people, members of an object for programs.
class FieldList {
public:
    /// Adds a field; null is shown as "-".
    void add(const std::string& name, const Json::Value& value);
    /// Adds a field with a separate text for people.
    void add(const std::string& name, const Json::Value& value, const std::string& words);
    /// Adds a field that people get as indented JSON below its name.
    void addDocument(const std::string& name, const Json::Value& value);

    const Json::Value& result() const { return members; }
    const std::string& text() const { return lines; }

private:
    Json::Value members{Json::objectValue};
    std::string lines;
};

} // namespace Kelvra::SCADA::Tool
