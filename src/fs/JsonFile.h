#pragma once

#include <json/value.h>

#include <string>

namespace Kelvra::SCADA {

/// Reads a file whole into `*text`. Returns false, leaving `*text` untouched, when it cannot be opened; a file that
/// opens but cannot be read, as a directory does, yields what was read, the empty text.
bool readFile(const std::string& path, std::string* text);

/// Parses `text` with the JSON reader's default settings into `*root`. On failure returns false with the reader's own
/// text in `*errors` (unless null). The reader's exceptions pass through.
bool parseJson(const std::string& text, Json::Value* root, std::string* errors);

} // namespace Kelvra::SCADA
