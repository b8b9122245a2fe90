#pragma once

#include "device/InstalledFiles.h"

#include <optional>
#include <set>
#include <string>
#include <utility>

namespace Kelvra::SCADA::Tool {

/// Returns the name under which the default definition that a custom one hid is kept. The content of the custom one is
/// in it, so that each generation finds its own, and one that somebody else has put there finds none.
std::string hiddenEntry(const std::string& name, const InstalledFiles& installed);

/// The default definitions that custom ones hid when the tool installed them, each in a directory with the layout of a
/// storage.
class HiddenDefaults {
public:
    /// Takes the path of a custom storage, which may be empty.
    explicit HiddenDefaults(std::string customDir) : custom(std::move(customDir)) {}

    /// Returns the directory with what a custom definition hid; nothing where that is not known.
    std::string directoryOf(const std::string& name) const;

private:
    struct Kept {
        std::string dir;
        std::set<std::string> entries;
    };
    const Kept& kept() const;

    std::string custom;
    mutable std::optional<Kept> known; ///< read when it is first needed
};

} // namespace Kelvra::SCADA::Tool
