#pragma once

#include "check/Finding.h"
#include "device/Device.h"
#include "device/InstalledFiles.h"
#include "install/Intake.h"
#include "install/plannedList.h"

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
    bool ifUnused = false; ///< whether to refuse what takes something from managed sensors
    bool codec = true;     ///< whether decoders are run on their examples
    bool withList = false; ///< whether the source's managed-sensors list takes the place of the device's
    IntakeLimits limits;
};

/// What an installation does with a definition.
enum class Effect { NEW, REPLACES, HIDES, UNCHANGED };

const char* wordOf(Effect effect);
/// Returns the same in words for people.
const char* wordsFor(Effect effect);

/// A property that hosts may miss, or find changed, after an installation.
struct PropertyChange {
    std::string property;
    std::string member; ///< the member that changes; empty when the property disappears
    Json::Value from;
    Json::Value to;
};

struct PlannedDefinition {
    std::string name;
    Effect effect = Effect::NEW;
    bool hidesDefault = false; ///< whether there is a default definition of this name
    bool refused = false;
    std::string decoderPath;              ///< in the copy of the source
    InstalledFiles wanted;                ///< what would be written; the decoder only as far as it has been read
    std::optional<InstalledFiles> former; ///< what the custom storage holds, where it lists the definition
    std::vector<PropertyChange> changes;
};

/// Everything that an installation asks before it changes anything: `install`, its dry run and the check of a source
/// ask the same, in the same order.
struct Preflight {
    Findings findings; ///< an error refuses the whole installation
    std::vector<PlannedDefinition> definitions;
    std::optional<PlannedList> list; ///< if it was asked for
    std::unique_ptr<Intake> intake;  ///< the copy that was examined; none where the directories are at fault

    bool isRefused() const;
    /// Whether everything is installed already, to the byte.
    bool isUnchanged() const;
    /// Whether the list of the device is made or replaced.
    bool writesList() const { return list && list->effect != PlannedList::Effect::UNCHANGED; }
};

/// Returns what the examination asks first: why the directories must not be worked on, or why there is no source. It
/// must be asked before a lock is taken, which makes files beside the directories.
Findings checkDirectories(const std::string& source);

/// Is shown each definition that the source would replace or hide, and the one that it would put there instead, with
/// its files in the copy.
using OnReplacement =
    std::function<void(const Definition& present, const Definition& wanted, const SourceCopy& source)>;

/// Takes the source in and examines its installation. Changes nothing.
Preflight examine(const InstallRequest& request, Device& device, const OnReplacement& onReplacement = {});

/// The same for a source that has been taken in, in directories that have been checked.
Preflight examine(const InstallRequest& request, std::unique_ptr<Intake> intake, Device& device,
                  const OnReplacement& onReplacement = {});

} // namespace Kelvra::SCADA::Tool
