#pragma once

#include "device/Storages.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether the default definition that a custom one hides differs from the one that it hid when it was installed.
/// Differences that do not matter to a reader do not count. False if the one that it hid is not known.
bool hasDefaultChanged(const Storages& storages, const std::string& name);

} // namespace Kelvra::SCADA::Tool
