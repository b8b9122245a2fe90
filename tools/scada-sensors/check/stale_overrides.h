#pragma once

#include "device/Storages.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// The change of a default definition since the custom one of its name was installed.
enum class DefaultSince {
    SAME, ///< it is the same for readers, or it is not known what the custom one hid
    CHANGED,
    GONE,
    NEW, ///< the custom one hid none
};

/// Returns the word for a change; empty for SAME.
const char* wordOf(DefaultSince since);

/// Compares the default definition of a custom one with the one that it hid when it was installed. Differences that do
/// not matter to a reader do not count. If the present files of the custom definition are known, they are not read.
/// REQUIRES: the custom storage lists the name.
DefaultSince defaultSince(const Storages& storages, const std::string& name, const InstalledFiles* present = nullptr);

/// Whether another installation of the same custom definition would remember another default definition.
bool isRememberedOtherwise(const Storages& storages, const std::string& name, const InstalledFiles& present);

} // namespace Kelvra::SCADA::Tool
