#pragma once

#include "StorageBuilder.h"

#include <json/writer.h>

#include <map>
#include <string>

namespace Kelvra::SCADA::Test {

using Snapshot = std::map<std::string, std::string>;

/// Returns the document that an installation makes of documentOf().
inline std::string writtenDocument(const std::string& decoder) {
    Json::Value document;
    document["decoder"] = decoder;
    document["properties"]["temperature"]["name"] = "Air";
    return Json::writeString(Json::StreamWriterBuilder(), document);
}

inline std::string stemOf(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

inline void addDirectories(Snapshot* tree, const std::string& name) {
    for (auto separator = name.find('/'); separator != std::string::npos; separator = name.find('/', separator + 1))
        tree->emplace(name.substr(0, separator), "");
}

/// Adds the files that an installation makes of addDefinition().
inline void addInstalled(Snapshot* tree, const std::string& name) {
    const std::string decoder = stemOf(name) + "-decoder";
    addDirectories(tree, name);
    (*tree)[name + ".json"] = writtenDocument(decoder);
    (*tree)[name + "-decoder"] = decoderTextOf(name);
}

} // namespace Kelvra::SCADA::Test
