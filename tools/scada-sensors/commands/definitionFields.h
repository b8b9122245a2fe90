#pragma once

#include "answer/FieldList.h"
#include "device/Storages.h"

namespace Kelvra::SCADA::Tool {

/// Adds where a definition comes from, what it hides, its decoder and its state. REQUIRES: a storage lists it.
void addDefinition(const Storages& storages, const Definition& definition, FieldList* fields);

} // namespace Kelvra::SCADA::Tool
