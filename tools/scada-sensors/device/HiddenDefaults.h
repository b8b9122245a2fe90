#pragma once

#include "device/InstalledFiles.h"
#include "device/history.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace Kelvra::SCADA::Tool {

/// Returns the name under which a default definition is kept that a custom one hid. The name includes the content of
/// the custom definition, so that each generation finds its own entry, and a definition from somebody else finds none.
std::string hiddenEntry(const std::string& name, const InstalledFiles& installed);

/// The default definitions that custom ones hid when the tool installed them, each in a directory with the layout of a
/// storage.
class HiddenDefaults {
public:
    /// Takes the path of a custom storage, which may be empty.
    explicit HiddenDefaults(std::string customDir) : custom(std::move(customDir)) {}

    // If `present` is null, the files of the custom definition are read when they are needed.

    /// Returns the directory with the default definition that a custom one hid; nothing if it is not known.
    std::string directoryOf(const std::string& name, const InstalledFiles* present) const;
    /// Whether the history says that the present custom definition hid none when it was installed.
    bool hidNothing(const std::string& name, const InstalledFiles* present) const;

private:
    struct Kept {
        std::string dir;
        std::set<std::string> entries;
    };
    const Kept& kept() const;
    InstalledFiles filesOf(const std::string& name, const InstalledFiles* present) const;
    const std::map<std::string, HistoryChange>& installations() const;

    std::string custom;
    mutable std::optional<Kept> known; ///< read on first use, as the next member
    mutable std::optional<std::map<std::string, HistoryChange>> lastInstallations; ///< by the name of the definition
};

} // namespace Kelvra::SCADA::Tool
