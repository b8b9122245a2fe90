#pragma once

#include "check/Finding.h"
#include "device/Device.h"
#include "device/InstalledFiles.h"
#include "install/Intake.h"
#include "install/planned_list.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

struct InstallRequest {
    std::string source;
    bool allowOverwrite = false;
    bool ifUnused = false; ///< whether to refuse an operation that takes something from managed sensors
    bool codec = true;     ///< whether to run decoders on their examples
    bool withList = false; ///< whether the source's managed-sensors list replaces the device's
    IntakeLimits limits;
};

/// The effect of an installation on a definition.
enum class Effect { NEW, REPLACES, HIDES, UNCHANGED };

const char* wordOf(Effect effect);
/// Returns the same in words for people.
const char* wordsFor(Effect effect);

/// A property that hosts may miss, or find changed, after an installation.
struct PropertyChange {
    std::string property;
    std::string member; ///< the member that changes; empty if the property disappears
    Json::Value from;
    Json::Value to;
};

struct PlannedDefinition {
    std::string name;
    Effect effect = Effect::NEW;
    bool hidesDefault = false; ///< whether there is a default definition of this name
    bool refused = false;
    std::string decoderPath;              ///< in the copy of the source
    InstalledFiles wanted;                ///< the files to be written; of the decoder, only the part that has been read
    std::optional<InstalledFiles> former; ///< the files in the custom storage, if it lists the definition
    std::vector<PropertyChange> changes;
};

/// All checks before an installation changes anything: `install`, its dry run and the check of a source make the same
/// checks in the same order.
struct Preflight {
    Findings findings; ///< an error refuses the whole installation
    std::vector<PlannedDefinition> definitions;
    std::optional<PlannedList> list; ///< if it was asked for
    std::unique_ptr<Intake> intake;  ///< the copy that was examined; null if the directories are at fault

    bool isRefused() const;
    /// Whether everything is installed already, byte for byte.
    bool isUnchanged() const;
    /// Whether the list of the device is created or replaced.
    bool writesList() const { return list && list->effect != PlannedList::Effect::UNCHANGED; }
};

/// Returns the findings of the first checks: why the tool must not work on the directories, or why the source is
/// missing. This check must come before a lock is taken, which makes files beside the directories.
Findings checkDirectories(const std::string& source);

/// Called with each definition that the source would replace or hide, and the one that it would install instead, with
/// its files in the copy.
using OnReplacement =
    std::function<void(const Definition& present, const Definition& wanted, const SourceCopy& source)>;

/// Copies the source and examines its installation. Changes nothing.
Preflight examine(const InstallRequest& request, Device& device, const OnReplacement& onReplacement = {});

/// The same for a source that has been copied, in directories that have been checked.
Preflight examine(const InstallRequest& request, std::unique_ptr<Intake> intake, Device& device,
                  const OnReplacement& onReplacement = {});

} // namespace Kelvra::SCADA::Tool
