#include "fs/JsonFile.h"

#include <json/reader.h>

#include <array>
#include <fstream>
#include <memory>

namespace Kelvra::SCADA {

// With istream::read, which takes a directory, opening like a file but unreadable, for an empty one: buffer iterators
// would throw.
bool readFile(const std::string& path, std::string* text) {
    std::ifstream file(path, std::ios::in | std::ios::binary);
    if (!file.is_open())
        return false;
    text->clear();
    std::array<char, 16384> chunk{};
    do {
        file.read(chunk.data(), chunk.size());
        text->append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    } while (file.good());
    return true;
}

// The text must be NUL-terminated, as a string is: the reader looks one byte past the end.
bool parseJson(const std::string& text, Json::Value* root, std::string* errors) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), root, errors);
}

} // namespace Kelvra::SCADA
