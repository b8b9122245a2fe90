#pragma once

#include "device/Storages.h"

#include <string>

namespace Kelvra::SCADA::Tool {

/// Whether the default definition that a custom one hides differs from the one that it hid when it was installed. What
/// makes no difference to a reader is none. False where it is not known what it hid.
bool hasDefaultChanged(const Storages& storages, const std::string& name);

} // namespace Kelvra::SCADA::Tool
