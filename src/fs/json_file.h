#pragma once

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA {

/// Reads a whole file into `*text`. If it cannot be opened, returns false and leaves `*text` untouched. A file that can
/// be opened but not read, such as a directory, yields the part that was read: an empty text.
bool readFile(const std::string& path, std::string* text);

/// Parses `text` with the JSON reader's default settings into `*root`. On failure returns false and puts the reader's
/// own text into `*errors` (unless null). The reader's exceptions pass through.
bool parseJson(const std::string& text, Json::Value* root, std::string* errors);

} // namespace Kelvra::SCADA
