#include "fs/JsonFile.h"

#include <json/reader.h>

#include <fstream>
#include <memory>
#include <sstream>

namespace Kelvra::SCADA {

// Through a string stream: buffer iterators would throw on a directory, which opens like a file.
bool readFile(const std::string& path, std::string* text) {
    const std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file.is_open())
        return false;
    std::ostringstream content;
    content << file.rdbuf();
    *text = content.str();
    return true;
}

// The text must be NUL-terminated, as a string is: the reader looks one byte past the end.
bool parseJson(const std::string& text, Json::Value* root, std::string* errors) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), root, errors);
}

} // namespace Kelvra::SCADA
