#pragma once

#include "device/plain_list.h"
#include "text/json_file.h"

#include <scada/SensorMapEntry.h>

#include <json/value.h>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

struct ListElement {
    Json::ArrayIndex index;
    const Json::Value* value; ///< as written; null in a plain list, all of whose elements are valid
    std::size_t start;        ///< of the element in a plain list
    std::size_t end;
    SensorMapEntry entry; ///< the members without fault; the others hold a placeholder
    bool valid;           ///< whether the library takes it; if so, it has a key and a definition name
    bool hasKey;          ///< whether identifier and source are without fault
    bool hasDefinition;   ///< whether source and definition are without fault
    std::optional<Json::ArrayIndex> repeats; ///< the element to which the same sensor key belongs

    std::string sensorKey() const { return entry.src + "@" + entry.id; }
    std::string definitionName() const { return entry.src + "/" + entry.sensor; }
    /// The identifier and the source in the form in which they are compared. A faulty element may have them too;
    /// otherwise they are empty.
    std::string identifier() const;
    std::string source() const;
    /// Whether this is the element that the library uses for its sensor.
    bool isInForce() const { return valid && !repeats; }
};

using SensorsByDefinition = std::map<std::string, std::vector<std::string>>;

/// The managed-sensors list element by element. The file is read once. The library judges each element, unless the list
/// is plain.
class ManagedList {
public:
    /// Reads the file that Env names.
    ManagedList();
    /// Reads a file that findings call `name`.
    ManagedList(const std::string& file, std::string name);
    ManagedList(const ManagedList&) = delete;
    ManagedList& operator=(const ManagedList&) = delete;

    const std::string& file() const { return path; }
    /// Whether the file holds an array; otherwise the list has no elements.
    bool isUsable() const { return !content || (content->errors().empty() && content->root().isArray()); }
    /// Returns the content of the file. REQUIRES: the list is not usable.
    const JsonFile& json() const { return *content; }
    const std::vector<ListElement>& elements() const { return entries; }
    Position positionOf(const ListElement& element) const;
    /// Returns the element as written.
    Json::Value valueOf(const ListElement& element) const;

    /// Returns every element whose identifier is `id`, including faulty and repeated ones. REQUIRES: `id` is not empty.
    std::vector<const ListElement*> findIdentifier(const std::string& id) const;
    /// Returns the keys of the managed sensors by the name of their definition, in the order of the list.
    SensorsByDefinition sensorsByDefinition() const;

private:
    void readPlainElements(const std::vector<PlainElement>& elements);
    void readElements();
    void findRepeats();

    std::string path;
    std::string text;                         ///< of a plain list
    std::optional<JsonFile> content;          ///< of any other list
    mutable std::optional<LineStarts> starts; ///< in `text`; read on first use
    std::vector<ListElement> entries;
};

/// A fault of an element in the library's words.
struct ElementFault {
    std::string member; ///< empty if the element is not an object
    std::string text;
};

/// Returns all faults of the element itself. None hides another.
std::vector<ElementFault> faultsOf(const Json::Value& element);

/// Returns a source or an identifier in the form in which the library compares it with a requested one.
std::string normalisedSource(const std::string& src);
std::string normalisedIdentifier(const std::string& id);

} // namespace Kelvra::SCADA::Tool
