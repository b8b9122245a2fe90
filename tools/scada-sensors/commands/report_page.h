#pragma once

#include "check/Finding.h"
#include "check/stale_overrides.h"
#include "codec/stored_values.h"
#include "database/sensor_state.h"
#include "device/DefinitionDirectory.h"
#include "device/ManagedList.h"
#include "device/Storages.h"
#include "device/history.h"

#include <json/value.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// A definition as the page shows it.
struct ReportedDefinition {
    STORAGE_TYPE storage = STORAGE_DEFAULT; ///< the one in force
    bool hides = false;
    DefaultSince since = DefaultSince::SAME; ///< of the default definition that it hides or hid
    Verdict verdict;
    std::size_t sensors = 0; ///< how many sensors use it
};

/// A value of a sensor as the page shows it. Properties of definitions need much more memory.
struct ReportedValue {
    StoredValue::State state;
    std::string name; ///< of the property, or of the field
    std::string text;
    std::string unit;
    std::string fault;
};

struct ReportedSensor {
    const ListElement* element;
    SensorState state; ///< without its fields
    std::vector<ReportedValue> values;
};

/// A custom definition and the default one that it hides.
struct ReportedOverride {
    std::string name;
    std::vector<std::string> lines; ///< their differences
};

/// Everything that the page shows.
struct Estate {
    std::string host;
    std::string time;
    bool hasList = false; ///< whether the managed-sensors list can be used
    std::vector<ReportedSensor> sensors;
    std::string databaseFault; ///< the reason why the values are missing
    std::map<std::string, ReportedDefinition> definitions;
    std::vector<ReportedOverride> overrides;
    Findings findings;
    std::vector<HistoryEntry> operations;
};

/// Returns the values of a sensor, judged by the properties of its definition.
std::vector<ReportedValue> reportedValues(const SensorState& state, const Json::Value& properties);

/// Returns the page.
std::string pageOf(const Estate& estate);

} // namespace Kelvra::SCADA::Tool
