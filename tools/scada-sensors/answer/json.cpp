#include "answer/json.h"

#include "answer/printable.h"

#include <json/writer.h>

#include <sstream>

namespace Kelvra::SCADA::Tool {

namespace {

std::string writeJson(const Json::Value& value, const std::string& indentation, bool utf8) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = utf8;
    return Json::writeString(builder, value);
}

} // namespace

std::string jsonText(const Json::Value& value, const std::string& indentation) {
    const std::string written = writeJson(value, indentation, false);
    // The one control character that the writer leaves as it is; it can only be inside a string.
    std::string text;
    text.reserve(written.size());
    for (const char c : written) {
        if (c == '\x7f')
            text += "\\u007f";
        else
            text += c;
    }
    return text;
}

std::string readableJson(const Json::Value& value, const std::string& indentation) {
    std::istringstream lines(writeJson(value, indentation, true));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += (text.empty() ? "" : "\n") + printable(line);
    return text;
}

Json::Value orNull(const std::string& text) {
    return text.empty() ? Json::Value() : Json::Value(text);
}

Json::Value toArray(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts)
        array.append(text);
    return array;
}

} // namespace Kelvra::SCADA::Tool
