#pragma once

#include <json/value.h>

#include <map>
#include <set>
#include <string>

namespace Kelvra::SCADA::Tool {

/// The library's verdict on one definition.
struct Verdict {
    std::string state;       ///< "ok", or why it cannot be used
    bool valid = false;      ///< whether the state is "ok"
    bool abandoned = false;  ///< whether the state is the text of an exception of the JSON reader
    std::string decoderPath; ///< empty if there is none
};

/// One definition as it is in its directory.
struct Definition {
    std::string name;
    std::string file;
    Verdict verdict;
    Json::Value document; ///< null unless the library hands it out; it does so even without a section of properties
};

/// Reads a definition, which need not be listed, in a directory of definitions.
Definition readDefinition(const std::string& dir, const std::string& name);

/// A directory in the layout of a storage, with its list at the time of construction: one of the two storages, or the
/// source of an installation. Each definition is read once.
class DefinitionDirectory {
public:
    /// Lists nothing if `path` is empty: loading skips such a storage.
    explicit DefinitionDirectory(std::string path);

    const std::string& path() const { return dir; }
    const std::set<std::string>& names() const { return listed; }
    bool lists(const std::string& name) const { return listed.count(name) != 0; }

    /// Reads a definition, which need not be listed, and keeps its verdict; the caller gets the document. REQUIRES: the
    /// definition has not been read before.
    Definition load(const std::string& name);
    /// Returns the verdict on a definition, and reads the definition first if necessary. Valid as long as this object.
    const Verdict& verdict(const std::string& name);

private:
    std::string dir;
    std::set<std::string> listed;
    std::map<std::string, Verdict> verdicts;
};

} // namespace Kelvra::SCADA::Tool
