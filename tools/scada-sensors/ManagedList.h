#pragma once

#include "Fault.h"
#include "JsonText.h"

#include <scada/SensorMapEntry.h>

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

struct ListElement {
    Json::ArrayIndex index;
    Position position;
    const Json::Value* value;                ///< as written; valid as long as the list
    SensorMapEntry entry;                    ///< the members that are without fault; the others hold a placeholder
    bool valid;                              ///< whether the library takes it; it has a key and a definition name then
    bool hasKey;                             ///< whether identifier and source are without fault
    bool hasDefinition;                      ///< whether source and definition are without fault
    std::optional<Json::ArrayIndex> repeats; ///< the element to which the same sensor key belongs

    std::string sensorKey() const { return entry.src + "@" + entry.id; }
    std::string definitionName() const { return entry.src + "/" + entry.sensor; }
};

/// The managed-sensors list element by element, which a map that answers for single sensors cannot give.
class ManagedList {
public:
    /// Reads the file that Env names.
    ManagedList();
    ManagedList(const ManagedList&) = delete;
    ManagedList& operator=(const ManagedList&) = delete;

    const std::string& file() const { return path; }
    /// What makes the list useless as a whole; there are no elements then.
    const Faults& faults() const { return found; }
    const std::vector<ListElement>& elements() const { return entries; }

    /// Returns the element that a sensor's key comes from, or null.
    const ListElement* find(const std::string& src, const std::string& id) const;

private:
    void readElements();

    std::string path;
    JsonText json;
    Faults found;
    std::vector<ListElement> entries;
};

/// Returns every fault of the element itself in the library's words.
std::vector<std::string> faultsOfElement(const Json::Value& value);

} // namespace Kelvra::SCADA::Tool
