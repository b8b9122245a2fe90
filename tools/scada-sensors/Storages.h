#pragma once

#include <scada/DefinitionSpec.h>
#include <scada/SensorDefinitions.h>

#include <json/value.h>

#include <set>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

class Facts;

const char* wordOf(STORAGE_TYPE storage);

/// Returns the path of a definition's file in a storage directory.
std::string definitionFile(const std::string& dir, const std::string& name);

/// The library's answer to a name that no storage lists.
std::string notFoundText(const std::string& name);

/// One definition as one storage directory gives it.
struct Definition {
    std::string file;
    DefinitionSpec spec;
    std::string state;      ///< "ok", or why it cannot be used
    bool valid = false;     ///< whether the state is "ok"
    bool abandoned = false; ///< whether the state is the text of an exception
};

Definition readDefinition(const std::string& dir, const std::string& name);

struct Storage {
    STORAGE_TYPE type;
    std::string dir;
    std::set<std::string> names; ///< what it lists; nothing when it has no directory
};

/// The configured storages with what they list at the time of construction.
class Storages {
public:
    Storages();

    const Storage& of(STORAGE_TYPE storage) const { return storage == STORAGE_CUSTOM ? custom : standard; }
    /// Returns the storage that decides about a definition, or null when none lists it.
    const Storage* find(const std::string& name) const;
    bool isHiding(const std::string& name) const;
    /// Returns what the deciding storage gives for `name`; with no such storage the state is the library's answer.
    Definition read(const std::string& name) const;

private:
    Storage custom;
    Storage standard;
};

/// Adds where a definition comes from, what it hides, its decoder and its state. REQUIRES: a storage lists it.
void addDefinition(const Storages& storages, const std::string& name, const Definition& definition, Facts* facts);

/// Returns a string for programs, null for the empty one.
Json::Value orNull(const std::string& text);

} // namespace Kelvra::SCADA::Tool
