#pragma once

#include "device/ManagedList.h"
#include "device/Storages.h"

#include <optional>

namespace Kelvra::SCADA::Tool {

/// The device as a command finds it: the storages and the managed-sensors list. Each part is read on first use and no
/// file of it twice, so that a command gives one consistent answer.
class Device {
public:
    Storages& storages() {
        if (!definitions)
            definitions.emplace();
        return *definitions;
    }
    const ManagedList& list() {
        if (!sensors)
            sensors.emplace();
        return *sensors;
    }

private:
    std::optional<Storages> definitions;
    std::optional<ManagedList> sensors;
};

} // namespace Kelvra::SCADA::Tool
