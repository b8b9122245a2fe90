#pragma once

#include "device/DefinitionDirectory.h"
#include "device/HiddenDefaults.h"

#include <scada/SensorDefinitions.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

const char* wordOf(STORAGE_TYPE storage);

/// The two storages of the device. A custom definition hides a default one of the same name.
class Storages {
public:
    /// Lists the directories that Env names.
    Storages();

    DefinitionDirectory& of(STORAGE_TYPE storage) { return storage == STORAGE_CUSTOM ? custom : standard; }
    const DefinitionDirectory& of(STORAGE_TYPE storage) const { return storage == STORAGE_CUSTOM ? custom : standard; }

    /// Whether a storage lists the definition.
    bool lists(const std::string& name) const { return custom.lists(name) || standard.lists(name); }
    /// Returns the storage whose definition is in force. REQUIRES: one lists it.
    STORAGE_TYPE decidingFor(const std::string& name) const;
    DefinitionDirectory& directoryFor(const std::string& name) { return of(decidingFor(name)); }
    /// Returns the directories that exist but cannot be read, so that nothing in them is listed.
    std::vector<std::string> unreadable() const;
    bool isHiding(const std::string& name) const { return custom.lists(name) && standard.lists(name); }
    /// Returns the directory with the default definition that a custom one hid when it was installed; nothing if it is
    /// not known.
    std::string formerDefault(const std::string& name, const InstalledFiles* present = nullptr) const {
        return hidden.directoryOf(name, present);
    }
    /// Whether a custom definition is known to have hidden none when it was installed.
    bool hidNothing(const std::string& name, const InstalledFiles* present = nullptr) const {
        return hidden.hidNothing(name, present);
    }

private:
    DefinitionDirectory custom;
    DefinitionDirectory standard;
    HiddenDefaults hidden;
};

} // namespace Kelvra::SCADA::Tool
