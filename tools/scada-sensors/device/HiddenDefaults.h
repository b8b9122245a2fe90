#pragma once

#include "device/InstalledFiles.h"

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

    /// Returns the directory with the default definition that a custom one hid; nothing if it is not known.
    std::string directoryOf(const std::string& name) const;

private:
    struct Kept {
        std::string dir;
        std::set<std::string> entries;
    };
    const Kept& kept() const;

    std::string custom;
    mutable std::optional<Kept> known; ///< read on first use
};

} // namespace Kelvra::SCADA::Tool
